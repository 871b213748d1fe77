#include "tools/common/JsonWriter.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>

namespace aon_tools {

void JsonWriter::BeforeValue() {
    if (mAfterKey) {
        mAfterKey = false;
        return;
    }
    if (!mFirst.empty()) {
        if (!mFirst.back()) mOut += ',';
        mFirst.back() = false;
    }
}

JsonWriter& JsonWriter::BeginObject() {
    BeforeValue();
    mOut += '{';
    mFirst.push_back(true);
    return *this;
}

JsonWriter& JsonWriter::EndObject() {
    mOut += '}';
    mFirst.pop_back();
    return *this;
}

JsonWriter& JsonWriter::BeginArray() {
    BeforeValue();
    mOut += '[';
    mFirst.push_back(true);
    return *this;
}

JsonWriter& JsonWriter::EndArray() {
    mOut += ']';
    mFirst.pop_back();
    return *this;
}

JsonWriter& JsonWriter::Key(const char* key) {
    BeforeValue();
    mOut += Quote(key);
    mOut += ':';
    mAfterKey = true;
    return *this;
}

JsonWriter& JsonWriter::String(const std::string& value) {
    BeforeValue();
    mOut += Quote(value);
    return *this;
}

JsonWriter& JsonWriter::Int(int64_t value) {
    BeforeValue();
    mOut += std::to_string(value);
    return *this;
}

JsonWriter& JsonWriter::Double(double value) {
    BeforeValue();
    mOut += Number(value);
    return *this;
}

JsonWriter& JsonWriter::Bool(bool value) {
    BeforeValue();
    mOut += value ? "true" : "false";
    return *this;
}

JsonWriter& JsonWriter::Raw(const std::string& json) {
    BeforeValue();
    mOut += json;
    return *this;
}

std::string JsonWriter::Quote(const std::string& text) {
    std::string out = "\"";
    for (unsigned char c : text) {
        switch (c) {
            case '"':
                out += "\\\"";
                break;
            case '\\':
                out += "\\\\";
                break;
            case '\n':
                out += "\\n";
                break;
            case '\r':
                out += "\\r";
                break;
            case '\t':
                out += "\\t";
                break;
            default:
                if (c < 0x20) {
                    char escaped[8];
                    std::snprintf(escaped, sizeof(escaped), "\\u%04x", c);
                    out += escaped;
                } else {
                    out += static_cast<char>(c);
                }
        }
    }
    return out + "\"";
}

std::string JsonWriter::Number(double value) {
    if (!std::isfinite(value)) return "null";
    char text[32];
    for (int precision = 6; precision <= 17; ++precision) {
        std::snprintf(text, sizeof(text), "%.*g", precision, value);
        if (std::strtod(text, nullptr) == value) break;
    }
    return text;
}

std::string JsonWriter::FloatNumber(float value) {
    if (!std::isfinite(value)) return "null";
    char text[32];
    for (int precision = 6; precision <= 9; ++precision) {
        std::snprintf(text, sizeof(text), "%.*g", precision, static_cast<double>(value));
        if (std::strtof(text, nullptr) == value) break;
    }
    return text;
}

}  // namespace aon_tools

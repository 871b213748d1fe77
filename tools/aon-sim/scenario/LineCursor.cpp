#include "tools/aon-sim/scenario/LineCursor.h"

#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <limits>

namespace aon_sim {
namespace {

std::string JoinChoices(const std::vector<std::string>& choices) {
    std::string out;
    for (size_t i = 0; i < choices.size(); ++i) {
        if (i != 0) out += i + 1 == choices.size() ? " or " : ", ";
        out += choices[i];
    }
    return out;
}

// The bytes of a word an error shows at most.
constexpr size_t kShownWordBytes = 60;

}  // namespace

std::string Printable(const std::string& text, size_t limit) {
    std::string out;
    for (size_t i = 0; i < text.size(); ++i) {
        if (i == limit) return out + "...";
        const auto byte = static_cast<unsigned char>(text[i]);
        if (byte >= 0x20 && byte < 0x7f) {
            out += text[i];
        } else {
            char escaped[8];
            std::snprintf(escaped, sizeof(escaped), "\\x%02x", byte);
            out += escaped;
        }
    }
    return out;
}

std::string ShownWord(const std::string& word) {
    return "'" + Printable(word, kShownWordBytes) + "'";
}

LineCursor::LineCursor(std::vector<Token> tokens) : mTokens(std::move(tokens)) {}

std::string LineCursor::Describe(size_t index) const {
    if (index >= mTokens.size()) return "the end of the line";
    // What a file holds may be anything: a long or binary word shows in part, escaped.
    if (!mTokens[index].quoted) return ShownWord(mTokens[index].text);
    return "\"" + Printable(mTokens[index].text, kShownWordBytes) + "\"";
}

bool LineCursor::Fail(const std::string& what) {
    return FailWith(what, Describe(mNext));
}

bool LineCursor::FailWith(const std::string& what, const std::string& got) {
    if (mError.empty()) mError = "expected " + what + ", got " + got;
    return false;
}

bool LineCursor::PeekIs(const char* word) const {
    return !AtEnd() && !mTokens[mNext].quoted && mTokens[mNext].text == word;
}

bool LineCursor::Accept(const char* word) {
    if (!PeekIs(word)) return false;
    ++mNext;
    return true;
}

bool LineCursor::ReadWord(std::string* out, const std::string& what) {
    if (failed()) return false;
    if (AtEnd() || mTokens[mNext].quoted) return Fail(what);
    *out = mTokens[mNext++].text;
    return true;
}

bool LineCursor::ReadQuoted(std::string* out, const std::string& what) {
    if (failed()) return false;
    if (AtEnd() || !mTokens[mNext].quoted) return Fail(what);
    *out = mTokens[mNext++].text;
    return true;
}

bool LineCursor::ReadValue(std::string* out, const std::string& what) {
    if (failed()) return false;
    if (AtEnd()) return Fail(what);
    *out = mTokens[mNext++].text;
    return true;
}

bool LineCursor::ReadKeyword(const std::vector<std::string>& choices, std::string* out,
                             const std::string& what) {
    if (failed()) return false;
    if (!AtEnd() && !mTokens[mNext].quoted) {
        for (const std::string& choice : choices) {
            if (mTokens[mNext].text == choice) {
                *out = choice;
                ++mNext;
                return true;
            }
        }
    }
    return Fail(what + " (" + JoinChoices(choices) + ")");
}

bool LineCursor::ParseInteger(const std::string& text, int64_t min, int64_t max, int64_t* out) {
    size_t i = 0;
    const bool negative = !text.empty() && text[0] == '-';
    if (negative) ++i;
    int base = 10;
    if (text.size() > i + 2 && text[i] == '0' && (text[i + 1] == 'x' || text[i + 1] == 'X')) {
        base = 16;
        i += 2;
    }
    if (i >= text.size()) return false;
    uint64_t value = 0;
    for (; i < text.size(); ++i) {
        const char c = text[i];
        int digit = -1;
        if (c >= '0' && c <= '9') digit = c - '0';
        if (base == 16 && c >= 'a' && c <= 'f') digit = c - 'a' + 10;
        if (base == 16 && c >= 'A' && c <= 'F') digit = c - 'A' + 10;
        if (digit < 0) return false;
        if (value > (std::numeric_limits<uint64_t>::max() - digit) / base) return false;
        value = value * base + digit;
    }
    if (negative) {
        if (value > static_cast<uint64_t>(std::numeric_limits<int64_t>::max()) + 1) return false;
        const int64_t result = value == 0 ? 0 : -static_cast<int64_t>(value - 1) - 1;
        if (result < min) return false;
        *out = result;
        return true;
    }
    if (value > static_cast<uint64_t>(max)) return false;
    *out = static_cast<int64_t>(value);
    return true;
}

bool LineCursor::ReadInt32(int32_t* out, const std::string& what) {
    if (failed()) return false;
    int64_t value = 0;
    if (AtEnd() || mTokens[mNext].quoted ||
        !ParseInteger(mTokens[mNext].text, std::numeric_limits<int32_t>::min(),
                      std::numeric_limits<uint32_t>::max(), &value)) {
        return Fail(what);
    }
    // Masks are written in hexadecimal up to 0xFFFFFFFF: they keep their bits.
    *out = static_cast<int32_t>(static_cast<uint32_t>(value));
    ++mNext;
    return true;
}

bool LineCursor::ReadInt64(int64_t* out, const std::string& what) {
    if (failed()) return false;
    if (AtEnd() || mTokens[mNext].quoted ||
        !ParseInteger(mTokens[mNext].text, std::numeric_limits<int64_t>::min(),
                      std::numeric_limits<int64_t>::max(), out)) {
        return Fail(what);
    }
    ++mNext;
    return true;
}

bool LineCursor::ReadUint32(uint32_t* out, const std::string& what) {
    if (failed()) return false;
    int64_t value = 0;
    if (AtEnd() || mTokens[mNext].quoted ||
        !ParseInteger(mTokens[mNext].text, 0, std::numeric_limits<uint32_t>::max(), &value)) {
        return Fail(what);
    }
    *out = static_cast<uint32_t>(value);
    ++mNext;
    return true;
}

bool LineCursor::ReadSize(std::pair<uint32_t, uint32_t>* out, const std::string& what) {
    if (failed()) return false;
    if (AtEnd() || mTokens[mNext].quoted) return Fail(what);
    const std::string& text = mTokens[mNext].text;
    const size_t x = text.find('x');
    int64_t first = 0;
    int64_t second = 0;
    if (x == std::string::npos || x == 0 ||
        !ParseInteger(text.substr(0, x), 0, std::numeric_limits<uint32_t>::max(), &first) ||
        !ParseInteger(text.substr(x + 1), 0, std::numeric_limits<uint32_t>::max(), &second)) {
        return Fail(what);
    }
    *out = {static_cast<uint32_t>(first), static_cast<uint32_t>(second)};
    ++mNext;
    return true;
}

bool LineCursor::ReadList(std::vector<int32_t>* out, const std::string& what) {
    if (failed()) return false;
    if (AtEnd() || mTokens[mNext].quoted) return Fail(what);
    const std::string& text = mTokens[mNext].text;
    std::vector<int32_t> values;
    if (text != "none") {
        size_t start = 0;
        while (true) {
            const size_t comma = text.find(',', start);
            const std::string item = text.substr(start, comma - start);
            int64_t value = 0;
            if (!ParseInteger(item, std::numeric_limits<int32_t>::min(),
                              std::numeric_limits<int32_t>::max(), &value)) {
                return Fail(what);
            }
            values.push_back(static_cast<int32_t>(value));
            if (comma == std::string::npos) break;
            start = comma + 1;
        }
    }
    *out = std::move(values);
    ++mNext;
    return true;
}

bool LineCursor::ReadNumber(double* out, std::string* literal, const std::string& what) {
    if (failed()) return false;
    if (AtEnd() || mTokens[mNext].quoted) return Fail(what);
    const std::string& text = mTokens[mNext].text;
    int64_t integer = 0;
    if (ParseInteger(text, std::numeric_limits<int64_t>::min(), std::numeric_limits<int64_t>::max(),
                     &integer)) {
        *out = static_cast<double>(integer);
    } else {
        char* end = nullptr;
        errno = 0;
        const double value = std::strtod(text.c_str(), &end);
        if (end == text.c_str() || *end != '\0' || errno != 0 || !std::isfinite(value)) {
            return Fail(what);
        }
        *out = value;
    }
    *literal = text;
    ++mNext;
    return true;
}

bool LineCursor::ReadDuration(int64_t* micros, const std::string& what) {
    if (failed()) return false;
    if (AtEnd() || mTokens[mNext].quoted) return Fail(what);
    const std::string& text = mTokens[mNext].text;
    struct Unit {
        const char* suffix;
        double micros;
    };
    static const Unit kUnits[] = {{"ms", 1e3}, {"us", 1}, {"s", 1e6}};
    for (const Unit& unit : kUnits) {
        const std::string suffix = unit.suffix;
        if (text.size() <= suffix.size() ||
            text.compare(text.size() - suffix.size(), suffix.size(), suffix) != 0) {
            continue;
        }
        const std::string number = text.substr(0, text.size() - suffix.size());
        char* end = nullptr;
        const double value = std::strtod(number.c_str(), &end);
        if (end == number.c_str() || *end != '\0' || !(value >= 0) || value > 1e6) break;
        *micros = static_cast<int64_t>(std::llround(value * unit.micros));
        ++mNext;
        return true;
    }
    return Fail(what);
}

bool LineCursor::ExpectEnd(const std::string& what) {
    if (failed()) return false;
    if (!AtEnd()) return Fail(what);
    return true;
}

}  // namespace aon_sim

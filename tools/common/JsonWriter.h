// Builds one JSON text: objects, arrays, strings with escapes, numbers (non-finite as null).
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace aon_tools {

class JsonWriter final {
  public:
    JsonWriter& BeginObject();
    JsonWriter& EndObject();
    JsonWriter& BeginArray();
    JsonWriter& EndArray();
    JsonWriter& Key(const char* key);
    JsonWriter& String(const std::string& value);
    JsonWriter& Int(int64_t value);
    JsonWriter& Double(double value);
    JsonWriter& Bool(bool value);
    // An already rendered JSON value.
    JsonWriter& Raw(const std::string& json);

    const std::string& str() const { return mOut; }

    static std::string Quote(const std::string& text);
    // Shortest text that reads back as the same double, or null when not finite.
    static std::string Number(double value);
    // Shortest text that reads back as the same float, or null when not finite.
    static std::string FloatNumber(float value);

  private:
    void BeforeValue();

    std::string mOut;
    std::vector<bool> mFirst;  // per open container: no element written yet
    bool mAfterKey = false;
};

}  // namespace aon_tools

// Builds one JSON text: objects, arrays, strings with escapes, numbers (non-finite as null).
//
// Host-only programs write JSON with nlohmann-json (aon-sim's trace). This writer stays for the
// code that aon-client shares with its device build, where a vendor image offers no JSON library:
// aon-client's output and the result values of tools/common/ResultDescription.
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

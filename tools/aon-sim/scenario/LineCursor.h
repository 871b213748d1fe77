// Reads the words of one scenario line in order, with typed readers that record the first
// mistake as "expected <what>, got '<word>'".
#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "tools/aon-sim/scenario/Tokenizer.h"

namespace aon_sim {

// A text fit for a terminal: bytes outside printable ASCII as \xNN; past `limit` bytes of the
// original the rest shows as "...".
std::string Printable(const std::string& text, size_t limit = std::string::npos);
// A word of the file as an error shows it: quoted, escaped, a long one in part.
std::string ShownWord(const std::string& word);

class LineCursor final {
  public:
    explicit LineCursor(std::vector<Token> tokens);

    bool AtEnd() const { return mNext >= mTokens.size(); }
    // Whether the next word is `word` (unquoted); Accept consumes it when it is.
    bool PeekIs(const char* word) const;
    bool Accept(const char* word);

    // Each reader consumes one word (ReadSize one "WxH" word, ReadList one "I,J,K" word). On a
    // mistake it records the first error of the line and returns false.
    bool ReadWord(std::string* out, const std::string& what);
    bool ReadQuoted(std::string* out, const std::string& what);
    // A word, quoted or not.
    bool ReadValue(std::string* out, const std::string& what);
    bool ReadKeyword(const std::vector<std::string>& choices, std::string* out,
                     const std::string& what);
    bool ReadInt32(int32_t* out, const std::string& what);
    bool ReadInt64(int64_t* out, const std::string& what);
    bool ReadUint32(uint32_t* out, const std::string& what);
    bool ReadSize(std::pair<uint32_t, uint32_t>* out, const std::string& what);
    bool ReadList(std::vector<int32_t>* out, const std::string& what);
    bool ReadNumber(double* out, std::string* literal, const std::string& what);
    bool ReadDuration(int64_t* micros, const std::string& what);
    // Records an error unless every word was read.
    bool ExpectEnd(const std::string& what);

    // Records "expected <what>, got <the next word>" without consuming it.
    bool Fail(const std::string& what);
    // Records "expected <what>, got <got>" (got already rendered).
    bool FailWith(const std::string& what, const std::string& got);

    bool failed() const { return !mError.empty(); }
    const std::string& error() const { return mError; }

    // Number parsing shared with the readers: decimal or 0x hexadecimal, optional minus sign.
    static bool ParseInteger(const std::string& text, int64_t min, int64_t max, int64_t* out);

  private:
    std::string Describe(size_t index) const;

    std::vector<Token> mTokens;
    size_t mNext = 0;
    std::string mError;
};

}  // namespace aon_sim

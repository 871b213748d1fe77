// Splits one line of a scenario file into words.
#pragma once

#include <string>
#include <vector>

namespace aon_sim {

struct Token {
    std::string text;
    bool quoted = false;  // written in double quotes: never a keyword, may hold blanks
};

// Words are separated by blanks; "..." is one word (\" and \\ escape a quote and a backslash);
// '#' outside quotes starts a comment. Returns false with `error` set ("a closing quote", ...)
// when the line cannot be split.
bool Tokenize(const std::string& line, std::vector<Token>* tokens, std::string* error);

}  // namespace aon_sim

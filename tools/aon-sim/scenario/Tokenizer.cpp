#include "tools/aon-sim/scenario/Tokenizer.h"

#include <cctype>

namespace aon_sim {

bool Tokenize(const std::string& line, std::vector<Token>* tokens, std::string* error) {
    tokens->clear();
    size_t i = 0;
    while (i < line.size()) {
        const char c = line[i];
        if (std::isspace(static_cast<unsigned char>(c))) {
            ++i;
        } else if (c == '#') {
            break;
        } else if (c == '"') {
            Token token;
            token.quoted = true;
            ++i;
            bool closed = false;
            while (i < line.size()) {
                const char q = line[i++];
                if (q == '"') {
                    closed = true;
                    break;
                }
                if (q == '\\' && i < line.size() && (line[i] == '"' || line[i] == '\\')) {
                    token.text += line[i++];
                } else {
                    token.text += q;
                }
            }
            if (!closed) {
                *error = "a closing quote";
                return false;
            }
            tokens->push_back(std::move(token));
        } else {
            Token token;
            while (i < line.size() && !std::isspace(static_cast<unsigned char>(line[i])) &&
                   line[i] != '"' && line[i] != '#') {
                token.text += line[i++];
            }
            tokens->push_back(std::move(token));
        }
    }
    return true;
}

}  // namespace aon_sim

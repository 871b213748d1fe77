// Cases of a parameterized suite derive from Named: CaseName names each instance after its case,
// and gtest prints the case as its name.
#pragma once

#include <ostream>
#include <string>

namespace aon_test {

struct Named {
    const char* name;
};

inline std::ostream& operator<<(std::ostream& out, const Named& named) {
    return out << named.name;
}

struct CaseName {
    template <typename Info>
    std::string operator()(const Info& info) const {
        return info.param.name;
    }
};

}  // namespace aon_test

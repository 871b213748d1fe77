// Cases of a parameterized suite derive from Named: gtest prints the case as its name, and
// ::testing::PrintToStringParamName() names each instance after it.
#pragma once

#include <ostream>

namespace aon_test {

struct Named {
    const char* name;
};

inline std::ostream& operator<<(std::ostream& out, const Named& named) {
    return out << named.name;
}

}  // namespace aon_test

// The camera stack of the same process links against these entry points of libtcam_hal_aon.so.
#include <gtest/gtest.h>

#include <cstdio>
#include <set>
#include <string>

namespace aon_test {
namespace {

// Demangled names of the functions the library defines in its dynamic symbol table.
std::set<std::string> DynamicFunctions(const std::string& library) {
    std::set<std::string> names;
    const std::string command = "nm -D --defined-only -C '" + library + "'";
    FILE* pipe = popen(command.c_str(), "r");
    if (pipe == nullptr) return names;
    char line[1024];
    while (fgets(line, sizeof(line), pipe) != nullptr) {
        // "<address> <type> <name>": only text symbols.
        const std::string text(line);
        const size_t type = text.find(' ') + 1;
        if (type == 0 || type + 2 >= text.size() || text[type] != 'T') continue;
        names.insert(text.substr(type + 2, text.find_last_not_of('\n') - type - 1));
    }
    EXPECT_EQ(0, pclose(pipe));
    return names;
}

TEST(ExportedSymbolsTest, CameraStackEntryPointsAreExported) {
    const std::set<std::string> names = DynamicFunctions(AON_LIBRARY_PATH);
    for (const char* name : {"tarvo::aon::AONManager::GetSingleton()",
                             "tarvo::aon::AONManager::NotifyOpen(int)",
                             "tarvo::aon::AONManager::NotifyClose(int)"}) {
        EXPECT_EQ(1u, names.count(name)) << name << " missing from " << AON_LIBRARY_PATH;
    }
}

}  // namespace
}  // namespace aon_test

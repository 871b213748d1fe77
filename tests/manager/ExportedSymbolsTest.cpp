// The camera stack links against these entry points of libtcam_hal_aon.so, and the camera
// process looks up the plain C entry RegisterIAonService.
#include <gtest/gtest.h>

#include <cstdio>
#include <memory>
#include <string>

namespace aon_test {
namespace {

TEST(ExportedSymbolsTest, EntryPointsAreExported) {
    std::unique_ptr<FILE, int (*)(FILE*)> nm(
            popen("nm -D --defined-only -C '" AON_LIBRARY_PATH "'", "r"), pclose);
    ASSERT_NE(nullptr, nm);
    std::string table;  // "<address> <type> <demangled name>" lines
    char line[1024];
    while (fgets(line, sizeof(line), nm.get()) != nullptr) table += line;
    for (const char* name :
         {"tarvo::aon::AONManager::GetSingleton()", "tarvo::aon::AONManager::NotifyOpen(int)",
          "tarvo::aon::AONManager::NotifyClose(int)",
          "RegisterIAonService"}) {  // unmangled: no "()" when demangled
        EXPECT_NE(std::string::npos, table.find(" T " + std::string(name) + "\n"))
                << name << " is no text symbol of " << AON_LIBRARY_PATH;
    }
}

}  // namespace
}  // namespace aon_test

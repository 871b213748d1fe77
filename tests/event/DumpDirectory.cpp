#include "tests/event/DumpDirectory.h"

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <sstream>

#include "host/DataAon.h"

namespace aon_test {
namespace {

constexpr char kDumpPrefix[] = "/data/aon/";
std::mutex gLock;
std::vector<DumpDirectory::Open> gOpens;

void Record(const char* path, const char* mode) {
    std::lock_guard<std::mutex> guard(gLock);
    gOpens.push_back({path, mode});
}

// Until a DumpDirectory lives, nothing reaches the machine's real directory.
struct RefuseAtStart {
    RefuseAtStart() { host::RefuseDataAon(); }
} gRefuseAtStart;

}  // namespace

DumpDirectory::DumpDirectory(bool present) {
    std::string pattern = (std::filesystem::temp_directory_path() / "aon_dump_XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr) abort();
    mTempRoot = pattern;
    mRoot = present ? mTempRoot : mTempRoot + "/missing";
    {
        std::lock_guard<std::mutex> guard(gLock);
        gOpens.clear();
    }
    host::SetDataAonObserver(&Record);
    host::RedirectDataAon(mRoot);
}

DumpDirectory::~DumpDirectory() {
    host::RefuseDataAon();
    host::SetDataAonObserver(nullptr);
    std::error_code ignored;
    std::filesystem::remove_all(mTempRoot, ignored);
}

std::vector<DumpDirectory::Open> DumpDirectory::opens() const {
    std::lock_guard<std::mutex> guard(gLock);
    return gOpens;
}

std::string DumpDirectory::read(const std::string& dataAonPath) const {
    std::ifstream in(mRoot + "/" + dataAonPath.substr(strlen(kDumpPrefix)), std::ios::binary);
    std::ostringstream content;
    content << in.rdbuf();
    return content.str();
}

bool DumpDirectory::exists() const { return std::filesystem::exists(mRoot); }

}  // namespace aon_test

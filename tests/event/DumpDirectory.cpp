#include "tests/event/DumpDirectory.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <sstream>

extern "C" FILE* __real_fopen(const char* path, const char* mode);

namespace aon_test {
namespace {

constexpr char kDumpPrefix[] = "/data/aon/";
std::mutex gLock;
std::string gRoot;  // empty: no DumpDirectory alive
std::vector<DumpDirectory::Open> gOpens;

}  // namespace

DumpDirectory::DumpDirectory(bool present) {
    std::string pattern = (std::filesystem::temp_directory_path() / "aon_dump_XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr) abort();
    mTempRoot = pattern;
    mRoot = present ? mTempRoot : mTempRoot + "/missing";
    std::lock_guard<std::mutex> guard(gLock);
    gRoot = mRoot;
    gOpens.clear();
}

DumpDirectory::~DumpDirectory() {
    {
        std::lock_guard<std::mutex> guard(gLock);
        gRoot.clear();
    }
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

extern "C" FILE* __wrap_fopen(const char* path, const char* mode) {
    using namespace aon_test;
    if (path == nullptr || strncmp(path, kDumpPrefix, strlen(kDumpPrefix)) != 0) {
        return __real_fopen(path, mode);
    }
    std::lock_guard<std::mutex> guard(gLock);
    if (gRoot.empty()) {
        errno = EACCES;
        return nullptr;
    }
    gOpens.push_back({path, mode});
    return __real_fopen((gRoot + "/" + (path + strlen(kDumpPrefix))).c_str(), mode);
}

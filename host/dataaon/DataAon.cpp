#include "host/DataAon.h"

#include <android-base/thread_annotations.h>
#include <dlfcn.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>

#include "event/DebugDumps.h"

namespace host {
namespace {

using tarvo::aon::kDumpDirectory;

enum class Route { kReal, kRefused, kRedirected };

struct State {
    std::mutex lock;
    Route route GUARDED_BY(lock) = Route::kReal;
    std::string directory GUARDED_BY(lock);
};

// Constructed on first use: the C library opens files before and after static construction.
State& TheState() {
    static State* const state = new State();
    return *state;
}

std::atomic<DataAonObserver> gObserver{nullptr};

using FopenFunction = FILE* (*)(const char*, const char*);

FopenFunction RealFopen() {
    static const FopenFunction real = reinterpret_cast<FopenFunction>(dlsym(RTLD_NEXT, "fopen"));
    if (real == nullptr) abort();
    return real;
}

void SetRoute(Route route, const std::string& directory) {
    State& state = TheState();
    std::lock_guard<std::mutex> guard(state.lock);
    state.route = route;
    state.directory = directory;
}

FILE* Open(const char* path, const char* mode) {
    const size_t prefix = std::strlen(kDumpDirectory);
    if (path == nullptr || std::strncmp(path, kDumpDirectory, prefix) != 0) {
        return RealFopen()(path, mode);
    }
    if (const DataAonObserver observer = gObserver.load()) observer(path, mode);
    Route route;
    std::string directory;
    {
        State& state = TheState();
        std::lock_guard<std::mutex> guard(state.lock);
        route = state.route;
        directory = state.directory;
    }
    switch (route) {
        case Route::kReal:
            return RealFopen()(path, mode);
        case Route::kRefused:
            errno = EACCES;
            return nullptr;
        case Route::kRedirected:
            break;
    }
    return RealFopen()((directory + "/" + (path + prefix)).c_str(), mode);
}

}  // namespace

void RedirectDataAon(const std::string& directory) {
    SetRoute(Route::kRedirected, directory);
}

void RefuseDataAon() {
    SetRoute(Route::kRefused, {});
}

void UseRealDataAon() {
    SetRoute(Route::kReal, {});
}

void SetDataAonObserver(DataAonObserver observer) {
    gObserver.store(observer);
}

}  // namespace host

// Found before the C library's by every object of the process, this executable's and the shared
// libraries' alike.
extern "C" FILE* fopen(const char* path, const char* mode) {
    return host::Open(path, mode);
}

// The host's declared AIDL HAL instances: a process-wide list, filled by DeclareAidlHalInstance.
#include <aidl/Vintf.h>

#include <mutex>

#include "host/vintf_control.h"

namespace {

std::mutex gLock;
std::vector<std::string>& Declared() {
    static std::vector<std::string> declared;
    return declared;
}

}  // namespace

namespace host {

void DeclareAidlHalInstance(const std::string& instance) {
    std::lock_guard<std::mutex> guard(gLock);
    Declared().push_back(instance);
}

}  // namespace host

namespace android {

std::vector<std::string> getAidlHalInstanceNames(const std::string& descriptor) {
    const std::string prefix = descriptor + "/";
    std::lock_guard<std::mutex> guard(gLock);
    std::vector<std::string> names;
    for (const std::string& instance : Declared()) {
        if (instance.compare(0, prefix.size(), prefix) == 0) names.push_back(instance);
    }
    return names;
}

}  // namespace android

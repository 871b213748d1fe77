// The service manager: an in-process table from instance name to binder.
#include <android/binder_manager.h>

#include <android-base/thread_annotations.h>

#include <map>
#include <mutex>
#include <string>

#include "host/binder_control.h"

namespace {

class ServiceTable final {
  public:
    static ServiceTable& Get() {
        // Never destroyed: registered services live until the process exits, as on a device.
        static ServiceTable* table = new ServiceTable();
        return *table;
    }

    binder_exception_t Add(AIBinder* binder, const std::string& instance) EXCLUDES(mLock) {
        std::lock_guard<std::mutex> guard(mLock);
        if (mAddResult != STATUS_OK) return mAddResult;
        AIBinder_incStrong(binder);
        mServices[instance] = ndk::SpAIBinder(binder);
        return EX_NONE;
    }

    ndk::SpAIBinder Find(const std::string& instance) const EXCLUDES(mLock) {
        std::lock_guard<std::mutex> guard(mLock);
        auto it = mServices.find(instance);
        return it == mServices.end() ? ndk::SpAIBinder() : it->second;
    }

    void SetAddResult(binder_status_t status) EXCLUDES(mLock) {
        std::lock_guard<std::mutex> guard(mLock);
        mAddResult = status;
    }

  private:
    ServiceTable() = default;

    mutable std::mutex mLock;
    std::map<std::string, ndk::SpAIBinder> mServices GUARDED_BY(mLock);
    binder_status_t mAddResult GUARDED_BY(mLock) = STATUS_OK;
};

}  // namespace

binder_exception_t AServiceManager_addService(AIBinder* binder, const char* instance) {
    if (binder == nullptr || instance == nullptr) return EX_NULL_POINTER;
    return ServiceTable::Get().Add(binder, instance);
}

AIBinder* AServiceManager_checkService(const char* instance) {
    if (instance == nullptr) return nullptr;
    return ServiceTable::Get().Find(instance).release();
}

AIBinder* AServiceManager_getService(const char* instance) {
    return AServiceManager_checkService(instance);
}

AIBinder* AServiceManager_waitForService(const char* instance) {
    return AServiceManager_checkService(instance);
}

namespace host {

void SetAddServiceResult(binder_status_t status) {
    ServiceTable::Get().SetAddResult(status);
}

ndk::SpAIBinder LookupService(const char* instance) {
    if (instance == nullptr) return nullptr;
    return ServiceTable::Get().Find(instance);
}

}  // namespace host

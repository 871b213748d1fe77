// The service manager: an in-process table from instance name to binder, and the instances the
// device declares.
#include <android/binder_manager.h>

#include <android-base/thread_annotations.h>

#include <condition_variable>
#include <map>
#include <mutex>
#include <set>
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
        {
            std::lock_guard<std::mutex> guard(mLock);
            if (mAddResult != STATUS_OK) return mAddResult;
            AIBinder_incStrong(binder);
            mServices[instance] = ndk::SpAIBinder(binder);
        }
        mAdded.notify_all();
        return EX_NONE;
    }

    ndk::SpAIBinder Find(const std::string& instance) const EXCLUDES(mLock) {
        std::lock_guard<std::mutex> guard(mLock);
        return FindLocked(instance);
    }

    ndk::SpAIBinder WaitFor(const std::string& instance) EXCLUDES(mLock) {
        std::unique_lock<std::mutex> lock(mLock);
        android::base::ScopedLockAssertion held(mLock);
        ndk::SpAIBinder binder;
        mAdded.wait(lock, [&] {
            android::base::ScopedLockAssertion waitHeld(mLock);
            binder = FindLocked(instance);
            return binder.get() != nullptr;
        });
        return binder;
    }

    void SetAddResult(binder_status_t status) EXCLUDES(mLock) {
        std::lock_guard<std::mutex> guard(mLock);
        mAddResult = status;
    }

    void Declare(const std::string& instance) EXCLUDES(mLock) {
        std::lock_guard<std::mutex> guard(mLock);
        mDeclared.insert(instance);
    }

    bool IsDeclared(const std::string& instance) const EXCLUDES(mLock) {
        std::lock_guard<std::mutex> guard(mLock);
        return mDeclared.count(instance) != 0;
    }

  private:
    ServiceTable() = default;

    ndk::SpAIBinder FindLocked(const std::string& instance) const REQUIRES(mLock) {
        auto it = mServices.find(instance);
        return it == mServices.end() ? ndk::SpAIBinder() : it->second;
    }

    mutable std::mutex mLock;
    std::condition_variable mAdded;
    std::map<std::string, ndk::SpAIBinder> mServices GUARDED_BY(mLock);
    std::set<std::string> mDeclared GUARDED_BY(mLock);
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
    if (instance == nullptr) return nullptr;
    return ServiceTable::Get().WaitFor(instance).release();
}

bool AServiceManager_isDeclared(const char* instance) {
    return instance != nullptr && ServiceTable::Get().IsDeclared(instance);
}

namespace host {

void SetAddServiceResult(binder_status_t status) {
    ServiceTable::Get().SetAddResult(status);
}

ndk::SpAIBinder LookupService(const char* instance) {
    if (instance == nullptr) return nullptr;
    return ServiceTable::Get().Find(instance);
}

void DeclareService(const char* instance) {
    if (instance != nullptr) ServiceTable::Get().Declare(instance);
}

}  // namespace host

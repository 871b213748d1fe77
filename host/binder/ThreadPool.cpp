// The binder thread pool. Calls run on the caller's thread on the host, so the pool only records
// that it was started; joining it blocks until host::ShutdownThreadPool().
#include <android/binder_process.h>

#include <android-base/thread_annotations.h>

#include <condition_variable>
#include <mutex>

#include "host/binder_control.h"

namespace {

class ThreadPool final {
  public:
    static ThreadPool& Get() {
        static ThreadPool* pool = new ThreadPool();  // never destroyed: joiners may outlive main
        return *pool;
    }

    void Start() EXCLUDES(mLock) {
        std::lock_guard<std::mutex> guard(mLock);
        mStarted = true;
    }

    bool IsStarted() const EXCLUDES(mLock) {
        std::lock_guard<std::mutex> guard(mLock);
        return mStarted;
    }

    void Join() EXCLUDES(mLock) {
        std::unique_lock<std::mutex> lock(mLock);
        android::base::ScopedLockAssertion lockAssertion(mLock);
        mStarted = true;
        while (!mShutdown) mShutdownChanged.wait(lock);
    }

    void Shutdown() EXCLUDES(mLock) {
        {
            std::lock_guard<std::mutex> guard(mLock);
            mShutdown = true;
        }
        mShutdownChanged.notify_all();
    }

  private:
    ThreadPool() = default;

    mutable std::mutex mLock;
    std::condition_variable mShutdownChanged;
    bool mStarted GUARDED_BY(mLock) = false;
    bool mShutdown GUARDED_BY(mLock) = false;
};

}  // namespace

void ABinderProcess_startThreadPool() {
    ThreadPool::Get().Start();
}

bool ABinderProcess_setThreadPoolMaxThreadCount(uint32_t /*numThreads*/) {
    return true;
}

bool ABinderProcess_isThreadPoolStarted() {
    return ThreadPool::Get().IsStarted();
}

void ABinderProcess_joinThreadPool() {
    ThreadPool::Get().Join();
}

namespace host {

void ShutdownThreadPool() {
    ThreadPool::Get().Shutdown();
}

}  // namespace host

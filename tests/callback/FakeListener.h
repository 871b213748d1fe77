// A registry listener that records each death it is told about. From inside the notification it
// asks the registry whether the dead handle is still registered, on another thread and with a
// bound: if the registry still held its mutex while calling the listener, that question could not
// be answered until the listener returned, and the bound runs out instead of the test hanging.
#pragma once

#include <chrono>
#include <condition_variable>
#include <future>
#include <memory>
#include <mutex>
#include <vector>

#include "callback/IRemoteCallbackManagerListener.h"
#include "callback/RemoteCallbackManager.h"

namespace aon_test {

class FakeListener final : public tarvo::aon::IRemoteCallbackManagerListener {
  public:
    struct Death {
        long handle;
        std::shared_ptr<tarvo::aon::RemoteCallbackManager::IAONServiceCallBack> callback;
        bool registryAnswered;  // the registry answered from inside the notification
        bool stillRegistered;   // its answer
    };

    void OnRemoteCallbackDied(
            long clientHandle,
            const std::shared_ptr<tarvo::aon::RemoteCallbackManager::IAONServiceCallBack>& callback)
            override {
        auto registry = tarvo::aon::RemoteCallbackManager::GetSingleton();
        std::future<bool> probe = std::async(std::launch::async, [registry, clientHandle] {
            return registry->CheckClientHandleRegistered(clientHandle);
        });
        const bool answered = probe.wait_for(kProbeBound) == std::future_status::ready;
        std::lock_guard<std::mutex> lock(mMutex);
        mDeaths.push_back({clientHandle, callback, answered, answered ? probe.get() : true});
        // An unanswered probe is joined later, once the registry has let go.
        if (!answered) mPendingProbes.push_back(std::move(probe));
        mChanged.notify_all();
    }

    [[nodiscard]] bool waitForDeaths(size_t count,
                                     std::chrono::milliseconds timeout = std::chrono::seconds(5)) {
        std::unique_lock<std::mutex> lock(mMutex);
        return mChanged.wait_for(lock, timeout, [&] { return mDeaths.size() >= count; });
    }

    std::vector<Death> deaths() {
        std::lock_guard<std::mutex> lock(mMutex);
        return mDeaths;
    }

  private:
    static constexpr std::chrono::seconds kProbeBound{2};
    std::mutex mMutex;
    std::condition_variable mChanged;
    std::vector<Death> mDeaths;
    std::vector<std::future<bool>> mPendingProbes;
};

}  // namespace aon_test

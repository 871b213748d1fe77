#include "callback/RemoteCallbackManager.h"

#include <android/binder_status.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <string>
#include <utility>

#include "common/AonLog.h"

namespace tarvo::aon {

namespace {

constexpr char kLogClass[] = "RemoteCallbackManager";

// The registry admits one client at a time: an event's copy of the clients fits in this many
// entries on the stack, so that delivering an event allocates nothing. A larger map (not expected)
// is copied whole.
constexpr size_t kInlineEventClients = 2;

// Calls `deliver(handle, callback)` for every client of the copy [first, last), in ascending handle
// order, that answers a ping. A client that does not answer is skipped quietly; its death
// notification removes it.
template <typename Iterator, typename Deliver>
void DeliverToLiveClients(Iterator first, Iterator last, Deliver deliver) {
    for (; first != last; ++first) {
        const auto& [handle, callback] = *first;
        if (callback == nullptr) continue;
        if (AIBinder_ping(callback->asBinder().get()) != STATUS_OK) continue;
        deliver(handle, callback);
    }
}

}  // namespace

bool isCallbackEqual(const std::shared_ptr<RemoteCallbackManager::IAONServiceCallBack>& a,
                     const std::shared_ptr<RemoteCallbackManager::IAONServiceCallBack>& b) {
    if (a == nullptr || b == nullptr) return a == b;
    return a->asBinder().get() == b->asBinder().get();
}

std::shared_ptr<RemoteCallbackManager> RemoteCallbackManager::GetSingleton() {
    static std::shared_ptr<RemoteCallbackManager> sInstance =
            std::make_shared<RemoteCallbackManager>();
    // Only empty once static destruction has begun; not expected to run.
    if (sInstance == nullptr) sInstance = std::make_shared<RemoteCallbackManager>();
    return sInstance;
}

RemoteCallbackManager::RemoteCallbackManager()
    : mDeathRecipient(AIBinder_DeathRecipient_new(&RemoteCallbackManager::BinderDied)) {}

// The maps and the death recipient go with the members; links are not undone: the singleton lives
// until process exit, so its recipient outlives every link made with it.
RemoteCallbackManager::~RemoteCallbackManager() = default;

void RemoteCallbackManager::SetListener(IRemoteCallbackManagerListener* listener) {
    mListener.store(listener, std::memory_order_release);
}

int RemoteCallbackManager::RegisterClient(const std::shared_ptr<IAONServiceCallBack>& callback,
                                          long* clientHandle) {
    if (callback == nullptr) {
        AON_LOGE("RegisterClient failed: callback is null");
        return -1;
    }
    // Binder calls into the client: made before the lock is taken.
    std::string hash;
    int32_t version = 0;
    (void)callback->getInterfaceHash(&hash);
    (void)callback->getInterfaceVersion(&version);
    AON_LOGI("RegisterClient callback-> callbackInterfaceHash:%s, callbackVersionCode:%d",
             hash.c_str(), version);

    std::shared_ptr<IAONServiceCallBack> replaced;  // released after mMutex
    std::map<int, int> sensorStates;
    {
        std::lock_guard<std::mutex> lock(mMutex);
        *clientHandle = 1;
        // asBinder() only reads the object's binder pointer; no transaction is made under the lock.
        const ndk::SpAIBinder binder = callback->asBinder();
        const auto existing = std::find_if(mCallbacks.begin(), mCallbacks.end(),
                                           [&callback](const auto& entry) {
                                               return isCallbackEqual(entry.second, callback);
                                           });
        if (existing != mCallbacks.end()) {
            *clientHandle = existing->first;
            AON_LOGW("callback has already register, client:%d", static_cast<int>(*clientHandle));
            if (AIBinder_unlinkToDeath(binder.get(), mDeathRecipient.get(), binder.get()) !=
                STATUS_OK) {
                AON_LOGW("fail to unlink IAONServiceCallBack to death");
            }
        } else if (mClientCount < 1) {
            ++mClientCount;
            *clientHandle = static_cast<long>(mClientCount);
        } else {
            AON_LOGE("this only one client, already has other client:%lld",
                     static_cast<long long>(mClientCount));
            *clientHandle = static_cast<long>(mClientCount);
            return -2;
        }

        if (AIBinder_linkToDeath(binder.get(), mDeathRecipient.get(), binder.get()) != STATUS_OK) {
            AON_LOGE("Fail to link IAONServiceCallBack to death");
        }
        std::shared_ptr<IAONServiceCallBack>& slot = mCallbacks[*clientHandle];
        replaced = std::exchange(slot, callback);
        sensorStates = mSensorStates;
    }

    AON_LOGI("RegisterClient success -> client count:%lld", static_cast<long long>(*clientHandle));
    AON_LOGI("RegisterClient success -> notify sensor state");
    for (const auto& [sensorId, state] : sensorStates) {
        AONSensorStateInfo info;
        info.sensorId = sensorId;
        info.state = state;
        (void)callback->onAONSensorEvent(*clientHandle, info);
    }
    return 0;
}

int RemoteCallbackManager::UnregisterClient(long clientHandle) {
    std::shared_ptr<IAONServiceCallBack> removed;  // released after mMutex
    std::lock_guard<std::mutex> lock(mMutex);
    if (const auto it = mCallbacks.find(clientHandle); it != mCallbacks.end()) removed = it->second;
    return UnregisterClientLock(clientHandle);
}

int RemoteCallbackManager::UnregisterClientLock(long clientHandle) {
    const auto it = mCallbacks.find(clientHandle);
    if (it == mCallbacks.end() || it->second == nullptr) {
        AON_LOGW("clientHandle %lld not register", static_cast<long long>(clientHandle));
        return 0;
    }
    AON_LOGI("unregister client:%lld", static_cast<long long>(clientHandle));
    const ndk::SpAIBinder binder = it->second->asBinder();
    const binder_status_t status =
            AIBinder_unlinkToDeath(binder.get(), mDeathRecipient.get(), binder.get());
    if (status != STATUS_OK) {
        AON_LOGE("Failed to unlink IAONServiceCallBack to death, code:%d,", status);
    }
    --mClientCount;
    mCallbacks.erase(it);
    return 0;
}

bool RemoteCallbackManager::CheckClientHandleRegistered(long clientHandle) {
    std::lock_guard<std::mutex> lock(mMutex);
    return mCallbacks.count(clientHandle) != 0;
}

void RemoteCallbackManager::Clear() {
    CallbackMap removed;  // released after mMutex
    std::lock_guard<std::mutex> lock(mMutex);
    AON_LOGI("RemoteCallbackManager clear");
    for (const auto& [handle, callback] : mCallbacks) {
        if (callback == nullptr) continue;
        const ndk::SpAIBinder binder = callback->asBinder();
        (void)AIBinder_unlinkToDeath(binder.get(), mDeathRecipient.get(), binder.get());
    }
    removed.swap(mCallbacks);
    mSensorStates.clear();
    mClientCount = 0;
}

void RemoteCallbackManager::BinderDied(void* cookie) {
    const std::shared_ptr<RemoteCallbackManager> self = GetSingleton();
    if (self == nullptr) return;
    self->OnRemoteCallbackDied(static_cast<const AIBinder*>(cookie));
}

void RemoteCallbackManager::OnRemoteCallbackDied(const AIBinder* binder) {
    long handle = 0;
    std::shared_ptr<IAONServiceCallBack> callback;
    {
        std::lock_guard<std::mutex> lock(mMutex);
        const auto dead = std::find_if(mCallbacks.begin(), mCallbacks.end(),
                                       [binder](const auto& entry) {
                                           return entry.second != nullptr &&
                                                  entry.second->asBinder().get() == binder;
                                       });
        if (dead == mCallbacks.end()) {
            AON_LOGW("can not find the died callback");
            return;
        }
        handle = dead->first;
        callback = dead->second;
        AON_LOGW("unregister client for remote callback died:%lld", static_cast<long long>(handle));
        UnregisterClientLock(handle);
    }
    // The listener takes its own lock and may call back into the registry: mMutex is released.
    IRemoteCallbackManagerListener* const listener = mListener.load(std::memory_order_acquire);
    if (listener != nullptr) listener->OnRemoteCallbackDied(handle, callback);
}

void RemoteCallbackManager::OnAONEvent(AONCallBackInfo& info) {
    // The stream's thread never waits here: a busy registry loses the event.
    if (!mMutex.try_lock()) {
        AON_LOGW("OnAONEvent try_lock failed");
        return;
    }
    // The copy: in place on the stack for the usual one client, a whole map otherwise. Either
    // keeps every callback alive during delivery and the ascending handle order.
    std::array<std::pair<long, std::shared_ptr<IAONServiceCallBack>>, kInlineEventClients> few;
    size_t fewCount = 0;
    CallbackMap many;
    {
        std::lock_guard<std::mutex> lock(mMutex, std::adopt_lock);
        if (mCallbacks.size() <= few.size()) {
            for (const auto& entry : mCallbacks) few[fewCount++] = entry;
        } else {
            many = mCallbacks;
        }
    }
    const auto deliver = [&info](long handle, const auto& callback) {
        (void)callback->onAONEvent(handle, info);
    };
    DeliverToLiveClients(few.begin(), few.begin() + fewCount, deliver);
    DeliverToLiveClients(many.begin(), many.end(), deliver);
}

void RemoteCallbackManager::OnAONSensorEvent(AONSensorStateInfo& info) {
    AON_LOGI("OnAONSensorEvent:sensorId:%d, state:%d", info.sensorId, info.state);
    CallbackMap callbacks;
    {
        std::lock_guard<std::mutex> lock(mMutex);
        callbacks = mCallbacks;
        if (info.state != 0) {
            mSensorStates[info.sensorId] = info.state;
        } else {
            mSensorStates.erase(info.sensorId);
        }
    }
    DeliverToLiveClients(callbacks.begin(), callbacks.end(),
                         [&info](long handle, const auto& callback) {
                             (void)callback->onAONSensorEvent(handle, info);
                         });
}

}  // namespace tarvo::aon

// BinderRegistry: the process-wide table of live binder objects and their simulated process,
// liveness, ping answer and death links. Thread-safe: one mutex guards the table; nothing is
// called out of it with the lock held (death recipients are handed back to the caller to run).
#pragma once

#include <android-base/thread_annotations.h>
#include <android/binder_ibinder.h>

#include <cstddef>
#include <mutex>
#include <unordered_map>
#include <vector>

namespace host::internal {

// One recipient to call for a death: its function and the cookie of the link.
struct DeathNotification {
    AIBinder_DeathRecipient_onBinderDied onBinderDied;
    void* cookie;
};

class BinderRegistry final {
  public:
    static BinderRegistry& Get();

    void Add(const AIBinder* binder) EXCLUDES(mLock);
    // The object is being destroyed: its links go without notification.
    void Remove(const AIBinder* binder) EXCLUDES(mLock);

    bool IsRemote(const AIBinder* binder) const EXCLUDES(mLock);
    // The simulated process of `binder`; 0 (this process) for one that is local or unknown.
    int ProcessOf(const AIBinder* binder) const EXCLUDES(mLock);
    bool IsAlive(const AIBinder* binder) const EXCLUDES(mLock);
    binder_status_t Ping(const AIBinder* binder) const EXCLUDES(mLock);
    binder_status_t LinkToDeath(const AIBinder* binder, AIBinder_DeathRecipient* recipient,
                                void* cookie) EXCLUDES(mLock);
    binder_status_t UnlinkToDeath(const AIBinder* binder, AIBinder_DeathRecipient* recipient,
                                  void* cookie) EXCLUDES(mLock);
    // Removes every link of a recipient about to be deleted.
    void ForgetRecipient(const AIBinder_DeathRecipient* recipient) EXCLUDES(mLock);

    void SetProcess(const AIBinder* binder, int pid) EXCLUDES(mLock);
    void SetPingStatus(const AIBinder* binder, binder_status_t status) EXCLUDES(mLock);
    // Marks every binder of `pid` dead, removes their links and returns one notification per
    // link, for the caller to deliver.
    std::vector<DeathNotification> Kill(int pid) EXCLUDES(mLock);
    size_t LinkCount(const AIBinder* binder) const EXCLUDES(mLock);

  private:
    struct Link {
        const AIBinder_DeathRecipient* recipient;
        AIBinder_DeathRecipient_onBinderDied onBinderDied;
        void* cookie;
    };
    struct State {
        int pid = 0;
        bool dead = false;
        binder_status_t pingStatus = STATUS_OK;
        std::vector<Link> links;
    };

    BinderRegistry() = default;
    // The state of `binder`, or null for a binder that is not (or no longer) registered.
    const State* FindLocked(const AIBinder* binder) const REQUIRES(mLock);
    State* FindLocked(const AIBinder* binder) REQUIRES(mLock);

    mutable std::mutex mLock;
    std::unordered_map<const AIBinder*, State> mStates GUARDED_BY(mLock);
};

}  // namespace host::internal

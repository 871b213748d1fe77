// The transactions of the host binder: each process's buffer, each thread's stack of the
// transactions it serves, the observer, and the size of a reply.
#include <unistd.h>

#include <android-base/thread_annotations.h>

#include <algorithm>
#include <map>
#include <memory>
#include <mutex>
#include <utility>

#include "BinderRegistry.h"
#include "host/binder_transport.h"

namespace host {
namespace {

using internal::BinderRegistry;
using Observer = std::shared_ptr<const TransactionObserver>;

// One thread's part: the process it acts for outside transactions, and the transactions it
// serves, outermost first.
struct ThreadState {
    int home = 0;
    std::vector<TransactionRecord> stack;
};

// The process-wide account of buffers and stacks. Thread-safe: mLock guards it all and is never
// held while the observer runs (the callers of Begin and End call it afterwards).
class TransactionTable final {
  public:
    static TransactionTable& Get() {
        // Never destroyed: threads may still end while static objects go.
        static TransactionTable* table = new TransactionTable();
        return *table;
    }

    // Sizes the request of `thread` to `targetPid`. When it fits, charges it to the receiver and
    // puts it on the thread's stack; otherwise it is counted as refused.
    TransactionRecord Begin(pid_t thread, int targetPid, const char* descriptor,
                            const TransactionRequest& request, Observer* observer) EXCLUDES(mLock) {
        std::lock_guard<std::mutex> guard(mLock);
        ThreadState& state = mThreads[thread];
        TransactionRecord record;
        record.descriptor = descriptor;
        record.method = request.method;
        record.callerPid = state.stack.empty() ? state.home : state.stack.back().targetPid;
        record.targetPid = targetPid;
        // The driver looks down the caller's stack for a thread of the target process that
        // waits there; it finds one exactly when the target made one of these calls.
        record.nested = std::any_of(state.stack.begin(), state.stack.end(), [&](const auto& frame) {
            return frame.callerPid == targetPid;
        });
        record.depth = state.stack.size() + 1;
        record.dataBytes = request.dataBytes;
        record.objects = request.objects;
        record.charge = KernelCharge(request.dataBytes, request.objects * kParcelOffsetEntryBytes);
        record.limit = kBinderBufferBytes;
        record.free = record.limit - mInUse[targetPid];
        record.thread = thread;
        if (record.charge > record.free) {
            record.status = STATUS_FAILED_TRANSACTION;
            ++mFailed;
            ForgetIdleLocked(thread);
        } else {
            mInUse[targetPid] += record.charge;
            state.stack.push_back(record);
        }
        *observer = mObserver;
        return record;
    }

    // Takes `request`, the innermost transaction of `thread`, off its stack, frees its space and
    // sizes the reply, which goes to the caller's buffer only for as long as the caller reads it.
    TransactionRecord End(pid_t thread, const TransactionRecord& request, size_t replyBytes,
                          Observer* observer) EXCLUDES(mLock) {
        std::lock_guard<std::mutex> guard(mLock);
        mThreads[thread].stack.pop_back();
        mInUse[request.targetPid] -= request.charge;
        TransactionRecord reply = request;
        reply.reply = true;
        reply.dataBytes = replyBytes;
        reply.objects = 0;
        reply.charge = KernelCharge(replyBytes, 0);
        reply.free = reply.limit - mInUse[request.callerPid];
        if (reply.charge > reply.free) {
            reply.status = STATUS_FAILED_TRANSACTION;
            ++mFailed;
        }
        ForgetIdleLocked(thread);
        *observer = mObserver;
        return reply;
    }

    int SetHome(pid_t thread, int pid) EXCLUDES(mLock) {
        std::lock_guard<std::mutex> guard(mLock);
        const int previous = std::exchange(mThreads[thread].home, pid);
        ForgetIdleLocked(thread);
        return previous;
    }

    void Forget(pid_t thread) EXCLUDES(mLock) {
        std::lock_guard<std::mutex> guard(mLock);
        mThreads.erase(thread);
    }

    std::vector<TransactionRecord> StackOf(pid_t thread) const EXCLUDES(mLock) {
        std::lock_guard<std::mutex> guard(mLock);
        const auto found = mThreads.find(thread);
        return found == mThreads.end() ? std::vector<TransactionRecord>() : found->second.stack;
    }

    std::vector<ThreadTransactions> InFlight() const EXCLUDES(mLock) {
        std::lock_guard<std::mutex> guard(mLock);
        std::vector<ThreadTransactions> threads;
        for (const auto& [thread, state] : mThreads) {
            if (!state.stack.empty()) threads.push_back({thread, state.stack});
        }
        return threads;
    }

    size_t InUse(int pid) const EXCLUDES(mLock) {
        std::lock_guard<std::mutex> guard(mLock);
        const auto found = mInUse.find(pid);
        return found == mInUse.end() ? 0 : found->second;
    }

    uint64_t failed() const EXCLUDES(mLock) {
        std::lock_guard<std::mutex> guard(mLock);
        return mFailed;
    }

    void SetObserver(TransactionObserver observer) EXCLUDES(mLock) {
        Observer next = observer ? std::make_shared<const TransactionObserver>(std::move(observer))
                                 : nullptr;
        std::lock_guard<std::mutex> guard(mLock);
        mObserver = std::move(next);
    }

  private:
    TransactionTable() = default;

    // A thread that serves nothing and acts for the local process needs no entry.
    void ForgetIdleLocked(pid_t thread) REQUIRES(mLock) {
        const auto found = mThreads.find(thread);
        if (found != mThreads.end() && found->second.home == 0 && found->second.stack.empty()) {
            mThreads.erase(found);
        }
    }

    mutable std::mutex mLock;
    std::map<pid_t, ThreadState> mThreads GUARDED_BY(mLock);
    std::map<int, size_t> mInUse GUARDED_BY(mLock);
    Observer mObserver GUARDED_BY(mLock);
    uint64_t mFailed GUARDED_BY(mLock) = 0;
};

// The calling thread's id; its entry in the table goes when the thread ends.
pid_t CurrentThread() {
    struct Key {
        const pid_t tid = gettid();
        ~Key() { TransactionTable::Get().Forget(tid); }
    };
    thread_local const Key key;
    return key.tid;
}

void Notify(const Observer& observer, const TransactionRecord& record) {
    if (observer != nullptr) (*observer)(record);
}

}  // namespace

namespace internal {

Transaction::Transaction(AIBinder* binder, const char* descriptor,
                         const TransactionRequest& request) {
    Observer observer;
    mRecord =
            TransactionTable::Get().Begin(CurrentThread(), BinderRegistry::Get().ProcessOf(binder),
                                          descriptor, request, &observer);
    mAccepted = mRecord.status == STATUS_OK;
    mOpen = mAccepted;
    Notify(observer, mRecord);
}

Transaction::~Transaction() {
    // Only when the call did not come back through Reply(): the stack must not keep it.
    if (mOpen) (void)Reply(4);
}

bool Transaction::Reply(size_t replyBytes) {
    if (!mOpen) return false;
    mOpen = false;
    Observer observer;
    const TransactionRecord reply =
            TransactionTable::Get().End(CurrentThread(), mRecord, replyBytes, &observer);
    Notify(observer, reply);
    return reply.status == STATUS_OK;
}

}  // namespace internal

size_t ReplyDataBytes(const ndk::ScopedAStatus& status, size_t resultBytes) {
    if (status.get() == nullptr || status.isOk()) return 4 + resultBytes;
    const binder_exception_t exception = status.getExceptionCode();
    if (exception == EX_TRANSACTION_FAILED) return 4;
    const size_t bytes = 4 + ParcelStringSize(status.getMessage()) + 4;
    return exception == EX_SERVICE_SPECIFIC ? bytes + 4 : bytes;
}

void SetTransactionObserver(TransactionObserver observer) {
    TransactionTable::Get().SetObserver(std::move(observer));
}

ScopedCallingProcess::ScopedCallingProcess(int pid)
    : mPrevious(TransactionTable::Get().SetHome(CurrentThread(), pid)) {}

ScopedCallingProcess::~ScopedCallingProcess() {
    TransactionTable::Get().SetHome(CurrentThread(), mPrevious);
}

std::vector<TransactionRecord> CurrentTransactions() {
    return TransactionTable::Get().StackOf(CurrentThread());
}

std::vector<ThreadTransactions> TransactionsInFlight() {
    return TransactionTable::Get().InFlight();
}

size_t BinderBufferInUse(int pid) {
    return TransactionTable::Get().InUse(pid);
}

uint64_t FailedTransactionCount() {
    return TransactionTable::Get().failed();
}

}  // namespace host

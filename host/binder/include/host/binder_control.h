// Host-only controls over the binder stand-in, for tests and the simulator. Objects can be placed
// in simulated other processes, which can then die; pings and service registration can be made
// to fail; the transactions the proxies make can be watched as they happen and looked at while
// they are in flight.
#pragma once

#include <android/binder_auto_utils.h>
#include <android/binder_ibinder.h>
#include <android/binder_status.h>
#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <vector>

namespace host {

// pid > 0 places the object behind `binder` in the simulated process `pid`: AIBinder_isRemote is
// then true for it and death links are accepted. pid 0 makes it local again.
void SetBinderProcess(AIBinder* binder, int pid);

// The simulated process `pid` dies: each of its binders is dead from now on (AIBinder_isAlive
// false, ping and calls through proxies answer STATUS_DEAD_OBJECT without reaching the object),
// and each death link is removed and its recipient called once with its cookie on the binder
// death-notification thread. Returns once every recipient has returned.
void KillProcess(int pid);

// AIBinder_ping answers `status` for `binder` while it is alive; STATUS_OK restores.
void SetPingStatus(AIBinder* binder, binder_status_t status);

// AServiceManager_addService returns `status` from now on without registering anything;
// STATUS_OK restores normal registration.
void SetAddServiceResult(binder_status_t status);

// The binder registered under `instance`, or null.
ndk::SpAIBinder LookupService(const char* instance);

// `instance` is declared from now on, as a device manifest would declare it
// (AServiceManager_isDeclared).
void DeclareService(const char* instance);

// The number of death links `binder` has now.
size_t LinkedDeathRecipientCount(AIBinder* binder);

// Makes every ABinderProcess_joinThreadPool call return, now and later.
void ShutdownThreadPool();

// --- Transactions ---
//
// Every call through an interface proxy is a synchronous transaction from the caller's process to
// the process of the binder (0 is the local process, the camera process). It runs on the calling
// thread. Its request takes its kernel charge from the receiver's buffer (kBinderBufferBytes per
// process, shared by every transaction in flight to it) until the callee returns; the reply is
// then charged to the caller's buffer. Either one that does not fit what is free fails the call
// with STATUS_FAILED_TRANSACTION; a refused request never reaches the receiver.
//
// Each thread keeps the stack of the transactions it serves. A thread that serves none acts for
// its own process (0 unless ScopedCallingProcess says otherwise); inside a transaction it acts for
// the receiver of the innermost one. A transaction to a process that already waits on this stack
// for a reply (a client calling the service back from a callback) is nested: a device runs it on
// that waiting thread, which is the calling thread here too.

// One transaction, or the reply to one.
struct TransactionRecord {
    const char* descriptor = "";  // the interface
    const char* method = "";
    int callerPid = 0;
    int targetPid = 0;
    bool reply = false;    // the reply travelling back to the caller
    bool nested = false;   // see above
    size_t depth = 0;      // transactions this thread serves, this one included
    size_t dataBytes = 0;  // the parcel's data (the reply's, for a reply)
    size_t objects = 0;    // binder objects it carries
    size_t charge = 0;     // what the kernel takes from the buffer
    size_t free = 0;       // free in the buffer it goes to (the caller's, for a reply), before it
    size_t limit = 0;      // that buffer's size
    binder_status_t status = STATUS_OK;  // STATUS_FAILED_TRANSACTION when it did not fit
    pid_t thread = 0;                    // the calling thread's id
};

// Told of every request as it starts (accepted or refused) and of every reply, on the calling
// thread, with no lock of the binder held. Null removes the observer; a thread that took the
// previous one just before may still call it once, so what it captures must outlive that. The
// observer may make binder calls of its own and look at the transactions.
using TransactionObserver = std::function<void(const TransactionRecord&)>;
void SetTransactionObserver(TransactionObserver observer);

// While it lives, the calling thread acts for process `pid` whenever it serves no transaction.
class ScopedCallingProcess final {
  public:
    explicit ScopedCallingProcess(int pid);
    ~ScopedCallingProcess();
    ScopedCallingProcess(const ScopedCallingProcess&) = delete;
    ScopedCallingProcess& operator=(const ScopedCallingProcess&) = delete;

  private:
    int mPrevious;
};

// The transactions the calling thread serves, outermost first.
std::vector<TransactionRecord> CurrentTransactions();

// Every thread that serves transactions now, with its stack (outermost first).
struct ThreadTransactions {
    pid_t thread = 0;
    std::vector<TransactionRecord> stack;
};
std::vector<ThreadTransactions> TransactionsInFlight();

// The bytes the transactions in flight to process `pid` take from its buffer.
size_t BinderBufferInUse(int pid);
// Requests and replies refused so far, in the whole process.
uint64_t FailedTransactionCount();

}  // namespace host

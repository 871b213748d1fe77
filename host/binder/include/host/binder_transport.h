// Host-only transport for the hand-written interface proxies: instead of parcelling a
// transaction, a proxy calls the object behind the binder directly on the calling thread, after
// the checks a device's binder would make. The proxy states how large the parcel of its call is
// (host/binder_parcel.h); the transport charges it to the receiving process's buffer and refuses
// it when it does not fit, as the kernel does (see host/binder_control.h).
#pragma once

#include <android/binder_auto_utils.h>
#include <android/binder_ibinder.h>
#include <android/binder_interface_utils.h>

#include <cstddef>
#include <memory>

#include "host/binder_control.h"
#include "host/binder_parcel.h"

namespace host {

// What a proxy's call puts into its parcel: the method's name, the data bytes (the interface
// token included) and the binder objects among them.
struct TransactionRequest {
    const char* method = "";
    size_t dataBytes = 0;
    size_t objects = 0;
};

// The object behind `binder` whatever process it is placed in; null when the binder was not made
// by an ndk::BnCInterface. Used by proxies only: the object is reached through a "transaction".
std::shared_ptr<ndk::ICInterface> ObjectBehindBinder(AIBinder* binder);

// The data bytes of the reply a callee's status makes: the exception code, then for a success
// the `resultBytes` of the return value; for an exception its message and an empty stack-trace
// header (and the code of a service-specific error). A transport failure travels as its bare
// status code.
size_t ReplyDataBytes(const ndk::ScopedAStatus& status, size_t resultBytes);

namespace internal {

// One transaction in flight on the calling thread: the request's charge is held in the
// receiver's buffer and the transaction is on the thread's stack from construction to Reply()
// (or destruction).
class Transaction final {
  public:
    Transaction(AIBinder* binder, const char* descriptor, const TransactionRequest& request);
    ~Transaction();
    Transaction(const Transaction&) = delete;
    Transaction& operator=(const Transaction&) = delete;

    // False when the request did not fit the receiver's buffer: the receiver must see nothing.
    bool accepted() const { return mAccepted; }
    // The callee returned `replyBytes` of reply data: the request's space is freed and the reply
    // is charged to the caller. False when the reply did not fit.
    bool Reply(size_t replyBytes);

  private:
    TransactionRecord mRecord;
    bool mAccepted = false;
    bool mOpen = false;
};

}  // namespace internal

// Calls `call(object)` on the object of interface I behind `binder`, as a synchronous
// transaction of `request`: a dead binder answers STATUS_DEAD_OBJECT and a request or reply that
// does not fit its buffer STATUS_FAILED_TRANSACTION, neither reaching the object; an object of
// another interface answers STATUS_BAD_TYPE. As on a device, a transport failure returned by the
// callee reaches the caller as that status without its message. `call` gets the object and must
// hand it copies of the caller's records (the callee gets its own, as after unparcelling);
// `resultBytes()` is asked after a successful call for the parcel size of what it returns.
template <typename I, typename Call, typename ResultBytes>
ndk::ScopedAStatus Transact(const ndk::SpAIBinder& binder, const TransactionRequest& request,
                            Call&& call, ResultBytes&& resultBytes) {
    if (binder.get() == nullptr) return ndk::ScopedAStatus::fromStatus(STATUS_UNEXPECTED_NULL);
    if (!AIBinder_isAlive(binder.get())) return ndk::ScopedAStatus::fromStatus(STATUS_DEAD_OBJECT);
    internal::Transaction transaction(binder.get(), I::descriptor, request);
    if (!transaction.accepted()) return ndk::ScopedAStatus::fromStatus(STATUS_FAILED_TRANSACTION);
    std::shared_ptr<ndk::ICInterface> object = ObjectBehindBinder(binder.get());
    std::shared_ptr<I> target = std::dynamic_pointer_cast<I>(object);
    if (target == nullptr) {
        (void)transaction.Reply(4);
        return ndk::ScopedAStatus::fromStatus(STATUS_BAD_TYPE);
    }
    ndk::ScopedAStatus status = call(*target);
    const bool ok = status.get() == nullptr || status.isOk();
    if (!transaction.Reply(ReplyDataBytes(status, ok ? resultBytes() : 0))) {
        return ndk::ScopedAStatus::fromStatus(STATUS_FAILED_TRANSACTION);
    }
    if (status.get() != nullptr && status.getExceptionCode() == EX_TRANSACTION_FAILED) {
        return ndk::ScopedAStatus::fromStatus(status.getStatus());
    }
    return status;
}

}  // namespace host

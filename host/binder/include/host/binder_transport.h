// Host-only transport for the hand-written interface proxies: instead of parcelling a
// transaction, a proxy calls the local object behind the binder directly, after the checks a
// transaction would make.
#pragma once

#include <android/binder_auto_utils.h>
#include <android/binder_ibinder.h>
#include <android/binder_interface_utils.h>

#include <memory>

namespace host {

// The object behind `binder` whatever process it is placed in; null when the binder was not made
// by an ndk::BnCInterface. Used by proxies only: the object is reached through a "transaction".
std::shared_ptr<ndk::ICInterface> ObjectBehindBinder(AIBinder* binder);

// Calls `call(object)` on the object of interface I behind `binder`, as a synchronous
// transaction: a dead binder answers STATUS_DEAD_OBJECT and the call never reaches the object;
// an object of another interface answers STATUS_BAD_TYPE. As on a device, a transport failure
// returned by the callee reaches the caller as that status without its message. `call` gets the
// object and must hand it copies of the caller's records (the callee gets its own, as after
// unparcelling).
template <typename I, typename Call>
ndk::ScopedAStatus Transact(const ndk::SpAIBinder& binder, Call&& call) {
    if (binder.get() == nullptr) return ndk::ScopedAStatus::fromStatus(STATUS_UNEXPECTED_NULL);
    if (!AIBinder_isAlive(binder.get())) return ndk::ScopedAStatus::fromStatus(STATUS_DEAD_OBJECT);
    std::shared_ptr<ndk::ICInterface> object = ObjectBehindBinder(binder.get());
    std::shared_ptr<I> target = std::dynamic_pointer_cast<I>(object);
    if (target == nullptr) return ndk::ScopedAStatus::fromStatus(STATUS_BAD_TYPE);
    ndk::ScopedAStatus status = call(*target);
    if (status.get() != nullptr && status.getExceptionCode() == EX_TRANSACTION_FAILED) {
        return ndk::ScopedAStatus::fromStatus(status.getStatus());
    }
    return status;
}

}  // namespace host

// Host stand-in for libbinder_ndk's C++ resource wrappers: the same classes and members as on a
// device, over the C calls of this library.
#pragma once

#include <android/binder_ibinder.h>
#include <android/binder_status.h>

#include <cstddef>
#include <string>

namespace ndk {

// A strong reference to a binder object.
class SpAIBinder {
  public:
    SpAIBinder() : mBinder(nullptr) {}
    // Adopts the reference the caller holds on `binder`.
    explicit SpAIBinder(AIBinder* binder) : mBinder(binder) {}
    SpAIBinder(std::nullptr_t) : SpAIBinder() {}  // NOLINT(google-explicit-constructor)
    SpAIBinder(const SpAIBinder& other) : mBinder(other.mBinder) { AIBinder_incStrong(mBinder); }
    SpAIBinder(SpAIBinder&& other) noexcept : mBinder(other.release()) {}
    ~SpAIBinder() { set(nullptr); }

    SpAIBinder& operator=(const SpAIBinder& other) {
        if (this == &other) return *this;
        AIBinder_incStrong(other.mBinder);
        set(other.mBinder);
        return *this;
    }
    SpAIBinder& operator=(SpAIBinder&& other) noexcept {
        if (this == &other) return *this;
        set(other.release());
        return *this;
    }

    AIBinder* get() const { return mBinder; }
    // Gives up ownership without dropping the reference.
    AIBinder* release() {
        AIBinder* binder = mBinder;
        mBinder = nullptr;
        return binder;
    }
    // Drops the reference held (if any) and adopts `binder`'s.
    void set(AIBinder* binder) {
        AIBinder* old = mBinder;
        mBinder = binder;
        if (old != nullptr) AIBinder_decStrong(old);
    }
    AIBinder** getR() { return &mBinder; }

    bool operator==(const SpAIBinder& rhs) const { return mBinder == rhs.mBinder; }
    bool operator!=(const SpAIBinder& rhs) const { return mBinder != rhs.mBinder; }
    bool operator<(const SpAIBinder& rhs) const { return mBinder < rhs.mBinder; }
    bool operator<=(const SpAIBinder& rhs) const { return mBinder <= rhs.mBinder; }
    bool operator>(const SpAIBinder& rhs) const { return mBinder > rhs.mBinder; }
    bool operator>=(const SpAIBinder& rhs) const { return mBinder >= rhs.mBinder; }

  private:
    AIBinder* mBinder;
};

namespace impl {

// Owns one resource of type T, released with Destroy; move-only.
template <typename T, void (*Destroy)(T), T kDefault>
class ScopedAResource {
  public:
    explicit ScopedAResource(T t = kDefault) : mT(t) {}
    ~ScopedAResource() { reset(); }
    ScopedAResource(const ScopedAResource&) = delete;
    ScopedAResource& operator=(const ScopedAResource&) = delete;
    ScopedAResource(ScopedAResource&& other) noexcept : mT(other.release()) {}
    ScopedAResource& operator=(ScopedAResource&& other) noexcept {
        if (this != &other) set(other.release());
        return *this;
    }

    T get() const { return mT; }
    T* getR() { return &mT; }
    void set(T t) {
        T old = mT;
        mT = t;
        if (old != kDefault) Destroy(old);
    }
    T release() {
        T t = mT;
        mT = kDefault;
        return t;
    }
    void reset() { set(kDefault); }

    bool operator==(const ScopedAResource& rhs) const { return mT == rhs.mT; }
    bool operator!=(const ScopedAResource& rhs) const { return mT != rhs.mT; }

  private:
    T mT;
};

}  // namespace impl

// The status of a binder call.
class ScopedAStatus : public impl::ScopedAResource<AStatus*, AStatus_delete, nullptr> {
  public:
    explicit ScopedAStatus(AStatus* status = nullptr) : ScopedAResource(status) {}
    ScopedAStatus(ScopedAStatus&&) = default;
    ScopedAStatus& operator=(ScopedAStatus&&) = default;

    bool isOk() const { return get() != nullptr && AStatus_isOk(get()); }
    binder_exception_t getExceptionCode() const { return AStatus_getExceptionCode(get()); }
    int32_t getServiceSpecificError() const { return AStatus_getServiceSpecificError(get()); }
    binder_status_t getStatus() const { return AStatus_getStatus(get()); }
    const char* getMessage() const { return AStatus_getMessage(get()); }
    std::string getDescription() const {
        const char* description = AStatus_getDescription(get());
        std::string result = description;
        AStatus_deleteDescription(description);
        return result;
    }

    static ScopedAStatus ok() { return ScopedAStatus(AStatus_newOk()); }
    static ScopedAStatus fromExceptionCode(binder_exception_t exception) {
        return ScopedAStatus(AStatus_fromExceptionCode(exception));
    }
    static ScopedAStatus fromExceptionCodeWithMessage(binder_exception_t exception,
                                                      const char* message) {
        return ScopedAStatus(AStatus_fromExceptionCodeWithMessage(exception, message));
    }
    static ScopedAStatus fromServiceSpecificError(int32_t serviceSpecific) {
        return ScopedAStatus(AStatus_fromServiceSpecificError(serviceSpecific));
    }
    static ScopedAStatus fromServiceSpecificErrorWithMessage(int32_t serviceSpecific,
                                                             const char* message) {
        return ScopedAStatus(AStatus_fromServiceSpecificErrorWithMessage(serviceSpecific, message));
    }
    static ScopedAStatus fromStatus(binder_status_t status) {
        return ScopedAStatus(AStatus_fromStatus(status));
    }
};

// Owns a death recipient (AIBinder_DeathRecipient_delete on destruction).
class ScopedAIBinder_DeathRecipient
    : public impl::ScopedAResource<AIBinder_DeathRecipient*, AIBinder_DeathRecipient_delete,
                                   nullptr> {
  public:
    explicit ScopedAIBinder_DeathRecipient(AIBinder_DeathRecipient* recipient = nullptr)
        : ScopedAResource(recipient) {}
    ScopedAIBinder_DeathRecipient(ScopedAIBinder_DeathRecipient&&) = default;
    ScopedAIBinder_DeathRecipient& operator=(ScopedAIBinder_DeathRecipient&&) = default;
};

// Owns a weak reference (AIBinder_Weak_delete on destruction).
class ScopedAIBinder_Weak
    : public impl::ScopedAResource<AIBinder_Weak*, AIBinder_Weak_delete, nullptr> {
  public:
    explicit ScopedAIBinder_Weak(AIBinder_Weak* weak = nullptr) : ScopedAResource(weak) {}
    ScopedAIBinder_Weak(ScopedAIBinder_Weak&&) = default;
    ScopedAIBinder_Weak& operator=(ScopedAIBinder_Weak&&) = default;
    // A strong reference, or a null one when the object is gone.
    SpAIBinder promote() const { return SpAIBinder(AIBinder_Weak_promote(get())); }
};

}  // namespace ndk

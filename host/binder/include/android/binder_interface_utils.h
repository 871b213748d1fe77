// Host stand-in for libbinder_ndk's C++ interface helpers: SharedRefBase, ICInterface and the
// local (BnCInterface) and proxy (BpCInterface) bases that generated interface code derives from.
#pragma once

#include <android-base/thread_annotations.h>
#include <android/binder_auto_utils.h>
#include <android/binder_ibinder.h>

#include <memory>
#include <mutex>
#include <utility>

namespace ndk {

// Base of objects that are only ever held by std::shared_ptr: create them with make<T>(), get a
// further shared_ptr from inside with ref<T>().
class SharedRefBase {
  public:
    SharedRefBase() = default;
    virtual ~SharedRefBase() = default;
    SharedRefBase(const SharedRefBase&) = delete;
    SharedRefBase& operator=(const SharedRefBase&) = delete;

    template <class T>
    std::shared_ptr<T> ref() {
        std::shared_ptr<SharedRefBase> self = mThis.lock();
        std::call_once(mFlagThis, [&]() { mThis = self = std::shared_ptr<SharedRefBase>(this); });
        return std::static_pointer_cast<T>(self);
    }

    template <class T, class... Args>
    static std::shared_ptr<T> make(Args&&... args) {
        T* object = new T(std::forward<Args>(args)...);
        return object->template ref<T>();
    }

  private:
    std::once_flag mFlagThis;
    std::weak_ptr<SharedRefBase> mThis;
};

// Base of every interface, local or proxy.
class ICInterface : public SharedRefBase {
  public:
    ICInterface() = default;
    ~ICInterface() override = default;

    // The binder of this object: created on demand for a local object, the proxied one for a
    // proxy.
    virtual SpAIBinder asBinder() = 0;
    virtual bool isRemote() = 0;
    // STATUS_OK by default.
    virtual binder_status_t dump(int fd, const char** args, uint32_t numArgs);
    // STATUS_OK by default.
    virtual binder_status_t handleShellCommand(int in, int out, int err, const char** argv,
                                               uint32_t argc);

    // A class whose objects carry a strong reference to the ICInterface given to AIBinder_new.
    static AIBinder_Class* defineClass(const char* interfaceDescriptor,
                                       AIBinder_Class_onTransact onTransact);
    // The local object behind `binder`, or null for a remote or foreign binder.
    static std::shared_ptr<ICInterface> asInterface(AIBinder* binder);
};

// Base of local (server side) interface objects. The object keeps only a weak reference to its
// binder, so the binder lives as long as somebody holds it and keeps the object alive meanwhile.
template <typename INTERFACE>
class BnCInterface : public INTERFACE {
  public:
    BnCInterface() = default;
    ~BnCInterface() override = default;

    SpAIBinder asBinder() override final;
    bool isRemote() override final { return false; }

  protected:
    // Makes a new binder for this object; called by asBinder() when no binder is alive.
    virtual SpAIBinder createBinder() = 0;

  private:
    std::mutex mMutex;
    ScopedAIBinder_Weak mWeakBinder GUARDED_BY(mMutex);
};

// Base of proxies: every call goes to the object behind the binder.
template <typename INTERFACE>
class BpCInterface : public INTERFACE {
  public:
    explicit BpCInterface(const SpAIBinder& binder) : mBinder(binder) {}
    ~BpCInterface() override = default;

    SpAIBinder asBinder() override final { return mBinder; }
    bool isRemote() override final { return AIBinder_isRemote(mBinder.get()); }
    binder_status_t dump(int fd, const char** args, uint32_t numArgs) override {
        return AIBinder_dump(asBinder().get(), fd, args, numArgs);
    }

  private:
    SpAIBinder mBinder;
};

template <typename INTERFACE>
SpAIBinder BnCInterface<INTERFACE>::asBinder() {
    std::lock_guard<std::mutex> guard(mMutex);
    SpAIBinder binder;
    if (mWeakBinder.get() != nullptr) {
        binder.set(AIBinder_Weak_promote(mWeakBinder.get()));
    }
    if (binder.get() == nullptr) {
        binder = createBinder();
        mWeakBinder.set(AIBinder_Weak_new(binder.get()));
    }
    return binder;
}

}  // namespace ndk

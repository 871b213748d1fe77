// The AIBinder C calls: classes, objects and their reference counts, weak references, ping and
// death links.
#include <android/binder_ibinder.h>

#include <unistd.h>

#include "BinderObjects.h"
#include "BinderRegistry.h"

using host::internal::BinderRegistry;

namespace {

void DecWeak(AIBinder* binder) {
    if (binder->weak.fetch_sub(1, std::memory_order_acq_rel) == 1) delete binder;
}

}  // namespace

AIBinder_Class* AIBinder_Class_define(const char* interfaceDescriptor,
                                      AIBinder_Class_onCreate onCreate,
                                      AIBinder_Class_onDestroy onDestroy,
                                      AIBinder_Class_onTransact onTransact) {
    if (interfaceDescriptor == nullptr) return nullptr;
    AIBinder_Class* clazz = new AIBinder_Class;
    clazz->descriptor = interfaceDescriptor;
    clazz->onCreate = onCreate;
    clazz->onDestroy = onDestroy;
    clazz->onTransact = onTransact;
    return clazz;
}

void AIBinder_Class_setOnDump(AIBinder_Class* clazz, AIBinder_onDump onDump) {
    if (clazz != nullptr) clazz->onDump = onDump;
}

const char* AIBinder_Class_getDescriptor(const AIBinder_Class* clazz) {
    return clazz == nullptr ? nullptr : clazz->descriptor.c_str();
}

AIBinder* AIBinder_new(const AIBinder_Class* clazz, void* args) {
    if (clazz == nullptr) return nullptr;
    AIBinder* binder = new AIBinder;
    binder->clazz = clazz;
    binder->userData = clazz->onCreate != nullptr ? clazz->onCreate(args) : args;
    BinderRegistry::Get().Add(binder);
    return binder;
}

bool AIBinder_isRemote(const AIBinder* binder) {
    return binder != nullptr && BinderRegistry::Get().IsRemote(binder);
}

bool AIBinder_isAlive(const AIBinder* binder) {
    return binder != nullptr && BinderRegistry::Get().IsAlive(binder);
}

binder_status_t AIBinder_ping(AIBinder* binder) {
    if (binder == nullptr) return STATUS_UNEXPECTED_NULL;
    return BinderRegistry::Get().Ping(binder);
}

binder_status_t AIBinder_dump(AIBinder* binder, int fd, const char** args, uint32_t numArgs) {
    if (binder == nullptr) return STATUS_UNEXPECTED_NULL;
    if (!BinderRegistry::Get().IsAlive(binder)) return STATUS_DEAD_OBJECT;
    if (binder->clazz->onDump == nullptr) return STATUS_OK;
    return binder->clazz->onDump(binder, fd, args, numArgs);
}

binder_status_t AIBinder_linkToDeath(AIBinder* binder, AIBinder_DeathRecipient* recipient,
                                     void* cookie) {
    if (binder == nullptr || recipient == nullptr) return STATUS_UNEXPECTED_NULL;
    return BinderRegistry::Get().LinkToDeath(binder, recipient, cookie);
}

binder_status_t AIBinder_unlinkToDeath(AIBinder* binder, AIBinder_DeathRecipient* recipient,
                                       void* cookie) {
    if (binder == nullptr || recipient == nullptr) return STATUS_UNEXPECTED_NULL;
    return BinderRegistry::Get().UnlinkToDeath(binder, recipient, cookie);
}

pid_t AIBinder_getCallingPid() {
    return getpid();
}

uid_t AIBinder_getCallingUid() {
    return getuid();
}

void AIBinder_incStrong(AIBinder* binder) {
    if (binder == nullptr) return;
    binder->strong.fetch_add(1, std::memory_order_relaxed);
}

void AIBinder_decStrong(AIBinder* binder) {
    if (binder == nullptr) return;
    if (binder->strong.fetch_sub(1, std::memory_order_acq_rel) != 1) return;
    BinderRegistry::Get().Remove(binder);
    if (binder->clazz->onDestroy != nullptr) binder->clazz->onDestroy(binder->userData);
    DecWeak(binder);
}

int32_t AIBinder_debugGetRefCount(AIBinder* binder) {
    return binder == nullptr ? -1 : binder->strong.load(std::memory_order_relaxed);
}

bool AIBinder_associateClass(AIBinder* binder, const AIBinder_Class* clazz) {
    if (binder == nullptr || clazz == nullptr) return false;
    return binder->clazz == clazz || binder->clazz->descriptor == clazz->descriptor;
}

const AIBinder_Class* AIBinder_getClass(AIBinder* binder) {
    return binder == nullptr ? nullptr : binder->clazz;
}

void* AIBinder_getUserData(AIBinder* binder) {
    if (binder == nullptr || BinderRegistry::Get().IsRemote(binder)) return nullptr;
    return binder->userData;
}

AIBinder_Weak* AIBinder_Weak_new(AIBinder* binder) {
    if (binder == nullptr) return nullptr;
    binder->weak.fetch_add(1, std::memory_order_relaxed);
    return new AIBinder_Weak{binder};
}

void AIBinder_Weak_delete(AIBinder_Weak* weakBinder) {
    if (weakBinder == nullptr) return;
    DecWeak(weakBinder->binder);
    delete weakBinder;
}

AIBinder* AIBinder_Weak_promote(AIBinder_Weak* weakBinder) {
    if (weakBinder == nullptr) return nullptr;
    AIBinder* binder = weakBinder->binder;
    int32_t strong = binder->strong.load(std::memory_order_relaxed);
    // Once the strong count has reached 0 the object is gone and stays gone.
    while (strong > 0) {
        if (binder->strong.compare_exchange_weak(strong, strong + 1, std::memory_order_acq_rel)) {
            return binder;
        }
    }
    return nullptr;
}

AIBinder_Weak* AIBinder_Weak_clone(const AIBinder_Weak* weak) {
    return weak == nullptr ? nullptr : AIBinder_Weak_new(weak->binder);
}

AIBinder_DeathRecipient* AIBinder_DeathRecipient_new(
        AIBinder_DeathRecipient_onBinderDied onBinderDied) {
    if (onBinderDied == nullptr) return nullptr;
    return new AIBinder_DeathRecipient{onBinderDied};
}

void AIBinder_DeathRecipient_delete(AIBinder_DeathRecipient* recipient) {
    if (recipient == nullptr) return;
    BinderRegistry::Get().ForgetRecipient(recipient);
    delete recipient;
}

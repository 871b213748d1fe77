// The host's binder objects behind the opaque NDK types. The per-object state that other threads
// change (process, death links, ping answer) lives in BinderRegistry; what is here is fixed at
// creation, apart from the atomic reference counts.
#pragma once

#include <android/binder_ibinder.h>

#include <atomic>
#include <string>

struct AIBinder_Class {
    std::string descriptor;
    AIBinder_Class_onCreate onCreate = nullptr;
    AIBinder_Class_onDestroy onDestroy = nullptr;
    AIBinder_Class_onTransact onTransact = nullptr;
    AIBinder_onDump onDump = nullptr;
};

struct AIBinder {
    const AIBinder_Class* clazz = nullptr;
    void* userData = nullptr;
    // The object is destroyed (class onDestroy) when `strong` reaches 0. `weak` counts one for all
    // strong references together plus one per AIBinder_Weak; the memory goes when it reaches 0.
    std::atomic<int32_t> strong{1};
    std::atomic<int32_t> weak{1};
};

struct AIBinder_Weak {
    AIBinder* binder = nullptr;
};

struct AIBinder_DeathRecipient {
    AIBinder_DeathRecipient_onBinderDied onBinderDied = nullptr;
};

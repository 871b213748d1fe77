// Host stand-in for libbinder_ndk's binder objects: classes, strong and weak references, ping and
// death notification. There is no kernel driver and no parcel: every object lives in this process,
// and an object can be marked as living in another simulated process (see <host/binder_control.h>),
// which makes it remote for AIBinder_isRemote, accepts death links and can die.
#pragma once

#include <stdbool.h>
#include <stdint.h>
#include <sys/cdefs.h>
#include <sys/types.h>

#include <android/binder_status.h>

__BEGIN_DECLS

typedef uint32_t transaction_code_t;
typedef uint32_t binder_flags_t;

enum {
    FIRST_CALL_TRANSACTION = 0x00000001,
    LAST_CALL_TRANSACTION = 0x00ffffff,
};
enum {
    FLAG_ONEWAY = 0x01,
};

struct AIBinder;
typedef struct AIBinder AIBinder;
struct AIBinder_Weak;
typedef struct AIBinder_Weak AIBinder_Weak;
struct AIBinder_Class;
typedef struct AIBinder_Class AIBinder_Class;
struct AIBinder_DeathRecipient;
typedef struct AIBinder_DeathRecipient AIBinder_DeathRecipient;
// Parcels are not modelled on the host; the type only completes the class signatures.
struct AParcel;
typedef struct AParcel AParcel;

typedef void* (*AIBinder_Class_onCreate)(void* args);
typedef void (*AIBinder_Class_onDestroy)(void* userData);
typedef binder_status_t (*AIBinder_Class_onTransact)(AIBinder* binder, transaction_code_t code,
                                                     const AParcel* in, AParcel* out);
typedef binder_status_t (*AIBinder_onDump)(AIBinder* binder, int fd, const char** args,
                                           uint32_t numArgs);
typedef void (*AIBinder_DeathRecipient_onBinderDied)(void* cookie);

// Defines a class of binder objects; classes are never freed. `onCreate` makes the user data of
// each new object from the argument of AIBinder_new, `onDestroy` frees it when the last strong
// reference goes.
AIBinder_Class* AIBinder_Class_define(const char* interfaceDescriptor,
                                      AIBinder_Class_onCreate onCreate,
                                      AIBinder_Class_onDestroy onDestroy,
                                      AIBinder_Class_onTransact onTransact);
void AIBinder_Class_setOnDump(AIBinder_Class* clazz, AIBinder_onDump onDump);
const char* AIBinder_Class_getDescriptor(const AIBinder_Class* clazz);

// A new local object of `clazz` with one strong reference owned by the caller.
AIBinder* AIBinder_new(const AIBinder_Class* clazz, void* args);
bool AIBinder_isRemote(const AIBinder* binder);
bool AIBinder_isAlive(const AIBinder* binder);
binder_status_t AIBinder_ping(AIBinder* binder);
binder_status_t AIBinder_dump(AIBinder* binder, int fd, const char** args, uint32_t numArgs);

// Death notification, for remote objects only: a local binder refuses with
// STATUS_INVALID_OPERATION, a dead one with STATUS_DEAD_OBJECT. When the object's process dies,
// every link is called once with its cookie and then removed.
binder_status_t AIBinder_linkToDeath(AIBinder* binder, AIBinder_DeathRecipient* recipient,
                                     void* cookie);
// Removes one link made with the same recipient and cookie; STATUS_NAME_NOT_FOUND when none.
binder_status_t AIBinder_unlinkToDeath(AIBinder* binder, AIBinder_DeathRecipient* recipient,
                                       void* cookie);

pid_t AIBinder_getCallingPid(void);
uid_t AIBinder_getCallingUid(void);

void AIBinder_incStrong(AIBinder* binder);
void AIBinder_decStrong(AIBinder* binder);
int32_t AIBinder_debugGetRefCount(AIBinder* binder);

// True when the object's class has the same descriptor as `clazz`.
bool AIBinder_associateClass(AIBinder* binder, const AIBinder_Class* clazz);
const AIBinder_Class* AIBinder_getClass(AIBinder* binder);
// The user data of a local object; null for a remote one, as for a proxy on a device.
void* AIBinder_getUserData(AIBinder* binder);

// Weak references: promotion succeeds only while the object has strong references.
AIBinder_Weak* AIBinder_Weak_new(AIBinder* binder);
void AIBinder_Weak_delete(AIBinder_Weak* weakBinder);
AIBinder* AIBinder_Weak_promote(AIBinder_Weak* weakBinder);
AIBinder_Weak* AIBinder_Weak_clone(const AIBinder_Weak* weak);

// A recipient can be linked to many binders. Deleting it removes all of its links, so it is not
// called afterwards.
AIBinder_DeathRecipient* AIBinder_DeathRecipient_new(
        AIBinder_DeathRecipient_onBinderDied onBinderDied);
void AIBinder_DeathRecipient_delete(AIBinder_DeathRecipient* recipient);

__END_DECLS

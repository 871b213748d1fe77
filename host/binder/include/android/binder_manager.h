// Host stand-in for libbinder_ndk's service manager calls: an in-process table of named services.
// <host/binder_control.h> can make registration fail.
#pragma once

#include <android/binder_ibinder.h>
#include <android/binder_status.h>

__BEGIN_DECLS

// Registers `binder` under `instance` (replacing an earlier one) and keeps a strong reference.
// EX_NONE on success, EX_NULL_POINTER for a null argument.
binder_exception_t AServiceManager_addService(AIBinder* binder, const char* instance);
// The service registered under `instance` with a new strong reference for the caller, or null.
AIBinder* AServiceManager_checkService(const char* instance);
// The same as AServiceManager_checkService: the host never waits for a service to start.
AIBinder* AServiceManager_getService(const char* instance);
AIBinder* AServiceManager_waitForService(const char* instance);

__END_DECLS

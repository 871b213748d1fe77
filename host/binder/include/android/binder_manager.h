// Host stand-in for libbinder_ndk's service manager calls: an in-process table of named services.
// <host/binder_control.h> can make registration fail and declares instances.
#pragma once

#include <android/binder_ibinder.h>
#include <android/binder_status.h>

__BEGIN_DECLS

// Registers `binder` under `instance` (replacing an earlier one) and keeps a strong reference.
// EX_NONE on success, EX_NULL_POINTER for a null argument.
binder_exception_t AServiceManager_addService(AIBinder* binder, const char* instance);
// The service registered under `instance` with a new strong reference for the caller, or null.
// Never waits.
AIBinder* AServiceManager_checkService(const char* instance);
// The same as AServiceManager_checkService: the host has no services to start on demand.
AIBinder* AServiceManager_getService(const char* instance);
// Waits, without a bound, until a service is registered under `instance`, and returns it with a
// new strong reference. Null only for a null name.
AIBinder* AServiceManager_waitForService(const char* instance);
// Whether the device declares `instance` (its VINTF manifest). On the host, the instances declared
// with host::DeclareService() (<host/binder_control.h>).
bool AServiceManager_isDeclared(const char* instance);

__END_DECLS

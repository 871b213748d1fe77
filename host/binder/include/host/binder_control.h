// Host-only controls over the binder stand-in, for tests and the simulator. Objects can be placed
// in simulated other processes, which can then die; pings and service registration can be made
// to fail.
#pragma once

#include <android/binder_auto_utils.h>
#include <android/binder_ibinder.h>
#include <android/binder_status.h>

#include <cstddef>

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

}  // namespace host

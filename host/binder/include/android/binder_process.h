// Host stand-in for libbinder_ndk's thread pool calls. Calls into objects run on the caller's
// thread on the host, so the pool has nothing to do; joining it blocks until
// host::ShutdownThreadPool() (see <host/binder_control.h>).
#pragma once

#include <stdbool.h>
#include <stdint.h>
#include <sys/cdefs.h>

__BEGIN_DECLS

void ABinderProcess_startThreadPool(void);
bool ABinderProcess_setThreadPoolMaxThreadCount(uint32_t numThreads);
bool ABinderProcess_isThreadPoolStarted(void);
void ABinderProcess_joinThreadPool(void);

__END_DECLS

// Host-only controls over binder objects: simulated processes, their death, ping answers.
#include <pthread.h>

#include <thread>
#include <vector>

#include "BinderRegistry.h"
#include "host/binder_control.h"

namespace host {

using internal::BinderRegistry;
using internal::DeathNotification;

void SetBinderProcess(AIBinder* binder, int pid) {
    if (binder == nullptr) return;
    BinderRegistry::Get().SetProcess(binder, pid);
}

void KillProcess(int pid) {
    const std::vector<DeathNotification> notifications = BinderRegistry::Get().Kill(pid);
    if (notifications.empty()) return;
    // As on a device, recipients run on a binder thread, never on the thread that saw the death.
    std::thread notifier([&notifications]() {
        pthread_setname_np(pthread_self(), "binder:death");
        for (const DeathNotification& notification : notifications) {
            notification.onBinderDied(notification.cookie);
        }
    });
    notifier.join();
}

void SetPingStatus(AIBinder* binder, binder_status_t status) {
    if (binder == nullptr) return;
    BinderRegistry::Get().SetPingStatus(binder, status);
}

size_t LinkedDeathRecipientCount(AIBinder* binder) {
    if (binder == nullptr) return 0;
    return BinderRegistry::Get().LinkCount(binder);
}

}  // namespace host

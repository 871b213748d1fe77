#include "BinderRegistry.h"

#include <algorithm>

#include "BinderObjects.h"

namespace host::internal {

BinderRegistry& BinderRegistry::Get() {
    // Never destroyed: binders held by static objects are released during static destruction.
    static BinderRegistry* registry = new BinderRegistry();
    return *registry;
}

void BinderRegistry::Add(const AIBinder* binder) {
    std::lock_guard<std::mutex> guard(mLock);
    mStates.emplace(binder, State{});
}

void BinderRegistry::Remove(const AIBinder* binder) {
    std::lock_guard<std::mutex> guard(mLock);
    mStates.erase(binder);
}

const BinderRegistry::State* BinderRegistry::FindLocked(const AIBinder* binder) const {
    auto it = mStates.find(binder);
    return it == mStates.end() ? nullptr : &it->second;
}

BinderRegistry::State* BinderRegistry::FindLocked(const AIBinder* binder) {
    auto it = mStates.find(binder);
    return it == mStates.end() ? nullptr : &it->second;
}

bool BinderRegistry::IsRemote(const AIBinder* binder) const {
    std::lock_guard<std::mutex> guard(mLock);
    const State* state = FindLocked(binder);
    return state != nullptr && state->pid > 0;
}

int BinderRegistry::ProcessOf(const AIBinder* binder) const {
    std::lock_guard<std::mutex> guard(mLock);
    const State* state = FindLocked(binder);
    return state == nullptr ? 0 : state->pid;
}

bool BinderRegistry::IsAlive(const AIBinder* binder) const {
    std::lock_guard<std::mutex> guard(mLock);
    const State* state = FindLocked(binder);
    return state != nullptr && !state->dead;
}

binder_status_t BinderRegistry::Ping(const AIBinder* binder) const {
    std::lock_guard<std::mutex> guard(mLock);
    const State* state = FindLocked(binder);
    if (state == nullptr || state->dead) return STATUS_DEAD_OBJECT;
    return state->pingStatus;
}

binder_status_t BinderRegistry::LinkToDeath(const AIBinder* binder,
                                            AIBinder_DeathRecipient* recipient, void* cookie) {
    std::lock_guard<std::mutex> guard(mLock);
    State* state = FindLocked(binder);
    if (state == nullptr || state->dead) return STATUS_DEAD_OBJECT;
    // A local object cannot die apart from this process: the platform refuses the link.
    if (state->pid <= 0) return STATUS_INVALID_OPERATION;
    state->links.push_back(Link{recipient, recipient->onBinderDied, cookie});
    return STATUS_OK;
}

binder_status_t BinderRegistry::UnlinkToDeath(const AIBinder* binder,
                                              AIBinder_DeathRecipient* recipient, void* cookie) {
    std::lock_guard<std::mutex> guard(mLock);
    State* state = FindLocked(binder);
    if (state == nullptr) return STATUS_NAME_NOT_FOUND;
    auto it = std::find_if(state->links.begin(), state->links.end(), [&](const Link& link) {
        return link.recipient == recipient && link.cookie == cookie;
    });
    if (it == state->links.end()) return STATUS_NAME_NOT_FOUND;
    state->links.erase(it);
    return STATUS_OK;
}

void BinderRegistry::ForgetRecipient(const AIBinder_DeathRecipient* recipient) {
    std::lock_guard<std::mutex> guard(mLock);
    for (auto& [binder, state] : mStates) {
        auto& links = state.links;
        links.erase(std::remove_if(links.begin(), links.end(),
                                   [&](const Link& link) { return link.recipient == recipient; }),
                    links.end());
    }
}

void BinderRegistry::SetProcess(const AIBinder* binder, int pid) {
    std::lock_guard<std::mutex> guard(mLock);
    State* state = FindLocked(binder);
    if (state != nullptr) state->pid = pid > 0 ? pid : 0;
}

void BinderRegistry::SetPingStatus(const AIBinder* binder, binder_status_t status) {
    std::lock_guard<std::mutex> guard(mLock);
    State* state = FindLocked(binder);
    if (state != nullptr) state->pingStatus = status;
}

std::vector<DeathNotification> BinderRegistry::Kill(int pid) {
    std::vector<DeathNotification> notifications;
    if (pid <= 0) return notifications;
    std::lock_guard<std::mutex> guard(mLock);
    for (auto& [binder, state] : mStates) {
        if (state.pid != pid || state.dead) continue;
        state.dead = true;
        for (const Link& link : state.links) {
            notifications.push_back(DeathNotification{link.onBinderDied, link.cookie});
        }
        state.links.clear();
    }
    return notifications;
}

size_t BinderRegistry::LinkCount(const AIBinder* binder) const {
    std::lock_guard<std::mutex> guard(mLock);
    const State* state = FindLocked(binder);
    return state == nullptr ? 0 : state->links.size();
}

}  // namespace host::internal

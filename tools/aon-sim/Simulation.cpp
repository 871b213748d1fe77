#include "tools/aon-sim/Simulation.h"

#include <aidl/vendor/tarvo/hardware/camera/aon/BpAONService.h>
#include <android/binder_status.h>

#include <chrono>
#include <cstring>
#include <future>

#include "host/FakeModuleHelper.h"
#include "host/binder_control.h"
#include "manager/AONManager.h"
#include "tools/aon-sim/ExpectationCheck.h"
#include "tools/aon-sim/LogTap.h"
#include "tools/aon-sim/ThreadName.h"
#include "tools/common/ThreadWatch.h"

// The library's entry, as the camera process declares it.
extern "C" void RegisterIAonService();

namespace aon_sim {
namespace {

using aidl::vendor::tarvo::hardware::camera::aon::AONSensorInfo;
using aidl::vendor::tarvo::hardware::camera::aon::BpAONService;
using aidl::vendor::tarvo::hardware::camera::aon::FrameInfo;
using aidl::vendor::tarvo::hardware::camera::aon::IAONService;
using aidl::vendor::tarvo::hardware::camera::aon::IAONServiceCallBack;
using aidl::vendor::tarvo::hardware::camera::aon::SensorConfigInfo;

constexpr std::chrono::milliseconds kWorkerTimeout{5000};

CallResult ResultOf(const ndk::ScopedAStatus& status) {
    CallResult result;
    if (status.get() == nullptr) return result;
    result.exception = status.getExceptionCode();
    result.serviceSpecific = status.getServiceSpecificError();
    result.status = status.getStatus();
    const char* message = status.getMessage();
    result.message = message != nullptr ? message : "";
    return result;
}

SensorSummary Summarise(const AONSensorInfo& info) {
    SensorSummary sensor;
    sensor.sensorId = info.sensorId;
    sensor.sensorParam1 = info.sensorParam1;
    sensor.sensorParam2 = info.sensorParam2;
    sensor.supportServiceType = info.supportServiceType;
    for (const FrameInfo& frame : info.frameInfos) {
        sensor.frameInfos.push_back({frame.width, frame.height, frame.fpsList});
    }
    return sensor;
}

const char* CallName(host::AovCall call) {
    switch (call) {
        case host::AovCall::kGetSensorList: return "getSensorList";
        case host::AovCall::kGetSensorInfo: return "getSensorInfo";
        case host::AovCall::kGetSensorMode: return "getSensorMode";
        case host::AovCall::kInit: return "init";
        case host::AovCall::kNotifySensorState: return "notifySensorState";
        case host::AovCall::kUninit: return "uninit";
    }
    return "?";
}

}  // namespace

Simulation::Simulation(Trace& trace, Options options) : mTrace(trace), mOptions(options) {
    host::SetTransactionObserver(
            [this](const host::TransactionRecord& record) { OnTransaction(record); });
}

Simulation::~Simulation() {
    host::SetTransactionObserver(nullptr);
}

Simulation::Slot* Simulation::FindLocked(const std::string& name) {
    for (const auto& slot : mSlots) {
        if (slot->name == name) return slot.get();
    }
    return nullptr;
}

const Simulation::Slot* Simulation::FindLocked(const std::string& name) const {
    for (const auto& slot : mSlots) {
        if (slot->name == name) return slot.get();
    }
    return nullptr;
}

Simulation::Slot* Simulation::FindByPidLocked(int pid) {
    for (const auto& slot : mSlots) {
        if (slot->pid == pid) return slot.get();
    }
    return nullptr;
}

std::string Simulation::ProcessNameLocked(int pid) const {
    if (pid == 0) return "camera process";
    for (const auto& slot : mSlots) {
        if (slot->pid == pid) return slot->name;
    }
    return "process " + std::to_string(pid);
}

std::string Simulation::ProcessName(int pid) const {
    std::lock_guard<std::mutex> guard(mLock);
    return ProcessNameLocked(pid);
}

bool Simulation::StartService() {
    if (serviceStarted()) return true;
    const std::string instance = std::string(IAONService::descriptor) + "/default";
    mTrace.Append(NoteEntry{"camera process: RegisterIAonService()"});
    RegisterIAonService();
    std::shared_ptr<IAONService> service =
            IAONService::fromBinder(host::LookupService(instance.c_str()));
    if (service == nullptr) {
        mTrace.Append(NoteEntry{"no service is registered as " + instance});
        return false;
    }
    mTrace.Append(NoteEntry{"clients find the service as " + instance});
    // The service lives in this (the camera) process; a client's process holds a proxy of it.
    auto proxy = ndk::SharedRefBase::make<BpAONService>(service->asBinder());
    std::lock_guard<std::mutex> guard(mLock);
    mService = std::move(service);
    mServiceProxy = std::move(proxy);
    return true;
}

bool Simulation::serviceStarted() const {
    std::lock_guard<std::mutex> guard(mLock);
    return mService != nullptr;
}

void Simulation::AddClient(const std::string& name, int32_t pid) {
    auto slot = std::make_unique<Slot>();
    slot->name = name;
    slot->pid = pid;
    slot->object = ndk::SharedRefBase::make<SimClient>(name, mTrace, mOptions.values,
                                                       mOptions.saver, this);
    slot->binder = slot->object->asBinder();
    host::SetBinderProcess(slot->binder.get(), pid);
    slot->proxy = IAONServiceCallBack::fromBinder(slot->binder);
    mTrace.Append(NoteEntry{"client " + name + " lives in process " + std::to_string(pid)});
    std::lock_guard<std::mutex> guard(mLock);
    mSlots.push_back(std::move(slot));
}

CallResult Simulation::Call(const ClientCall& call) {
    std::shared_ptr<IAONService> service;
    std::shared_ptr<IAONServiceCallBack> proxy;
    int64_t handle = 0;
    int32_t pid = 0;
    {
        std::lock_guard<std::mutex> guard(mLock);
        const Slot* slot = FindLocked(call.client);
        if (slot == nullptr) return CallResult{};
        // A proxy cannot write a null callback: such a registration (as a client whose language
        // lets it pass one) reaches the service object itself.
        service = call.nullCallback ? mService : mServiceProxy;
        proxy = call.nullCallback ? nullptr : slot->proxy;
        handle = call.handle.value_or(slot->handle);
        pid = slot->pid;
    }
    StatusEntry entry;
    entry.client = call.client;
    entry.method = ClientMethodName(call.method);
    entry.thread = CurrentThreadName();
    const host::ScopedCallingProcess fromClient(pid);
    if (service == nullptr) {
        entry.result.exception = EX_TRANSACTION_FAILED;
        entry.result.status = STATUS_NAME_NOT_FOUND;
        entry.result.message = "no service";
        mTrace.Append(entry);
        return entry.result;
    }
    ndk::ScopedAStatus status;
    int64_t newHandle = 0;
    switch (call.method) {
        case ClientMethod::kRegister:
            status = service->registerClient(proxy, call.serviceType, &newHandle);
            break;
        case ClientMethod::kList: {
            std::vector<AONSensorInfo> sensors;
            status = service->getAonSensorInfoList(&sensors);
            if (status.isOk()) {
                entry.sensors.emplace();
                for (const AONSensorInfo& sensor : sensors) {
                    entry.sensors->push_back(Summarise(sensor));
                }
            }
            break;
        }
        case ClientMethod::kSubscribe: {
            SensorConfigInfo config;
            config.sensorId = call.config.sensorId;
            config.frameWidth = call.config.frameWidth;
            config.frameHeight = call.config.frameHeight;
            config.fps = call.config.fps;
            config.extraParam0 = call.config.extraParam0;
            config.extraParam1 = call.config.extraParam1;
            config.serviceType = call.config.serviceType;
            config.deliveryMode = call.config.deliveryMode;
            status = service->subscribeSensor(handle, config);
            break;
        }
        case ClientMethod::kStart:
            status = service->startService(handle, call.serviceType);
            break;
        case ClientMethod::kStop:
            status = service->stopService(handle, call.serviceType);
            break;
        case ClientMethod::kUnsubscribe:
            status = service->unsubscribeSensor(handle);
            break;
        case ClientMethod::kUnregister:
            status = service->unregisterClient(handle);
            break;
    }
    entry.result = ResultOf(status);
    if (call.method == ClientMethod::kRegister && entry.result.ok()) entry.handle = newHandle;
    std::vector<std::string> replaced;
    {
        std::lock_guard<std::mutex> guard(mLock);
        if (Slot* slot = FindLocked(call.client)) {
            if (entry.sensors) {
                slot->lastSensorIds.emplace();
                for (const SensorSummary& sensor : *entry.sensors) {
                    slot->lastSensorIds->push_back(sensor.sensorId);
                }
            }
        }
        AfterCallLocked(call, entry.result, newHandle, &replaced);
    }
    mTrace.Append(entry);
    for (const std::string& name : replaced) {
        mTrace.Append(NoteEntry{"client " + name +
                                " is no longer registered: the service admits one client and "
                                "replaced it with " +
                                call.client});
    }
    return entry.result;
}

void Simulation::AfterCallLocked(const ClientCall& call, const CallResult& result,
                                 int64_t handle, std::vector<std::string>* replaced) {
    Slot* slot = FindLocked(call.client);
    if (slot == nullptr || !result.ok()) return;
    if (call.method == ClientMethod::kRegister && !call.nullCallback) {
        slot->handle = handle;
        slot->registered = true;
        slot->standing = "registered";
        for (const auto& other : mSlots) {
            if (other.get() != slot && other->registered) {
                other->registered = false;
                other->standing = "replaced by " + call.client;
                replaced->push_back(other->name);
            }
        }
    } else if (call.method == ClientMethod::kUnregister && !call.handle) {
        slot->registered = false;
        slot->standing = "unregistered";
    }
}

void Simulation::Kill(const std::string& name) {
    int32_t pid = 0;
    {
        std::lock_guard<std::mutex> guard(mLock);
        Slot* slot = FindLocked(name);
        if (slot == nullptr) return;
        pid = slot->pid;
        slot->alive = false;
        slot->registered = false;
        slot->standing = "dead";
    }
    mTrace.Append(NoteEntry{"process " + std::to_string(pid) + " of client " + name + " dies"});
    host::KillProcess(pid);
}

void Simulation::SetReaction(const ClientReaction& reaction, int line) {
    std::lock_guard<std::mutex> guard(mLock);
    Slot* slot = FindLocked(reaction.client);
    if (slot == nullptr) return;
    std::optional<Reaction> answer;
    if (reaction.answer != ClientReaction::Answer::kNothing) answer = Reaction{reaction, line};
    if (reaction.trigger == ClientReaction::Trigger::kEvent) {
        slot->onEvent = answer;
    } else if (answer) {
        slot->onState[reaction.state] = *answer;
    } else {
        slot->onState.erase(reaction.state);
    }
}

std::optional<Simulation::AnswerFailure> Simulation::TakeAnswerFailure() {
    std::lock_guard<std::mutex> guard(mLock);
    return std::exchange(mAnswerFailure, std::nullopt);
}

void Simulation::OnClientCallback(const std::string& client, std::optional<int32_t> state) {
    std::optional<Reaction> reaction;
    {
        std::lock_guard<std::mutex> guard(mLock);
        const Slot* slot = FindLocked(client);
        if (slot == nullptr) return;
        if (!state) {
            reaction = slot->onEvent;
        } else if (const auto found = slot->onState.find(*state); found != slot->onState.end()) {
            reaction = found->second;
        }
    }
    if (!reaction) return;
    const std::string callback = state ? "onAONSensorEvent (state " + std::to_string(*state) + ")"
                                       : std::string("onAONEvent");
    if (reaction->reaction.answer == ClientReaction::Answer::kHang) {
        mTrace.Append(NoteEntry{client + " does not return from " + callback});
        // Only the end of the process ends this wait: the run's watchdog sees the step stuck.
        std::promise<void> never;
        never.get_future().wait();
    }
    const CallResult result = Call(reaction->reaction.call);
    const std::optional<std::string> failed =
            CheckCallResult(reaction->reaction.call.expect, result);
    if (!failed) return;
    std::lock_guard<std::mutex> guard(mLock);
    if (!mAnswerFailure) {
        mAnswerFailure = AnswerFailure{reaction->line, *failed + " (answering " + callback + ")"};
    }
}

void Simulation::OnTransaction(const host::TransactionRecord& record) {
    const bool refused = record.status != STATUS_OK;
    // A client calling the service from inside a callback: binder runs it nested.
    const bool callsBack = !refused && !record.reply && record.nested && record.callerPid != 0 &&
                           record.targetPid == 0;
    if (!refused && !callsBack) return;
    TransactionEntry entry;
    entry.method = record.method;
    entry.thread = CurrentThreadName();
    entry.reply = record.reply;
    entry.refused = refused;
    entry.bytes = record.dataBytes;
    entry.charge = record.charge;
    entry.free = record.free;
    entry.limit = record.limit;
    // The new call is on top of the thread's stack; the thread waits for the one below it.
    const std::vector<host::TransactionRecord> stack =
            callsBack ? host::CurrentTransactions() : std::vector<host::TransactionRecord>();
    {
        std::lock_guard<std::mutex> guard(mLock);
        entry.caller = ProcessNameLocked(record.callerPid);
        entry.target = ProcessNameLocked(record.targetPid);
        if (stack.size() >= 2) {
            const host::TransactionRecord& waiting = stack[stack.size() - 2];
            entry.waitsFor =
                    std::string(waiting.method) + " to " + ProcessNameLocked(waiting.targetPid);
        }
        if (refused) {
            for (const auto& slot : mSlots) {
                if (slot->pid == record.callerPid || slot->pid == record.targetPid) {
                    ++slot->failedTransactions;
                }
            }
            Slot* receiver = FindByPidLocked(record.targetPid);
            if (record.reply) {
                entry.missed = entry.caller + "'s call fails after " + entry.target + " ran it";
            } else if (std::strcmp(record.method, "onAONEvent") == 0 && receiver != nullptr &&
                       mFrameId) {
                mFrameRefused.insert(receiver->name);
                entry.missed = entry.target + " misses frame " + std::to_string(*mFrameId);
            } else {
                entry.missed = entry.target + " misses this " + entry.method;
            }
        }
    }
    mTrace.Append(std::move(entry));
}

void Simulation::SetPingFails(const std::string& name, bool fails) {
    AIBinder* binder = nullptr;
    {
        std::lock_guard<std::mutex> guard(mLock);
        Slot* slot = FindLocked(name);
        if (slot == nullptr) return;
        slot->pingFails = fails;
        binder = slot->binder.get();
    }
    host::SetPingStatus(binder, fails ? STATUS_UNKNOWN_ERROR : STATUS_OK);
    mTrace.Append(NoteEntry{"the binder of client " + name +
                            (fails ? " stops answering ping" : " answers ping again")});
}

namespace {

// Plays one camera stack call and waits for the worker thread it starts in the library.
bool NotifyCamera(Trace& trace, const char* call, const char* worker, int32_t instanceId,
                  void (tarvo::aon::AONManager::*notify)(int)) {
    trace.Append(
            NoteEntry{std::string("camera stack: ") + call + "(" + std::to_string(instanceId) + ")",
                      CameraCall{instanceId, notify == &tarvo::aon::AONManager::NotifyOpen}});
    const aon_tools::ThreadWatch watch;
    (tarvo::aon::AONManager::GetSingleton().get()->*notify)(instanceId);
    if (watch.Wait(kWorkerTimeout)) return true;
    trace.Append(NoteEntry{std::string("the library's ") + worker + " worker still runs after 5 s"});
    return false;
}

}  // namespace

bool Simulation::OpenCamera(int32_t instanceId) {
    return NotifyCamera(mTrace, "NotifyOpen", "open", instanceId,
                        &tarvo::aon::AONManager::NotifyOpen);
}

bool Simulation::CloseCamera(int32_t instanceId) {
    return NotifyCamera(mTrace, "NotifyClose", "close", instanceId,
                        &tarvo::aon::AONManager::NotifyClose);
}

std::optional<Simulation::ClientView> Simulation::View(const std::string& name) const {
    std::lock_guard<std::mutex> guard(mLock);
    const Slot* slot = FindLocked(name);
    if (slot == nullptr) return std::nullopt;
    ClientView view;
    view.object = slot->object;
    view.pid = slot->pid;
    view.handle = slot->handle;
    view.registered = slot->registered;
    view.standing = slot->standing;
    view.dropped = slot->dropped;
    view.failedTransactions = slot->failedTransactions;
    view.lastSensorIds = slot->lastSensorIds;
    return view;
}

Summary Simulation::MakeSummary(double seconds) const {
    Summary summary;
    summary.seconds = seconds;
    std::vector<std::pair<std::shared_ptr<SimClient>, ClientSummary>> clients;
    {
        std::lock_guard<std::mutex> guard(mLock);
        summary.framesDelivered = mFramesDelivered;
        summary.framesNotDelivered = mFramesNotDelivered;
        for (const char* call : {"getSensorList", "getSensorInfo", "getSensorMode", "init",
                                 "notifySensorState", "uninit"}) {
            const auto found = mVendorCalls.find(call);
            summary.vendorCalls.emplace_back(call,
                                             found == mVendorCalls.end() ? 0 : found->second);
        }
        for (const auto& slot : mSlots) {
            ClientSummary client;
            client.name = slot->name;
            client.pid = slot->pid;
            client.dropped = slot->dropped;
            client.failedTransactions = slot->failedTransactions;
            client.standing = slot->standing;
            clients.emplace_back(slot->object, std::move(client));
        }
    }
    for (auto& [object, client] : clients) {
        client.events = object->eventCount();
        client.states = object->states();
        summary.clients.push_back(std::move(client));
    }
    mTrace.CountLogs(&summary.logLines, &summary.logWarnings, &summary.logErrors);
    return summary;
}

void Simulation::OnStreamCall(const host::SimulatedCall& call) {
    VendorEntry entry;
    entry.call = CallName(call.call);
    entry.thread = CurrentThreadName();
    entry.result = call.result;
    entry.sensorId = call.sensorId;
    entry.sensorIds = call.sensorIds;
    entry.opened = call.opened;
    entry.mode = call.mode;
    entry.count = call.count;
    if (call.param != nullptr) {
        ParamFields param;
        param.sensorId = call.param->sensorId;
        param.width = call.param->width;
        param.height = call.param->height;
        param.fps = call.param->fps;
        param.requestedFps = call.param->requestedFps;
        param.serviceType = call.param->serviceType;
        param.mainFormat = call.param->mainFormat;
        param.subFormat = call.param->subFormat;
        param.debugMode = call.param->debugMode;
        param.callback = call.param->callback != nullptr;
        entry.param = param;
    }
    {
        std::lock_guard<std::mutex> guard(mLock);
        ++mVendorCalls[entry.call];
    }
    mTrace.Append(std::move(entry));
}

void Simulation::OnFrameStarting(const host::SimulatedFrame& frame) {
    LogTap::TakeDropReason();
    std::vector<std::shared_ptr<SimClient>> registered;
    {
        std::lock_guard<std::mutex> guard(mLock);
        for (const auto& slot : mSlots) {
            if (slot->registered) registered.push_back(slot->object);
        }
    }
    std::vector<std::pair<std::shared_ptr<SimClient>, int64_t>> watch;
    for (const auto& object : registered) watch.emplace_back(object, object->eventCount());
    {
        std::lock_guard<std::mutex> guard(mLock);
        mFrameWatch = std::move(watch);
        mFrameId = frame.frameId;
        mFrameRefused.clear();
    }
    FrameEntry entry;
    entry.frameId = frame.frameId;
    entry.width = frame.width;
    entry.height = frame.height;
    entry.serviceType = frame.serviceType;
    entry.apuOutputSize = frame.apuOutputSize;
    entry.imageStride = frame.imageStride;
    entry.imageHeight = frame.imageHeight;
    entry.delivered = true;
    mTrace.Append(std::move(entry));
}

void Simulation::OnFrameDone(const host::SimulatedFrame& frame, bool delivered) {
    if (!delivered) {
        {
            std::lock_guard<std::mutex> guard(mLock);
            ++mFramesNotDelivered;
            mFrameWatch.clear();
            mFrameId.reset();
        }
        FrameEntry entry;
        entry.frameId = frame.frameId;
        entry.width = frame.width;
        entry.height = frame.height;
        entry.serviceType = frame.serviceType;
        entry.delivered = false;
        mTrace.Append(std::move(entry));
        return;
    }
    const LogTap::DropReason libraryReason = LogTap::TakeDropReason();
    std::vector<std::pair<std::shared_ptr<SimClient>, int64_t>> watch;
    std::set<std::string> refused;
    {
        std::lock_guard<std::mutex> guard(mLock);
        ++mFramesDelivered;
        watch.swap(mFrameWatch);
        refused.swap(mFrameRefused);
        mFrameId.reset();
    }
    std::vector<std::string> missed;
    for (const auto& [object, before] : watch) {
        if (object->eventCount() == before) missed.push_back(object->name());
    }
    std::vector<DropEntry> drops;
    {
        std::lock_guard<std::mutex> guard(mLock);
        for (const std::string& name : missed) {
            Slot* slot = FindLocked(name);
            if (slot == nullptr) continue;
            ++slot->dropped;
            DropEntry drop{slot->name, frame.frameId, libraryReason.text, libraryReason.cause};
            if (refused.count(name) != 0) {
                drop.reason = "binder refused its onAONEvent: the event does not fit its buffer";
                drop.cause = DropCause::kRefused;
            } else if (drop.reason.empty()) {
                drop.reason = slot->pingFails ? "its binder did not answer the ping"
                                              : "the service did not deliver it";
                drop.cause = DropCause::kOther;
            }
            drops.push_back(std::move(drop));
        }
    }
    for (DropEntry& drop : drops) mTrace.Append(std::move(drop));
}

}  // namespace aon_sim

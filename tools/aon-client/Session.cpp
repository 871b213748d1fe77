#include "tools/aon-client/Session.h"

#include <algorithm>
#include <chrono>
#include <cstdio>

#include "tools/aon-client/Platform.h"
#include "tools/aon-client/ServiceFinder.h"

namespace aon_client {
namespace {

using aidl::vendor::tarvo::hardware::camera::aon::AONSensorInfo;
using aidl::vendor::tarvo::hardware::camera::aon::FrameInfo;
using aidl::vendor::tarvo::hardware::camera::aon::IAONService;
using aidl::vendor::tarvo::hardware::camera::aon::SensorConfigInfo;

std::string MaskText(int32_t mask) {
    char text[16];
    std::snprintf(text, sizeof(text), "0x%x", static_cast<uint32_t>(mask));
    return text;
}

std::string SecondsText(double seconds) {
    char text[32];
    std::snprintf(text, sizeof(text), "%g s", seconds);
    return text;
}

void Complain(const std::string& text) {
    std::fprintf(stderr, "aon-client: %s\n", text.c_str());
}

}  // namespace

Session::Session(const Options& options, RunControl& control, Output& output,
                 const Printer& printer)
    : mOptions(options), mControl(control), mOutput(output), mPrinter(printer) {}

int Session::Run() {
    if (!Connect()) return kExitUnreachable;
    std::vector<AONSensorInfo> sensors;
    List(&sensors);
    if (mOptions.listOnly && Going()) return kExitOk;
    if (Going()) {
        SensorConfigInfo config;
        if (const int status = ChooseConfig(sensors, &config); status != 0) return status;
        Register();
        if (Going()) Subscribe(config);
        if (Going()) Start();
        if (Going()) Receive();
    }
    CleanUp();
    return Finish();
}

bool Session::Connect() {
    std::string error;
    const auto wait = std::chrono::milliseconds(static_cast<int64_t>(mOptions.waitSeconds * 1000));
    mServiceBinder = FindService(mOptions.instance, wait, mControl, &error);
    if (mServiceBinder.get() == nullptr) {
        Complain(error);
        return false;
    }
    mService = IAONService::fromBinder(mServiceBinder);
    if (mService == nullptr) {
        Complain(mOptions.instance + " is not an " + IAONService::descriptor);
        return false;
    }
    int32_t version = 0;
    std::string hash;
    const bool versionOk = mService->getInterfaceVersion(&version).isOk();
    const bool hashOk = mService->getInterfaceHash(&hash).isOk();
    mOutput.Line(mPrinter.Service(mOptions.instance,
                                  versionOk ? std::optional<int32_t>(version) : std::nullopt,
                                  hashOk ? std::optional<std::string>(hash) : std::nullopt));
    mDeathRecipient = ndk::ScopedAIBinder_DeathRecipient(
            AIBinder_DeathRecipient_new(&Session::OnServiceDied));
    const binder_status_t linked =
            AIBinder_linkToDeath(mServiceBinder.get(), mDeathRecipient.get(), &mControl);
    if (linked != STATUS_OK) {
        Complain("cannot watch the service for death (status " + std::to_string(linked) +
                 "): a death will show only as failed calls");
    }
    return true;
}

void Session::OnServiceDied(void* cookie) {
    static_cast<RunControl*>(cookie)->OnServiceDied();
}

CallStatus Session::Report(CallReport report, const ndk::ScopedAStatus& status) {
    report.status = CallStatus::From(status);
    mOutput.Line(mPrinter.Call(report));
    if (report.status.deadObject()) {
        mControl.OnServiceDied();
    } else if (!report.status.ok() && mRefusedCall == nullptr) {
        mRefusedCall = report.method;
    }
    return report.status;
}

bool Session::Going() const {
    return mRefusedCall == nullptr && !mControl.interrupted() && !mControl.serviceDied();
}

void Session::List(std::vector<AONSensorInfo>* sensors) {
    CallReport report;
    report.method = "getAonSensorInfoList";
    const ndk::ScopedAStatus status = mService->getAonSensorInfoList(sensors);
    report.resultText = Count(static_cast<int64_t>(sensors->size()), "sensor");
    report.results = {{"sensors", static_cast<int64_t>(sensors->size())}};
    if (Report(std::move(report), status).ok()) mOutput.Line(mPrinter.Sensors(*sensors));
}

int Session::ChooseConfig(const std::vector<AONSensorInfo>& sensors,
                          SensorConfigInfo* config) const {
    if (sensors.empty()) {
        Complain("the service lists no sensors: nothing to subscribe");
        return kExitRefused;
    }
    const AONSensorInfo* sensor = &sensors.front();
    if (mOptions.sensor) {
        auto found = std::find_if(sensors.begin(), sensors.end(), [&](const AONSensorInfo& s) {
            return s.sensorId == *mOptions.sensor;
        });
        if (found == sensors.end()) {
            std::string ids;
            for (const AONSensorInfo& s : sensors) {
                ids += (ids.empty() ? "" : ", ") + std::to_string(s.sensorId);
            }
            Complain("sensor " + std::to_string(*mOptions.sensor) +
                     " is not listed by the service; it lists " + ids);
            return kExitUsage;
        }
        sensor = &*found;
    }
    const std::string name = "sensor " + std::to_string(sensor->sensorId);
    Size size;
    if (mOptions.size) {
        size = *mOptions.size;
    } else if (!sensor->frameInfos.empty()) {
        size = Size{sensor->frameInfos.front().width, sensor->frameInfos.front().height};
    } else {
        Complain(name + " lists no frame sizes: give --size and --fps");
        return kExitUsage;
    }
    int32_t fps = 0;
    if (mOptions.fps) {
        fps = *mOptions.fps;
    } else {
        auto listed = std::find_if(
                sensor->frameInfos.begin(), sensor->frameInfos.end(), [&](const FrameInfo& f) {
                    return f.width == size.width && f.height == size.height && !f.fpsList.empty();
                });
        if (listed == sensor->frameInfos.end()) {
            Complain(name + " lists no frame rate at " + std::to_string(size.width) + "x" +
                     std::to_string(size.height) + ": give --fps");
            return kExitUsage;
        }
        fps = *std::min_element(listed->fpsList.begin(), listed->fpsList.end());
    }
    config->sensorId = sensor->sensorId;
    config->frameWidth = size.width;
    config->frameHeight = size.height;
    config->fps = fps;
    config->extraParam0 = 0;
    config->extraParam1 = 0;
    config->serviceType = mOptions.types;
    config->deliveryMode = mOptions.mode;
    return 0;
}

void Session::Register() {
    mCallback = ndk::SharedRefBase::make<ClientCallback>(mPrinter, mOutput, mControl,
                                                         !mOptions.saveFrames.empty());
    mCallbackBinder = mCallback->asBinder();
    PlaceCallback(mCallbackBinder.get());
    const int32_t types = mOptions.registerTypes.value_or(mOptions.types);
    int64_t handle = 0;
    const ndk::ScopedAStatus status = mService->registerClient(mCallback, types, &handle);
    CallReport report;
    report.method = "registerClient";
    report.argsText = "callback, types " + MaskText(types);
    report.args = {{"serviceType", types}};
    report.resultText = "handle " + std::to_string(handle);
    report.results = {{"clientHandle", handle}};
    if (Report(std::move(report), status).ok()) {
        mHandle = handle;
        mRegistered = true;
    }
}

void Session::Subscribe(const SensorConfigInfo& config) {
    const ndk::ScopedAStatus status = mService->subscribeSensor(mHandle, config);
    CallReport report;
    report.method = "subscribeSensor";
    report.argsText = std::to_string(mHandle) + ", sensor " + std::to_string(config.sensorId) +
                      ", " + std::to_string(config.frameWidth) + "x" +
                      std::to_string(config.frameHeight) + ", " + std::to_string(config.fps) +
                      " fps, types " + MaskText(config.serviceType) + ", mode " +
                      std::to_string(config.deliveryMode);
    report.args = {{"clientHandle", mHandle},
                   {"sensorId", config.sensorId},
                   {"frameWidth", config.frameWidth},
                   {"frameHeight", config.frameHeight},
                   {"fps", config.fps},
                   {"extraParam0", config.extraParam0},
                   {"extraParam1", config.extraParam1},
                   {"serviceType", config.serviceType},
                   {"deliveryMode", config.deliveryMode}};
    if (Report(std::move(report), status).ok()) mSubscribed = true;
}

void Session::Start() {
    const int32_t types = mOptions.startTypes.value_or(mOptions.types);
    const ndk::ScopedAStatus status = mService->startService(mHandle, types);
    CallReport report;
    report.method = "startService";
    report.argsText = std::to_string(mHandle) + ", types " + MaskText(types);
    report.args = {{"clientHandle", mHandle}, {"serviceType", types}};
    if (Report(std::move(report), status).ok()) mStarted = types;
}

void Session::Receive() {
    using Clock = RunControl::Clock;
    std::optional<Clock::time_point> deadline;
    if (mOptions.durationSeconds > 0) {
        deadline = Clock::now() + std::chrono::duration_cast<Clock::duration>(
                                          std::chrono::duration<double>(mOptions.durationSeconds));
    }
    std::optional<int64_t> killAfter = mOptions.killServiceAfter;
    for (;;) {
        std::optional<int64_t> events = mOptions.events;
        if (killAfter) events = std::min(events.value_or(*killAfter), *killAfter);
        const RunControl::End end = mControl.Wait(events, deadline);
        if (end == RunControl::End::kEvents && killAfter && mControl.events() >= *killAfter) {
            KillService();  // returns once the death has been told
            killAfter.reset();
            continue;
        }
        switch (end) {
            case RunControl::End::kEvents:
                mEnd = "events";
                mEndText = Count(mControl.events(), "event") + " received";
                return;
            case RunControl::End::kDuration:
                mEnd = "duration";
                mEndText = SecondsText(mOptions.durationSeconds) + " passed";
                return;
            case RunControl::End::kInterrupted:
            case RunControl::End::kServiceDied:
                return;  // Finish() tells
        }
    }
}

void Session::CleanUp() {
    if (mStarted != 0 && !mControl.serviceDied()) {
        const ndk::ScopedAStatus status = mService->stopService(mHandle, mStarted);
        CallReport report;
        report.method = "stopService";
        report.argsText = std::to_string(mHandle) + ", types " + MaskText(mStarted);
        report.args = {{"clientHandle", mHandle}, {"serviceType", mStarted}};
        if (Report(std::move(report), status).ok()) mStarted = 0;
    }
    if (mSubscribed && !mControl.serviceDied()) {
        const ndk::ScopedAStatus status = mService->unsubscribeSensor(mHandle);
        CallReport report;
        report.method = "unsubscribeSensor";
        report.argsText = std::to_string(mHandle);
        report.args = {{"clientHandle", mHandle}};
        if (Report(std::move(report), status).ok()) mSubscribed = false;
    }
    if (mRegistered && !mControl.serviceDied()) {
        const ndk::ScopedAStatus status = mService->unregisterClient(mHandle);
        CallReport report;
        report.method = "unregisterClient";
        report.argsText = std::to_string(mHandle);
        report.args = {{"clientHandle", mHandle}};
        if (Report(std::move(report), status).ok()) mRegistered = false;
    }
}

int Session::Finish() {
    SummaryReport summary;
    if (mControl.serviceDied()) {
        mEnd = "serviceDied";
        mEndText = "the service died";
        Complain(mOptions.instance + " died");
    } else if (mControl.interrupted()) {
        mEnd = "interrupted";
        mEndText = "interrupted";
    } else if (mRefusedCall != nullptr && *mEnd == '\0') {
        mEnd = "refused";
        mEndText = std::string("the service refused ") + mRefusedCall;
    }
    mOutput.Line(mPrinter.End(mEnd, mEndText));

    summary.end = mEnd;
    if (mCallback != nullptr) {
        summary.stats = mCallback->stats();
        summary.states = mCallback->states();
    }
    if (!mOptions.saveFrames.empty()) {
        mOutput.Drain();  // the frames received so far are written
        const Output::FrameCounts counts = mOutput.frameCounts();
        summary.frameDirectory = mOptions.saveFrames;
        summary.frameFormat = FrameFormatName(mOptions.frameFormat);
        summary.framesSaved = counts.saved;
        summary.framesSkipped = counts.skipped;
        summary.framesFailed = counts.failed;
    }
    summary.leftClean = !mRegistered && !mSubscribed && mStarted == 0;
    if (mControl.serviceDied()) {
        summary.service = "the service died: nothing left to clean up";
    } else if (summary.leftClean) {
        summary.service = "left the service clean: nothing started, subscribed or registered";
    } else {
        summary.service = "did not leave the service clean:";
        if (mStarted != 0) summary.service += " types " + MaskText(mStarted) + " started";
        if (mSubscribed) summary.service += " subscribed";
        if (mRegistered) summary.service += " registered";
        summary.service += " (the service undoes them when this process exits)";
    }
    summary.exitStatus = mControl.serviceDied()    ? kExitUnreachable
                         : mRefusedCall != nullptr ? kExitRefused
                                                   : kExitOk;
    mOutput.Line(mPrinter.Summary(summary));
    return summary.exitStatus;
}

}  // namespace aon_client

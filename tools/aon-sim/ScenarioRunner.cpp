#include "tools/aon-sim/ScenarioRunner.h"

#include <cutils/properties.h>

#include <algorithm>
#include <chrono>
#include <cstdio>

#include "host/FakeModuleHelper.h"
#include "tools/aon-sim/ExpectationCheck.h"
#include "tools/common/DefaultDevice.h"
#include "tools/common/ThreadWatch.h"

namespace aon_sim {
namespace {

constexpr std::chrono::milliseconds kStepTimeout{5000};
// A `frames` line at least this long shows its progress on a terminal, redrawn this often.
constexpr int32_t kProgressFrames = 1000;
constexpr std::chrono::milliseconds kProgressPeriod{100};

std::string Seconds(int64_t micros) {
    char text[32];
    std::snprintf(text, sizeof(text), "%.3f s", static_cast<double>(micros) / 1e6);
    return text;
}

bool NeedsService(const CommandBody& body) {
    return std::holds_alternative<ClientCall>(body) || std::holds_alternative<CameraOpen>(body) ||
           std::holds_alternative<CameraClose>(body) || std::holds_alternative<FrameSpec>(body);
}

}  // namespace

ScenarioRunner::ScenarioRunner(const Scenario& scenario, Simulation& simulation,
                               host::SimulatedAovStream& stream, host::FakeAovStream& vendor,
                               Trace& trace, VirtualClock& clock, StepWatchdog* watchdog,
                               aon_tools::Console* console)
    : mScenario(scenario),
      mSimulation(simulation),
      mStream(stream),
      mVendor(vendor),
      mTrace(trace),
      mClock(clock),
      mWatchdog(watchdog),
      mConsole(console),
      mSensors(aon_tools::DefaultSensors()) {}

bool ScenarioRunner::Run(std::string* failure) {
    mVendor.SetSensors(mSensors);
    aon_tools::ApplyDefaultCameraDevices();
    mActionSeq = mTrace.NextSeq();
    for (const Command& command : mScenario.commands) {
        const std::string where = mScenario.path + ":" + std::to_string(command.line) + ": ";
        if (IsExpectation(command.body)) {
            const std::optional<std::string> failed = CheckExpectation(
                    command.body, CheckContext{mSimulation, mVendor, mTrace, mActionSeq});
            if (failed) {
                *failure = where + *failed;
                return false;
            }
            ++mExpectationsPassed;
            mTrace.Append(ExpectEntry{command.line, command.text});
            continue;
        }
        if (const auto* note = std::get_if<Note>(&command.body)) {
            mTrace.Append(NoteEntry{note->text});
            continue;
        }
        mActionSeq = mTrace.Append(StepEntry{command.line, command.text});
        if (NeedsService(command.body) && !mSimulation.StartService()) {
            *failure = where + "expected the service to be registered, got none";
            return false;
        }
        if (mWatchdog != nullptr) {
            mWatchdog->Begin(mScenario.path + ":" + std::to_string(command.line), command.text);
        }
        const aon_tools::ThreadWatch watch;
        std::string actFailure;
        const bool acted = Act(command, &actFailure);
        if (!watch.Wait(kStepTimeout)) {
            mTrace.Append(NoteEntry{"threads started by this step still run after 5 s"});
        }
        if (mWatchdog != nullptr) mWatchdog->End();
        if (!acted) {
            *failure = where + actFailure;
            return false;
        }
        if (const std::optional<Simulation::AnswerFailure> answer =
                    mSimulation.TakeAnswerFailure()) {
            *failure = mScenario.path + ":" + std::to_string(answer->line) + ": " + answer->text;
            return false;
        }
    }
    return true;
}

bool ScenarioRunner::Act(const Command& command, std::string* failure) {
    const CommandBody& body = command.body;
    if (const auto* property = std::get_if<PropertySet>(&body)) {
        property_set(property->name.c_str(), property->value.c_str());
    } else if (const auto* sensor = std::get_if<VendorSensor>(&body)) {
        ScriptSensor(*sensor);
    } else if (const auto* answer = std::get_if<VendorAnswer>(&body)) {
        const int32_t result = answer->ok ? 1 : 0;
        if (answer->call == VendorCall::kInit) mVendor.SetInitResult(result);
        if (answer->call == VendorCall::kUninit) mVendor.SetUninitResult(result);
        if (answer->call == VendorCall::kNotifySensorState) {
            mVendor.SetNotifySensorStateResult(result);
        }
    } else if (std::holds_alternative<VendorAbsent>(body)) {
        host::SetAovStreamInstance(nullptr);
        mTrace.Append(NoteEntry{"the device has no vendor stream"});
    } else if (const auto* client = std::get_if<ClientDeclare>(&body)) {
        mSimulation.AddClient(client->name, client->pid);
    } else if (const auto* call = std::get_if<ClientCall>(&body)) {
        const CallResult result = mSimulation.Call(*call);
        if (const std::optional<std::string> failed = CheckCallResult(call->expect, result)) {
            *failure = *failed;
            return false;
        }
    } else if (const auto* reaction = std::get_if<ClientReaction>(&body)) {
        mSimulation.SetReaction(*reaction, command.line);
    } else if (const auto* action = std::get_if<ClientAction>(&body)) {
        if (action->kind == ClientAction::Kind::kDies) mSimulation.Kill(action->client);
        if (action->kind != ClientAction::Kind::kDies) {
            mSimulation.SetPingFails(action->client,
                                     action->kind == ClientAction::Kind::kPingFails);
        }
    } else if (const auto* device = std::get_if<CameraDevice>(&body)) {
        host::SetSensorIdsOfDevice(device->instanceId, device->sensors);
    } else if (const auto* open = std::get_if<CameraOpen>(&body)) {
        if (open->sensors) host::SetSensorIdsOfDevice(open->instanceId, *open->sensors);
        mSimulation.OpenCamera(open->instanceId);
    } else if (const auto* close = std::get_if<CameraClose>(&body)) {
        mSimulation.CloseCamera(close->instanceId);
    } else if (const auto* frames = std::get_if<FrameSpec>(&body)) {
        Frames(*frames, command.line);
    } else if (const auto* wait = std::get_if<Wait>(&body)) {
        mClock.Advance(wait->micros);
    }
    return true;
}

void ScenarioRunner::ScriptSensor(const VendorSensor& sensor) {
    if (!mSensorsScripted) {
        mSensors.clear();  // the scenario's sensors replace the built-in ones
        mSensorsScripted = true;
    }
    auto found = std::find_if(mSensors.begin(), mSensors.end(),
                              [&](const host::FakeSensor& s) { return s.id == sensor.sensorId; });
    if (found == mSensors.end()) {
        host::FakeSensor added;
        added.id = sensor.sensorId;
        mSensors.push_back(added);
        found = mSensors.end() - 1;
    }
    if (sensor.size) {
        found->infos.push_back(host::MakeSensorInfo(sensor.size->width, sensor.size->height,
                                                    sensor.size->attribute, sensor.size->rates));
    }
    if (sensor.mode) found->mode = *sensor.mode;
    if (sensor.modeStatus) found->modeStatus = *sensor.modeStatus;
    mVendor.SetSensors(mSensors);
}

void ScenarioRunner::Frames(const FrameSpec& wanted, int line) {
    host::FrameOverrides overrides;
    overrides.frameId = wanted.frameId;
    overrides.width = wanted.width;
    overrides.height = wanted.height;
    overrides.serviceType = wanted.serviceType;
    overrides.apuOutputSize = wanted.apuOutputSize;
    overrides.fusionCount = wanted.fusionCount;
    overrides.image = wanted.image;
    overrides.debugImage = wanted.debugImage;
    const bool showProgress = mConsole != nullptr && wanted.count >= kProgressFrames;
    auto shown = std::chrono::steady_clock::now() - kProgressPeriod;
    for (int32_t i = 0; i < wanted.count; ++i) {
        if (showProgress && i % 64 == 0 &&
            std::chrono::steady_clock::now() - shown >= kProgressPeriod) {
            shown = std::chrono::steady_clock::now();
            mConsole->SetStatus("  line " + std::to_string(line) + ": frame " + std::to_string(i) +
                                " of " + std::to_string(wanted.count) + ", at " +
                                Seconds(mClock.NowMicros()) + " of virtual time");
        }
        // Each frame takes one frame time of the running stream.
        const std::vector<host::AovCallRecord> inits = mVendor.CallsOf(host::AovCall::kInit);
        const int32_t fps = inits.empty() ? 0 : inits.back().param.fps;
        if (mStream.DeliverFrame(overrides) && fps > 0) mClock.Advance(1000000 / fps);
        if (mWatchdog != nullptr) mWatchdog->Progress();
    }
    if (showProgress) mConsole->ClearStatus();
}

}  // namespace aon_sim

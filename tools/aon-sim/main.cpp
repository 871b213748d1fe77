// aon-sim: runs libtcam_hal_aon on a desk. It hosts the library as the camera process does and
// plays its clients, the camera stack and the vendor stream: a demonstration in real time, or a
// scenario file in virtual time with a deterministic trace and expectations.
#include <cutils/properties.h>
#include <malloc.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "host/DataAon.h"
#include "host/FakeAovStream.h"
#include "host/SimulatedAovStream.h"
#include "tools/aon-sim/Demo.h"
#include "tools/aon-sim/JsonRenderer.h"
#include "tools/aon-sim/LogTap.h"
#include "tools/aon-sim/Options.h"
#include "tools/aon-sim/ScenarioRunner.h"
#include "tools/aon-sim/Simulation.h"
#include "tools/aon-sim/SteadyClock.h"
#include "tools/aon-sim/StepWatchdog.h"
#include "tools/aon-sim/TextRenderer.h"
#include "tools/aon-sim/ThreadName.h"
#include "tools/aon-sim/Trace.h"
#include "tools/aon-sim/VirtualClock.h"
#include "tools/aon-sim/scenario/ScenarioParser.h"
#include "tools/common/Console.h"
#include "tools/common/DefaultDevice.h"
#include "tools/common/FrameSaver.h"

namespace aon_sim {
namespace {

constexpr int kExitOk = 0;
constexpr int kExitFailed = 1;
constexpr int kExitMalformed = 2;
constexpr int kExitStuck = 3;
constexpr char kRunnerThread[] = "aon-sim";
// A step of a scenario must end within this much real time (its library threads included), or
// the run ends with kExitStuck. Below the 5 s the runner gives the library's workers.
constexpr std::chrono::milliseconds kStepBound{4000};

// The library's objects live until the process ends, as in the camera process, which is never
// torn down in an orderly way: the run ends here without static destruction.
[[noreturn]] void Finish(int status) {
    std::fflush(stdout);
    std::fflush(stderr);
    std::_Exit(status);
}

bool MakeDirectory(const std::string& path, std::string* error) {
    if (mkdir(path.c_str(), 0755) == 0 || errno == EEXIST) return true;
    *error = path + ": " + std::strerror(errno);
    return false;
}

// The library writes its dumps into "/data/aon/" as it finds it: the directory must exist and take
// files, as on a device.
bool CheckDumpDirectory(const std::string& path, std::string* error) {
    struct stat status;
    if (path.empty() || stat(path.c_str(), &status) != 0) {
        *error = "'" + path + "': " + std::strerror(path.empty() ? ENOENT : errno);
        return false;
    }
    if (!S_ISDIR(status.st_mode)) {
        *error = "'" + path + "' is not a directory";
        return false;
    }
    if (access(path.c_str(), W_OK | X_OK) != 0) {
        *error = "'" + path + "': " + std::strerror(errno);
        return false;
    }
    return true;
}

// Runs the demonstration or the scenario and ends the process: what the library holds (clients,
// the trace it logs to) stays valid to the end.
[[noreturn]] void Run(const Options& options, const Scenario* scenario) {
    SetCurrentThreadName(kRunnerThread);
    const bool deterministic = scenario != nullptr;
    VirtualClock virtualClock;
    SteadyClock steadyClock;
    const Clock& clock = deterministic ? static_cast<const Clock&>(virtualClock) : steadyClock;

    Trace trace(clock);
    aon_tools::Console console(stdout);
    TextRenderer text(console, {options.foldFrames.value_or(!deterministic), kRunnerThread});
    JsonRenderer json(stdout);
    trace.AddSink(options.json ? static_cast<TraceSink*>(&json) : &text);
    const LogTap tap(trace, deterministic);

    if (options.dumpDir) {
        host::RedirectDataAon(*options.dumpDir);
        trace.Append(NoteEntry{"the library's /data/aon/ is " + *options.dumpDir});
    }
    for (const auto& [name, value] : options.properties) {
        property_set(name.c_str(), value.c_str());
        trace.Append(NoteEntry{"property " + name + " = " + value});
    }
    std::unique_ptr<aon_tools::FrameSaver> saver;
    if (!options.saveFrames.empty()) {
        std::string error;
        if (!MakeDirectory(options.saveFrames, &error)) {
            std::fprintf(stderr, "aon-sim: cannot save frames: %s\n", error.c_str());
            Finish(kExitMalformed);
        }
        saver = std::make_unique<aon_tools::FrameSaver>(options.saveFrames, options.frameColor);
    }

    Simulation simulation(trace, {options.values, saver.get()});
    host::SimulatedAovStream* stream = aon_tools::InstallSimulatedStream(
            deterministic ? host::SimulatedAovStream::Delivery::kOnCommand
                          : host::SimulatedAovStream::Delivery::kOwnThread,
            &simulation);
    host::FakeAovStream& vendor = host::FakeAovStream::Get();

    std::string failure;
    bool passed = true;
    int64_t expectations = 0;
    if (scenario != nullptr) {
        StepWatchdog watchdog(kStepBound, kExitStuck,
                              [&simulation](int pid) { return simulation.ProcessName(pid); });
        ScenarioRunner runner(*scenario, simulation, *stream, vendor, trace, virtualClock,
                              &watchdog,
                              options.json || !console.interactive() ? nullptr : &console);
        passed = runner.Run(&failure);
        expectations = runner.expectationsPassed();
    } else {
        Demo demo(simulation, *stream, trace,
                  options.json || !console.interactive() ? nullptr : &console,
                  options.demoSeconds);
        passed = demo.Run(&failure);
        if (!passed) failure = "aon-sim: demonstration failed: " + failure;
    }
    stream->Shutdown();
    Summary summary = simulation.MakeSummary(static_cast<double>(clock.NowMicros()) / 1e6);
    summary.expectationsPassed = expectations;
    trace.WriteSummary(summary);
    if (!passed) {
        std::fflush(stdout);
        std::fprintf(stderr, "%s\n", failure.c_str());
        Finish(kExitFailed);
    }
    Finish(kExitOk);
}

int Main(int argc, char** argv) {
    Options options;
    std::string error;
    if (!ParseOptions(argc, argv, &options, &error)) {
        std::fprintf(stderr, "aon-sim: %s\n\n%s", error.c_str(), Usage());
        return kExitMalformed;
    }
    if (options.help) {
        std::fputs(Usage(), stdout);
        return kExitOk;
    }
    if (options.check && options.scenarios.empty()) {
        std::fprintf(stderr, "aon-sim: --check needs scenario files\n");
        return kExitMalformed;
    }
    if (options.dumpDir && !CheckDumpDirectory(*options.dumpDir, &error)) {
        std::fprintf(stderr, "aon-sim: --dump-dir %s\n", error.c_str());
        return kExitMalformed;
    }
    // Every scenario is read and checked whole before anything runs.
    std::vector<Scenario> scenarios(options.scenarios.size());
    bool malformed = false;
    for (size_t i = 0; i < options.scenarios.size(); ++i) {
        std::vector<std::string> errors;
        if (!ParseScenarioFile(options.scenarios[i], &scenarios[i], &errors)) {
            for (const std::string& line : errors) std::fprintf(stderr, "%s\n", line.c_str());
            malformed = true;
        }
    }
    if (malformed) return kExitMalformed;
    if (options.check) {
        for (const Scenario& scenario : scenarios) {
            std::printf("%s: %zu commands, well formed\n", scenario.path.c_str(),
                        scenario.commands.size());
        }
        return kExitOk;
    }
    Run(options, scenarios.empty() ? nullptr : &scenarios.front());
}

}  // namespace
}  // namespace aon_sim

int main(int argc, char** argv) {
    // Every frame the library allocates its event's arrays afresh (an image is hundreds of
    // kilobytes): the allocator keeps such blocks in the heap, and the heap's top, for the next
    // frame, rather than mapping and faulting in new pages each time.
    mallopt(M_MMAP_THRESHOLD, 64 << 20);
    mallopt(M_TRIM_THRESHOLD, 256 << 20);
    aon_sim::Finish(aon_sim::Main(argc, argv));
}

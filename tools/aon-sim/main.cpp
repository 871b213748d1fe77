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
#include "tools/aon-sim/HtmlReport.h"
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

// A directory that exists and takes files, checked before anything runs, as every other mistake
// of the command line. Frames may go into one that `create` lets this make; the library writes its
// dumps into "/data/aon/" as it finds it, so a dump directory must already exist, as on a device.
bool CheckWritableDirectory(const std::string& path, bool create, std::string* error) {
    struct stat status;
    if (path.empty() || stat(path.c_str(), &status) != 0) {
        int cause = path.empty() ? ENOENT : errno;
        if (create && cause == ENOENT && !path.empty()) {
            if (mkdir(path.c_str(), 0755) == 0) return true;
            cause = errno;
        }
        *error = "'" + path + "': " + std::strerror(cause);
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
// the trace it logs to) stays valid to the end. `report` (open for writing) takes the HTML page.
[[noreturn]] void Run(const Options& options, const Scenario* scenario, FILE* report) {
    SetCurrentThreadName(kRunnerThread);
    const bool deterministic = scenario != nullptr;
    VirtualClock virtualClock;
    SteadyClock steadyClock;
    const Clock& clock = deterministic ? static_cast<const Clock&>(virtualClock) : steadyClock;

    Trace trace(clock);
    aon_tools::Console console(stdout);
    TextRenderer text(console,
                      {options.foldFrames.value_or(!deterministic), kRunnerThread, options.values});
    JsonRenderer json(stdout, options.values);
    trace.AddSink(options.json ? static_cast<TraceSink*>(&json) : &text);
    HtmlReport html(scenario != nullptr ? scenario->path : "demonstration");
    if (report != nullptr) trace.AddSink(&html);
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
        saver = std::make_unique<aon_tools::FrameSaver>(options.saveFrames, options.frameColor);
    }

    // The report draws detector values: the records carry the short ones even when the trace
    // does not show them.
    const aon_tools::ValueDetail values = options.values      ? aon_tools::ValueDetail::kAll
                                          : report != nullptr ? aon_tools::ValueDetail::kShort
                                                              : aon_tools::ValueDetail::kNone;
    Simulation simulation(trace, {values, saver.get()});
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
    if (saver != nullptr) {
        summary.imagesDirectory = saver->directory();
        summary.imagesSaved = saver->saved();
    }
    trace.WriteSummary(summary);
    if (report != nullptr) {
        const std::string page = html.Render();
        if (std::fwrite(page.data(), 1, page.size(), report) != page.size() ||
            std::fclose(report) != 0) {
            std::fprintf(stderr, "aon-sim: --report %s: %s\n", options.report->c_str(),
                         std::strerror(errno));
        }
    }
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
        std::fprintf(stderr,
                     "aon-sim: %s\nRun 'aon-sim --help' for the options; the scenario language "
                     "is described in docs/AON-SIM.md.\n",
                     error.c_str());
        return kExitMalformed;
    }
    if (options.help) {
        std::fputs(Usage().c_str(), stdout);
        return kExitOk;
    }
    for (const std::string& warning : options.warnings) {
        std::fprintf(stderr, "aon-sim: warning: %s\n", warning.c_str());
    }
    if (options.check && options.scenarios.empty()) {
        std::fprintf(stderr, "aon-sim: --check needs scenario files\n");
        return kExitMalformed;
    }
    if (options.dumpDir && !CheckWritableDirectory(*options.dumpDir, false, &error)) {
        std::fprintf(stderr, "aon-sim: --dump-dir %s\n", error.c_str());
        return kExitMalformed;
    }
    if (!options.saveFrames.empty() && !options.check &&
        !CheckWritableDirectory(options.saveFrames, true, &error)) {
        std::fprintf(stderr, "aon-sim: --save-frames %s\n", error.c_str());
        return kExitMalformed;
    }
    // Every scenario is read and checked whole before anything runs.
    std::vector<Scenario> scenarios(options.scenarios.size());
    bool malformed = false;
    for (size_t i = 0; i < options.scenarios.size(); ++i) {
        std::vector<std::string> errors;
        std::vector<std::string> warnings;
        if (!ParseScenarioFile(options.scenarios[i], &scenarios[i], &errors, &warnings)) {
            for (const std::string& line : errors) std::fprintf(stderr, "%s\n", line.c_str());
            malformed = true;
        }
        for (const std::string& line : warnings) std::fprintf(stderr, "%s\n", line.c_str());
    }
    if (malformed) return kExitMalformed;
    if (options.check) {
        for (const Scenario& scenario : scenarios) {
            std::printf("%s: %zu commands, well formed\n", scenario.path.c_str(),
                        scenario.commands.size());
        }
        return kExitOk;
    }
    // The report's file is opened before anything runs: a path that cannot take it is a mistake
    // of the command line.
    FILE* report = nullptr;
    if (options.report) {
        report = std::fopen(options.report->c_str(), "w");
        if (report == nullptr) {
            std::fprintf(stderr, "aon-sim: --report '%s': %s\n", options.report->c_str(),
                         std::strerror(errno));
            return kExitMalformed;
        }
    }
    Run(options, scenarios.empty() ? nullptr : &scenarios.front(), report);
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

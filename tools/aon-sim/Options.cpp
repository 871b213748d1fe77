#include "tools/aon-sim/Options.h"

#include <CLI/CLI.hpp>

#include <cmath>
#include <cstdlib>
#include <memory>
#include <optional>

#include "tools/aon-sim/scenario/PropertyNames.h"

namespace aon_sim {
namespace {

// The longest demonstration: an hour of frames in real time.
constexpr double kMaxDemoSeconds = 3600;

// What the parser fills before the values are checked.
struct Raw {
    std::string demoSeconds;
    std::string frameColor;
    std::vector<std::string> properties;
    bool fold = false;
    bool noFold = false;
    bool quick = false;
};

std::unique_ptr<CLI::App> MakeApp(Options* options, Raw* raw) {
    auto app = std::make_unique<CLI::App>(
            "Hosts libtcam_hal_aon as the camera process does and plays its clients, the camera\n"
            "stack and the vendor stream. Without a scenario it runs a demonstration in real "
            "time;\n"
            "a scenario file runs in virtual time with a deterministic trace.",
            "aon-sim");
    app->set_help_flag("-h,--help", "this text");
    app->add_option("scenario", options->scenarios,
                    "a scenario file (the language: docs/AON-SIM.md)")
            ->type_name("SCENARIO.aonsim");
    app->add_flag("--json", options->json, "JSON lines instead of the readable timeline");
    app->add_flag("--values", options->values, "show result values (long arrays as a digest)");
    app->add_option("--report", options->report,
                    "write a picture of the run as one self-contained HTML page")
            ->type_name("FILE.html");
    app->add_option("--save-frames", options->saveFrames,
                    "write the images clients receive as PNG files into DIR")
            ->type_name("DIR");
    app->add_option("--frame-color", raw->frameColor,
                    "gray (the Y plane, default), or nv12, nv21, i420 (RGB)")
            ->type_name("C");
    app->add_option("--property", raw->properties,
                    "set a system property before anything runs (repeatable)")
            ->type_name("NAME=VALUE")
            ->allow_extra_args(false);
    app->add_option("--dump-dir", options->dumpDir,
                    "the library's \"/data/aon/\" files go into DIR (which must exist);\n"
                    "tarvo.aon.hal.mtk_dump_apu=1 turns the dumps on")
            ->type_name("DIR");
    app->add_flag("--fold-frames", raw->fold,
                  "fold the frame traffic of a running stream into one line\n"
                  "(default: on in the demonstration, off in scenarios)");
    app->add_flag("--no-fold-frames", raw->noFold, "one line per frame and event");
    app->add_option("--demo-seconds", raw->demoSeconds,
                    "length of the demonstration, above 0 and up to 3600 (default 4)")
            ->type_name("S");
    app->add_flag("--quick", raw->quick, "a one-second demonstration");
    app->add_flag("--check", options->check, "only read and check the scenario files");
    app->footer(
            "The scenario language, the trace and the report: docs/AON-SIM.md.\n"
            "Example scenarios: tools/scenarios/*.aonsim.\n"
            "\n"
            "Exit status: 0 done, 1 an expectation failed, 2 a scenario or the command line is\n"
            "malformed (nothing has run), 3 a step did not finish within 4 s (stuck threads on\n"
            "stderr).");
    return app;
}

// Checks and converts what the parser could not.
bool Check(const Raw& raw, Options* options, std::string* error) {
    if (!raw.frameColor.empty() &&
        !aon_tools::FrameSaver::ParseColor(raw.frameColor, &options->frameColor)) {
        *error = "--frame-color takes gray, nv12, nv21 or i420, not '" + raw.frameColor + "'";
        return false;
    }
    if (raw.fold && raw.noFold) {
        *error = "--fold-frames and --no-fold-frames exclude each other";
        return false;
    }
    if (raw.quick && !raw.demoSeconds.empty()) {
        *error = "--quick and --demo-seconds exclude each other";
        return false;
    }
    if (raw.fold) options->foldFrames = true;
    if (raw.noFold) options->foldFrames = false;
    if (raw.quick) options->demoSeconds = 1.0;
    if (!raw.demoSeconds.empty()) {
        char* end = nullptr;
        const double value = std::strtod(raw.demoSeconds.c_str(), &end);
        if (end == raw.demoSeconds.c_str() || *end != '\0' || !(value > 0) ||
            value > kMaxDemoSeconds) {
            *error = "--demo-seconds takes a number of seconds above 0 and up to 3600, not '" +
                     raw.demoSeconds + "'";
            return false;
        }
        options->demoSeconds = value;
    }
    for (const std::string& property : raw.properties) {
        const size_t equals = property.find('=');
        if (equals == std::string::npos || equals == 0) {
            *error = "--property takes NAME=VALUE, not '" + property + "'";
            return false;
        }
        options->properties.emplace_back(property.substr(0, equals), property.substr(equals + 1));
        const std::string& name = options->properties.back().first;
        if (const std::optional<std::string> meant = NearPropertyName(name)) {
            options->warnings.push_back("--property " + NearPropertyWarning(name, *meant));
        }
    }
    if (options->scenarios.size() > 1 && !options->check) {
        *error = "one scenario per run (the library's singletons live as long as the process)";
        return false;
    }
    if (options->report && options->report->empty()) {
        *error = "--report takes a file name";
        return false;
    }
    return true;
}

}  // namespace

std::string Usage() {
    Options options;
    Raw raw;
    return MakeApp(&options, &raw)->help();
}

bool ParseOptions(int argc, char** argv, Options* options, std::string* error) {
    Raw raw;
    const std::unique_ptr<CLI::App> app = MakeApp(options, &raw);
    try {
        app->parse(argc, argv);
    } catch (const CLI::CallForHelp&) {
        options->help = true;
        return true;
    } catch (const CLI::ParseError& failure) {
        *error = failure.what();
        return false;
    }
    return Check(raw, options, error);
}

}  // namespace aon_sim

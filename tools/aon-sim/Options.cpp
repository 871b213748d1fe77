#include "tools/aon-sim/Options.h"

#include <cstdlib>

namespace aon_sim {

const char* Usage() {
    return "usage: aon-sim [options] [SCENARIO.aonsim]\n"
           "\n"
           "Hosts libtcam_hal_aon as the camera process does and plays its clients, the camera\n"
           "stack and the vendor stream. Without a scenario it runs a demonstration in real time.\n"
           "\n"
           "  --json                JSON lines instead of the readable timeline\n"
           "  --values              show result values (long arrays as a digest)\n"
           "  --save-frames DIR     write the images clients receive as PNG files into DIR\n"
           "  --frame-color C       gray (the Y plane, default), or nv12, nv21, i420 (RGB)\n"
           "  --property NAME=VALUE set a system property before anything runs (repeatable)\n"
           "  --dump-dir DIR        the library's \"/data/aon/\" files go into DIR (which must\n"
           "                        exist); tarvo.aon.hal.mtk_dump_apu=1 turns the dumps on\n"
           "  --fold-frames / --no-fold-frames\n"
           "                        fold the frame traffic of a running stream into one line\n"
           "  --demo-seconds S      length of the demonstration (default 4)\n"
           "  --quick               a one-second demonstration\n"
           "  --check               only read and check the scenario files\n"
           "  -h, --help            this text\n"
           "\n"
           "Exit status: 0 done, 1 an expectation failed, 2 a scenario or the command line is\n"
           "malformed (nothing has run), 3 a step did not finish within 4 s (stuck threads on\n"
           "stderr).\n";
}

bool ParseOptions(int argc, char** argv, Options* options, std::string* error) {
    for (int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        auto value = [&](std::string* out) {
            if (i + 1 >= argc) {
                *error = arg + " needs a value";
                return false;
            }
            *out = argv[++i];
            return true;
        };
        std::string text;
        if (arg == "-h" || arg == "--help") {
            options->help = true;
        } else if (arg == "--json") {
            options->json = true;
        } else if (arg == "--values") {
            options->values = true;
        } else if (arg == "--check") {
            options->check = true;
        } else if (arg == "--quick") {
            options->demoSeconds = 1.0;
        } else if (arg == "--fold-frames") {
            options->foldFrames = true;
        } else if (arg == "--no-fold-frames") {
            options->foldFrames = false;
        } else if (arg == "--save-frames") {
            if (!value(&options->saveFrames)) return false;
        } else if (arg == "--dump-dir") {
            if (!value(&text)) return false;
            options->dumpDir = text;
        } else if (arg == "--frame-color") {
            if (!value(&text)) return false;
            if (!aon_tools::FrameSaver::ParseColor(text, &options->frameColor)) {
                *error = "--frame-color takes gray, nv12, nv21 or i420, not '" + text + "'";
                return false;
            }
        } else if (arg == "--demo-seconds") {
            if (!value(&text)) return false;
            char* end = nullptr;
            options->demoSeconds = std::strtod(text.c_str(), &end);
            if (end == text.c_str() || *end != '\0' || !(options->demoSeconds > 0) ||
                options->demoSeconds > 3600) {
                *error = "--demo-seconds takes a number of seconds above 0, not '" + text + "'";
                return false;
            }
        } else if (arg == "--property") {
            if (!value(&text)) return false;
            const size_t equals = text.find('=');
            if (equals == std::string::npos || equals == 0) {
                *error = "--property takes NAME=VALUE, not '" + text + "'";
                return false;
            }
            options->properties.emplace_back(text.substr(0, equals), text.substr(equals + 1));
        } else if (!arg.empty() && arg[0] == '-') {
            *error = "unknown option " + arg;
            return false;
        } else {
            options->scenarios.push_back(arg);
        }
    }
    if (options->scenarios.size() > 1 && !options->check) {
        *error = "one scenario per run (the library's singletons live as long as the process)";
        return false;
    }
    return true;
}

}  // namespace aon_sim

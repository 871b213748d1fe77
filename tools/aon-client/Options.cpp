#include "tools/aon-client/Options.h"

#include <getopt.h>

#include <cerrno>
#include <cstdlib>

#include <aidl/vendor/tarvo/hardware/camera/aon/IAONService.h>

#include "tools/aon-client/Platform.h"

namespace aon_client {
namespace {

enum Option : int {
    kInstance = 1000,
    kWait,
    kList,
    kSensor,
    kSize,
    kFps,
    kTypes,
    kRegisterTypes,
    kStartTypes,
    kMode,
    kDuration,
    kEvents,
    kJson,
    kValues,
    kBrief,
    kSaveFrames,
    kFrameFormat,
    kKillServiceAfter,
    kHelp,
};

// Whole text as a number: decimal, or hexadecimal after 0x; `min` to `max`.
bool ParseInteger(const char* text, int64_t min, int64_t max, int64_t* value) {
    if (*text == '\0' || *text == ' ' || *text == '+') return false;
    const bool hex = text[0] == '0' && (text[1] == 'x' || text[1] == 'X');
    char* end = nullptr;
    errno = 0;
    const long long parsed = std::strtoll(text, &end, hex ? 16 : 10);
    if (errno != 0 || *end != '\0' || (hex && text[2] == '\0')) return false;
    if (parsed < min || parsed > max) return false;
    *value = parsed;
    return true;
}

// Longer waits and runs than this are mistakes (and would overflow the clocks).
constexpr double kMaxSeconds = 1e7;

bool ParseSeconds(const char* text, double* seconds) {
    char* end = nullptr;
    errno = 0;
    const double parsed = std::strtod(text, &end);
    if (*text == '\0' || *text == ' ' || errno != 0 || *end != '\0' || !(parsed >= 0) ||
        parsed > kMaxSeconds) {
        return false;
    }
    *seconds = parsed;
    return true;
}

bool ParseSize(const std::string& text, Size* size) {
    const size_t x = text.find('x');
    if (x == std::string::npos) return false;
    int64_t width = 0;
    int64_t height = 0;
    const std::string first = text.substr(0, x);
    const std::string second = text.substr(x + 1);
    for (const std::string* part : {&first, &second}) {
        if (part->empty() || part->find_first_not_of("0123456789") != std::string::npos) {
            return false;
        }
    }
    if (!ParseInteger(first.c_str(), 1, INT32_MAX, &width) ||
        !ParseInteger(second.c_str(), 1, INT32_MAX, &height)) {
        return false;
    }
    *size = Size{static_cast<int32_t>(width), static_cast<int32_t>(height)};
    return true;
}

}  // namespace

std::string Usage() {
    std::string text =
            "usage: aon-client [options]\n"
            "\n"
            "A client of the always-on camera service: lists the sensors, registers, subscribes,\n"
            "starts, prints every sensor state and event it receives, then stops, unsubscribes\n"
            "and unregisters. Ctrl-C ends the run the same way; a second Ctrl-C exits at once.\n"
            "\n"
            "The session:\n"
            "  --list                  only list the sensors\n"
            "  --sensor ID             sensor to subscribe (default: the first one listed)\n"
            "  --size WxH              frame size (default: the sensor's first size)\n"
            "  --fps N                 frame rate (default: the lowest rate of that size)\n"
            "  --types MASK            service types to subscribe and start, decimal or 0x\n"
            "                          hex: 1 fusion, 2 face angle, 4 gaze, 8 face feature\n"
            "                          (default 0xf)\n"
            "  --register-types MASK   types declared at registration (default: --types)\n"
            "  --start-types MASK      types started (default: --types)\n"
            "  --mode N                delivery mode (default 1, time based)\n"
            "  --duration SECONDS      how long to run after the start (default 10; 0: until\n"
            "                          Ctrl-C)\n"
            "  --events N              stop after N events\n"
            "Output:\n"
            "  --json                  JSON lines: one object per record, \"kind\" first\n"
            "  --values                result values too (arrays of more than 32 elements as a\n"
            "                          digest)\n"
            "  --brief                 one line per event, without its results\n"
            "  --save-frames DIR       write every image received into DIR (which must exist)\n"
            "  --frame-format F        pgm (the luma plane, default), yuv (the raw 4:2:0 buffer,\n"
            "                          its stride and height in the name)";
    text += CanWritePng() ? ", png (the luma plane)\n" : "\n";
    text += "The service:\n"
            "  --instance NAME         (default " +
            std::string(aidl::vendor::tarvo::hardware::camera::aon::IAONService::descriptor) +
            "/default)\n"
            "  --wait SECONDS          how long to wait for the service to appear (default 5)\n"
            "  -h, --help              this text\n"
            "\n"
            "Exit status: 0 every call succeeded; 1 the service refused a call; 2 the\n"
            "command line is wrong or names a sensor the service does not list; 3 the\n"
            "service cannot be found or died; 130 interrupted twice.\n"
            "This is the " +
            std::string(PlatformName()) + " program.\n";
    return text;
}

bool ParseOptions(int argc, char** argv, Options* options, std::string* error) {
    static const option kOptions[] = {
            {"instance", required_argument, nullptr, kInstance},
            {"wait", required_argument, nullptr, kWait},
            {"list", no_argument, nullptr, kList},
            {"sensor", required_argument, nullptr, kSensor},
            {"size", required_argument, nullptr, kSize},
            {"fps", required_argument, nullptr, kFps},
            {"types", required_argument, nullptr, kTypes},
            {"register-types", required_argument, nullptr, kRegisterTypes},
            {"start-types", required_argument, nullptr, kStartTypes},
            {"mode", required_argument, nullptr, kMode},
            {"duration", required_argument, nullptr, kDuration},
            {"events", required_argument, nullptr, kEvents},
            {"json", no_argument, nullptr, kJson},
            {"values", no_argument, nullptr, kValues},
            {"brief", no_argument, nullptr, kBrief},
            {"save-frames", required_argument, nullptr, kSaveFrames},
            {"frame-format", required_argument, nullptr, kFrameFormat},
            // The host's test drill (not in the usage text).
            {"kill-service-after", required_argument, nullptr, kKillServiceAfter},
            {"help", no_argument, nullptr, kHelp},
            {nullptr, 0, nullptr, 0},
    };
    options->instance =
            std::string(aidl::vendor::tarvo::hardware::camera::aon::IAONService::descriptor) +
            "/default";
    opterr = 0;  // the messages are ours
    optind = 1;
    for (;;) {
        const int previous = optind;
        const int option = getopt_long(argc, argv, "+:h", kOptions, nullptr);
        if (option == -1) break;
        std::string name = argv[previous];
        name = name.substr(0, name.find('='));
        const char* value = optarg;
        int64_t number = 0;
        // Masks keep their bits up to 0xffffffff.
        auto mask = [&](int32_t* out) {
            if (!ParseInteger(value, 0, UINT32_MAX, &number)) {
                *error = name + " takes a mask, decimal or 0x hex, not '" + value + "'";
                return false;
            }
            *out = static_cast<int32_t>(static_cast<uint32_t>(number));
            return true;
        };
        auto integer = [&](int64_t min, int64_t max, const char* what) {
            if (!ParseInteger(value, min, max, &number)) {
                *error = name + " takes " + what + ", not '" + value + "'";
                return false;
            }
            return true;
        };
        int32_t maskValue = 0;
        switch (option) {
            case kInstance:
                options->instance = value;
                break;
            case kWait:
                if (!ParseSeconds(value, &options->waitSeconds)) {
                    *error = name + " takes a number of seconds, not '" + value + "'";
                    return false;
                }
                break;
            case kList:
                options->listOnly = true;
                break;
            case kSensor:
                if (!integer(INT32_MIN, INT32_MAX, "a sensor id")) return false;
                options->sensor = static_cast<int32_t>(number);
                break;
            case kSize: {
                Size size;
                if (!ParseSize(value, &size)) {
                    *error = name + " takes WIDTHxHEIGHT, e.g. 640x480, not '" + value + "'";
                    return false;
                }
                options->size = size;
                break;
            }
            case kFps:
                if (!integer(1, INT32_MAX, "a frame rate above 0")) return false;
                options->fps = static_cast<int32_t>(number);
                break;
            case kTypes:
                if (!mask(&options->types)) return false;
                break;
            case kRegisterTypes:
                if (!mask(&maskValue)) return false;
                options->registerTypes = maskValue;
                break;
            case kStartTypes:
                if (!mask(&maskValue)) return false;
                options->startTypes = maskValue;
                break;
            case kMode:
                if (!integer(INT32_MIN, INT32_MAX, "a delivery mode")) return false;
                options->mode = static_cast<int32_t>(number);
                break;
            case kDuration:
                if (!ParseSeconds(value, &options->durationSeconds)) {
                    *error = name + " takes a number of seconds, not '" + value + "'";
                    return false;
                }
                break;
            case kEvents:
                if (!integer(1, INT64_MAX, "a number of events above 0")) return false;
                options->events = number;
                break;
            case kJson:
                options->json = true;
                break;
            case kValues:
                options->values = true;
                break;
            case kBrief:
                options->brief = true;
                break;
            case kSaveFrames:
                options->saveFrames = value;
                if (options->saveFrames.empty()) {
                    *error = name + " takes a directory";
                    return false;
                }
                break;
            case kFrameFormat:
                if (!ParseFrameFormat(value, &options->frameFormat) ||
                    (options->frameFormat == FrameFormat::kPng && !CanWritePng())) {
                    *error = name + std::string(" takes pgm or yuv") +
                             (CanWritePng() ? " or png" : "") + ", not '" + value + "'";
                    return false;
                }
                break;
            case kKillServiceAfter:
                if (!CanKillService()) {
                    *error = name + " is a test drill of the host program";
                    return false;
                }
                if (!integer(1, INT64_MAX, "a number of events above 0")) return false;
                options->killServiceAfter = number;
                break;
            case 'h':
            case kHelp:
                options->help = true;
                break;
            case ':':
                *error = name + " needs a value";
                return false;
            default:
                *error = "unknown option '" + name + "'";
                return false;
        }
    }
    if (optind < argc) {
        *error = std::string("unexpected argument '") + argv[optind] + "'";
        return false;
    }
    return true;
}

}  // namespace aon_client

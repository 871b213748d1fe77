// aon-client: a client of the always-on camera service from a shell. On a device it is a vendor
// binary that talks to the service in the camera HAL process; on a desk the same program hosts the
// library in-process on the simulated vendor stream (Platform.h says what differs).
#include <sys/stat.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "tools/aon-client/Options.h"
#include "tools/aon-client/Output.h"
#include "tools/aon-client/Platform.h"
#include "tools/aon-client/Printer.h"
#include "tools/aon-client/RunControl.h"
#include "tools/aon-client/Session.h"

namespace aon_client {
namespace {

// The process ends without static destruction: binder threads (and on a desk the library's own
// threads) may still be running, and may still call into what the run built.
[[noreturn]] void Finish(int status) {
    std::fflush(stdout);
    std::fflush(stderr);
    std::_Exit(status);
}

[[noreturn]] void Main(int argc, char** argv) {
    const Printer::Clock::time_point start = Printer::Clock::now();
    RunControl::BlockInterrupts();
    Options options;
    std::string error;
    if (!ParseOptions(argc, argv, &options, &error)) {
        std::fprintf(stderr, "aon-client: %s\n(aon-client --help shows the options)\n",
                     error.c_str());
        Finish(kExitUsage);
    }
    if (options.help) {
        std::fputs(Usage().c_str(), stdout);
        Finish(kExitOk);
    }
    if (!options.saveFrames.empty() && mkdir(options.saveFrames.c_str(), 0755) != 0 &&
        errno != EEXIST) {
        std::fprintf(stderr, "aon-client: cannot save frames in %s: %s\n",
                     options.saveFrames.c_str(), std::strerror(errno));
        Finish(kExitUsage);
    }
    RunControl control;
    control.StartSignalThread();
    PreparePlatform();
    Output output(stdout, options.saveFrames, options.frameFormat);
    const Printer printer(options.json, options.values, options.brief, start);
    Session session(options, control, output, printer);
    const int status = session.Run();
    output.Close();
    Finish(status);
}

}  // namespace
}  // namespace aon_client

int main(int argc, char** argv) {
    aon_client::Main(argc, argv);
}

// The device side of the target test: the service runs in the camera HAL process, and a client
// that dies is a child process. The child is this test binary started afresh (fork, then exec
// before the child does anything else), because a process forked from one that already uses
// binder cannot use binder itself.
#include <android/binder_process.h>
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "tests/vts/ClientProcess.h"

namespace aon_vts {
namespace {

// argv[1] of the child; then the instance, the write end of the pipe back to the test, and the
// configuration's fields as "sensorId,width,height,fps,serviceType,deliveryMode".
constexpr char kChildFlag[] = "--aon-client-that-dies";
constexpr int kChildTimeoutMs = 10000;

// The child: plays the client through binder, reports "handle <n>" or "error <what>" on the pipe
// (one short write, which a pipe takes whole), then dies without unsubscribing or unregistering.
[[noreturn]] void PlayClientThatDies(char** argv) {
    const std::string instance = argv[2];
    const int reportFd = std::atoi(argv[3]);
    SensorConfigInfo config;
    if (std::sscanf(argv[4], "%d,%d,%d,%d,%d,%d", &config.sensorId, &config.frameWidth,
                    &config.frameHeight, &config.fps, &config.serviceType,
                    &config.deliveryMode) != 6) {
        _exit(2);
    }
    ABinderProcess_setThreadPoolMaxThreadCount(1);
    ABinderProcess_startThreadPool();
    std::shared_ptr<IAONService> service = GetService(instance);
    int64_t handle = 0;
    const std::string error =
            service == nullptr ? "no service " + instance
                               : RegisterSubscribeStart(
                                         *service, ::ndk::SharedRefBase::make<RecordingCallback>(),
                                         config, &handle);
    const std::string report =
            error.empty() ? "handle " + std::to_string(handle) : "error " + error;
    _exit(write(reportFd, report.data(), report.size()) < 0 ? 1 : 0);
}

}  // namespace

int PrepareProcess(int argc, char** argv) {
    if (argc == 5 && std::string(argv[1]) == kChildFlag) PlayClientThatDies(argv);
    return -1;
}

void PlaceInTestProcess(const ::ndk::SpAIBinder& /*binder*/) {}

DeadClient RunClientThatDies(const std::string& instance, const SensorConfigInfo& config) {
    DeadClient client;
    int pipeFds[2];
    if (pipe2(pipeFds, O_CLOEXEC) != 0) {
        client.error = "pipe2 failed";
        return client;
    }
    // Everything the child needs is made before the fork: between fork and exec it only clears
    // close-on-exec on the write end and execs.
    const std::string fields =
            std::to_string(config.sensorId) + "," + std::to_string(config.frameWidth) + "," +
            std::to_string(config.frameHeight) + "," + std::to_string(config.fps) + "," +
            std::to_string(config.serviceType) + "," + std::to_string(config.deliveryMode);
    const std::vector<std::string> args = {"/proc/self/exe", kChildFlag, instance,
                                           std::to_string(pipeFds[1]), fields};
    std::vector<char*> argv;
    for (const std::string& arg : args) argv.push_back(const_cast<char*>(arg.c_str()));
    argv.push_back(nullptr);

    const pid_t pid = fork();
    if (pid == 0) {
        fcntl(pipeFds[1], F_SETFD, 0);
        execv(argv[0], argv.data());
        _exit(127);
    }
    close(pipeFds[1]);
    if (pid < 0) {
        close(pipeFds[0]);
        client.error = "fork failed";
        return client;
    }
    // The child writes its report in one write and dies; a child that dies first closes the pipe.
    pollfd readable = {pipeFds[0], POLLIN, 0};
    char report[256];
    const ssize_t n = poll(&readable, 1, kChildTimeoutMs) > 0 ? read(pipeFds[0], report, 255) : -1;
    close(pipeFds[0]);
    if (n < 0) kill(pid, SIGKILL);
    waitpid(pid, nullptr, 0);
    report[std::max<ssize_t>(n, 0)] = '\0';
    if (n < 0) {
        client.error = "the client process did not report in time; it was killed";
    } else if (std::strncmp(report, "handle ", 7) == 0) {
        client.handle = std::atoll(report + 7);
    } else {
        client.error = n == 0 ? "the client process reported nothing" : report;
    }
    return client;
}

bool WaitForDeathHandled(const std::function<bool()>& handled, std::chrono::milliseconds timeout) {
    // The camera HAL process gives no sign to other processes when it has dealt with a death, so
    // this asks again every 10 ms until it holds or the time is up.
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    for (;;) {
        if (handled()) return true;
        if (std::chrono::steady_clock::now() >= deadline) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
}

}  // namespace aon_vts

// The host aon-client as a user runs it: its whole course in text and in JSON lines, the clean-up
// on SIGINT (sent while frames flow), the death of the service, and the exits on bad input. The
// library's log (stderr on the host) shows what the service itself did.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

extern char** environ;

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::seconds;

constexpr seconds kTimeout{30};

// One run of the program: its stdout read as it comes, its stderr kept in a memory file and read
// at the end. Every wait is bounded; a run that outlives its test is killed.
class ClientRun final {
  public:
    explicit ClientRun(std::vector<std::string> args) {
        args.insert(args.begin(), AON_CLIENT_PATH);
        int out[2];
        mErrFd = memfd_create("aon-client-stderr", MFD_CLOEXEC);
        if (mErrFd < 0 || pipe2(out, O_CLOEXEC) != 0) return;
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_adddup2(&actions, out[1], STDOUT_FILENO);
        posix_spawn_file_actions_adddup2(&actions, mErrFd, STDERR_FILENO);
        std::vector<char*> argv;
        for (std::string& arg : args) argv.push_back(arg.data());
        argv.push_back(nullptr);
        if (posix_spawn(&mPid, argv[0], &actions, nullptr, argv.data(), environ) != 0) mPid = -1;
        posix_spawn_file_actions_destroy(&actions);
        close(out[1]);
        mOutFd = out[0];
    }

    ~ClientRun() {
        if (mPid > 0) {
            kill(mPid, SIGKILL);
            waitpid(mPid, nullptr, 0);
        }
        close(mOutFd);
        close(mErrFd);
    }

    // True once stdout holds a match of `pattern`.
    bool WaitForOutput(const std::string& pattern) {
        const std::regex re(pattern);
        const Clock::time_point deadline = Clock::now() + kTimeout;
        while (!std::regex_search(mOut, re)) {
            if (!Read(deadline)) return false;
        }
        return true;
    }

    void Signal(int signal) { kill(mPid, signal); }

    // The exit status (128 + the signal for a killed run), or -1 when stdout did not close in
    // time (the run is then killed). stdout closes when the program exits.
    int Wait() {
        const Clock::time_point deadline = Clock::now() + kTimeout;
        while (Read(deadline)) {
        }
        if (!mClosed) return -1;
        int status = 0;
        waitpid(mPid, &status, 0);
        mPid = -1;
        mErr.resize(static_cast<size_t>(std::max<off_t>(0, lseek(mErrFd, 0, SEEK_END))));
        if (pread(mErrFd, mErr.data(), mErr.size(), 0) < 0) mErr.clear();
        // The program ends with _Exit, before a sanitizer could change its status: read its report.
        EXPECT_EQ(mErr.find("Sanitizer"), std::string::npos) << mErr;
        return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    }

    const std::string& out() const { return mOut; }
    const std::string& err() const { return mErr; }

  private:
    static int64_t MillisecondsTo(Clock::time_point deadline) {
        return std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now())
                .count();
    }
    // Reads what stdout has; false at its end or at the deadline.
    bool Read(Clock::time_point deadline) {
        pollfd readable = {mOutFd, POLLIN, 0};
        const int64_t left = MillisecondsTo(deadline);
        if (left <= 0 || poll(&readable, 1, static_cast<int>(left)) <= 0) return false;
        char chunk[65536];
        const ssize_t n = read(mOutFd, chunk, sizeof(chunk));
        mClosed = n == 0;
        if (n <= 0) return false;
        mOut.append(chunk, static_cast<size_t>(n));
        return true;
    }

    pid_t mPid = -1;
    int mOutFd = -1;
    int mErrFd = -1;
    bool mClosed = false;
    std::string mOut;
    std::string mErr;
};

// Each pattern matches `text` after the match of the one before.
void ExpectInOrder(const std::string& text, const std::vector<std::string>& patterns) {
    size_t at = 0;
    for (const std::string& pattern : patterns) {
        std::smatch match;
        const std::string rest = text.substr(at);
        if (!std::regex_search(rest, match, std::regex(pattern))) {
            ADD_FAILURE() << "no '" << pattern << "' after offset " << at << " of:\n" << text;
            return;
        }
        at += static_cast<size_t>(match.position(0) + match.length(0));
    }
}

// The program's JSON lines (parsing throws on a line that is not JSON).
std::vector<nlohmann::json> Records(const std::string& out) {
    std::vector<nlohmann::json> records;
    std::istringstream lines(out);
    for (std::string line; std::getline(lines, line);)
        records.push_back(nlohmann::json::parse(line));
    return records;
}

TEST(AonClientProgramTest, RunsTheWholeCourseAndLeavesTheServiceClean) {
    // Made by the program.
    const std::string frames =
            ::testing::TempDir() + "aon-client-frames-" + std::to_string(getpid());
    std::filesystem::remove_all(frames);
    ClientRun run({"--events", "3", "--values", "--save-frames", frames, "--duration", "20"});
    ASSERT_EQ(run.Wait(), 0) << run.out() << run.err();
    // The clean-up calls are checked by the interrupt below.
    ExpectInOrder(
            run.out(),
            {R"(service  vendor\.tarvo\.hardware\.camera\.aon\.IAONService/default: version 1, )"
             R"(hash 8d0c8f312ebf7c4e6a50ebba9432d2bde93c09c2)",
             R"(sensor   0: types 0x3f \(fusion, face angle, gaze, face feature, type 16, type )"
             R"(32\), param1 0, param2 1\n +640x480 at 5, 10, 15, 30 fps\n +320x240 at)",
             R"(call     subscribeSensor\(1, sensor 0, 640x480, 5 fps, types 0xf, mode 1\) -> ok)",
             R"(state    sensor 0: started \(1\))",
             R"(event    frame 1, types 0xf \(fusion, face angle, gaze, face feature\), 14 results)",
             R"(\n +100 fusion rotate angle +floatValue = -?[0-9.e-]+\n)",
             R"( +703 image +byteArray\[460800\] = "fnv1a:[0-9a-f]{8}")",
             R"(summary  3 events, [0-9.]+ per second\n +frame ids 1 to 3, 0 not received in 0 )"
             R"(gaps\n +sensor states: 0:started 0:idle\n +3 frames saved in )" +
                     frames + R"( \(pgm\)\n +left the service clean)"});
    // The service's side: the client unregistered itself; it did not merely die.
    EXPECT_NE(run.err().find("RemoteCallbackManager: unregister client:1"), std::string::npos);
    EXPECT_EQ(run.err().find("remote callback died"), std::string::npos);
    // The luma plane, cropped to the frame width, under a 15-byte header.
    EXPECT_EQ(std::filesystem::file_size(frames + "/frame000002.pgm"), 15u + 640 * 480);
    std::filesystem::remove_all(frames);
}

TEST(AonClientProgramTest, JsonLinesCarryStatusesEventsAndTheSummary) {
    ClientRun events({"--json", "--events", "2", "--duration", "20"});
    ASSERT_EQ(events.Wait(), 0) << events.err();
    const std::vector<nlohmann::json> records = Records(events.out());
    ASSERT_FALSE(records.empty());
    const auto event = std::find_if(records.begin(), records.end(),
                                    [](const nlohmann::json& r) { return r["kind"] == "event"; });
    ASSERT_NE(event, records.end());
    // The image without its value: values only with --values.
    EXPECT_EQ((*event)["results"][10],
              nlohmann::json::parse(
                      R"({"key":703,"name":"image","type":"byteArray","size":460800})"));
    const nlohmann::json& summary = records.back();
    EXPECT_EQ(summary["kind"], "summary");
    EXPECT_EQ(summary["end"], "events");
    EXPECT_EQ(summary["events"], 2);
    EXPECT_EQ(summary["missedFrames"], 0);
    EXPECT_EQ(summary["leftClean"], true);

    // A refused start: its status as the service gave it, then only the steps that succeeded
    // are undone (nothing was started, so no stopService).
    ClientRun refused({"--json", "--start-types", "0x10"});
    ASSERT_EQ(refused.Wait(), 1) << refused.err();
    std::vector<std::string> calls;
    nlohmann::json start;
    for (const nlohmann::json& record : Records(refused.out())) {
        if (record["kind"] != "call") continue;
        calls.push_back(record["method"].get<std::string>() +
                        (record["status"]["ok"] == true ? " ok" : " failed"));
        if (record["method"] == "startService") start = record;
    }
    EXPECT_EQ(calls, (std::vector<std::string>{"getAonSensorInfoList ok", "registerClient ok",
                                               "subscribeSensor ok", "startService failed",
                                               "unsubscribeSensor ok", "unregisterClient ok"}));
    EXPECT_EQ(start["status"], nlohmann::json::parse(R"({"ok":false,"exception":-8,
            "serviceSpecific":2,"transport":0,
            "message":"start service type is subset of subscribe service type"})"));
}

TEST(AonClientProgramTest, InterruptWhileFramesFlowLeavesTheServiceClean) {
    ClientRun run({"--brief", "--duration", "0"});
    ASSERT_TRUE(run.WaitForOutput("event    frame 2,")) << run.out() << run.err();
    run.Signal(SIGINT);
    ASSERT_EQ(run.Wait(), 0) << run.out() << run.err();
    ExpectInOrder(run.out(), {R"(call     stopService\(1, types 0xf\) -> ok)",
                              R"(call     unsubscribeSensor\(1\) -> ok)",
                              R"(call     unregisterClient\(1\) -> ok)", R"(end      interrupted)",
                              R"(left the service clean: nothing started, subscribed or )"
                              R"(registered\n +exit status 0)"});
    ExpectInOrder(run.err(), {"aon-client: interrupted: leaving the service clean",
                              "AONManager: stop sensor success",
                              "RemoteCallbackManager: unregister client:1"});
    EXPECT_EQ(run.err().find("remote callback died"), std::string::npos);
}

TEST(AonClientProgramTest, AServiceThatDiesEndsWithStatusThree) {
    ClientRun died({"--brief", "--kill-service-after", "2", "--duration", "20"});
    ASSERT_EQ(died.Wait(), 3) << died.out() << died.err();
    ExpectInOrder(died.out(), {"event    frame 2,", "end      the service died",
                               "the service died: nothing left to clean up\n +exit status 3"});
    EXPECT_EQ(died.out().find("stopService"), std::string::npos);
    EXPECT_NE(died.err().find("aon-client: vendor.tarvo.hardware.camera.aon.IAONService/default "
                              "died"),
              std::string::npos);
}

// Bad input exits with status 2, a missing service with 3, both before registering.
TEST(AonClientProgramTest, BadInputOrAMissingServiceExitsBeforeRegistering) {
    struct Case {
        std::vector<std::string> args;
        std::string message;
        int status = 2;
    };
    const Case kCases[] = {
            {{"--frobnicate"}, "unknown option '--frobnicate'"},
            {{"--size", "640*480"}, "--size takes WIDTHxHEIGHT, e.g. 640x480, not '640*480'"},
            {{"--types", "fusion"}, "--types takes a mask, decimal or 0x hex, not 'fusion'"},
            {{"--fps"}, "--fps needs a value"},
            {{"--sensor", "5"}, "sensor 5 is not listed by the service; it lists 0, 2"},
            {{"--instance", "vendor.tarvo.hardware.camera.aon.IAONService/other", "--wait", "0.3"},
             "vendor.tarvo.hardware.camera.aon.IAONService/other not found (waited 0.3 s); either "
             "the device does not declare it (no VINTF manifest entry) or SELinux does not let "
             "this process find it",
             3},
    };
    for (const Case& c : kCases) {
        ClientRun run(c.args);
        SCOPED_TRACE(c.args.front());
        EXPECT_EQ(run.Wait(), c.status);
        EXPECT_NE(run.err().find("aon-client: " + c.message + "\n"), std::string::npos)
                << run.err();
        EXPECT_EQ(run.out().find("registerClient"), std::string::npos) << run.out();
    }
}

}  // namespace

// The whole service under load with real threads, for a bounded time: the vendor's thread delivers
// frames as fast as it can while two binder threads play clients that register, subscribe, start,
// stop, unsubscribe, unregister or die, and the camera stack's thread opens and closes devices on
// the stream's sensor and on another one. A watchdog turns a stall of any of these threads into a
// failure with every thread's stack.
//
// The camera closes and reopens a device at once, as on a mode switch (the service fuzzer checks
// what the vendor and the clients hear then, step by step), and some clients answer each sensor
// state with a binder call: it must be refused with the nested-call status exactly when the thread
// that delivers the state is inside a service call (a binder thread's call or a death
// notification), and served otherwise (a camera worker); a nested call that locked the service
// again would stall, which the watchdog reports.
//
// Every 16th frame carries a 1280x720 image from the debug image block: its event is larger than a
// client's whole binder buffer, so the transport refuses it, as a device's kernel does.
//
// At the end it reports how many frames the stream took, how many reached clients, and how many
// were dropped on the way (the "onCallback can not get lock" and "OnAONEvent try_lock failed"
// lines) or refused by the transport. Run it under the asan and tsan presets as well: the event
// paths, the open/close workers and client deaths then meet in every order the scheduler finds.
//
// Environment: AON_SOAK_SECONDS (default 5) is the duration, AON_SOAK_STALL_SECONDS (default 20)
// the watchdog's bound past it.
#include <android/log.h>
#include <cutils/properties.h>
#include <gtest/gtest.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <future>
#include <memory>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "callback/RemoteCallbackManager.h"
#include "host/EventBuilder.h"
#include "host/FakeAovStream.h"
#include "host/FakeModuleHelper.h"
#include "host/binder_control.h"
#include "manager/AONManager.h"
#include "service/AONService.h"
#include "tests/support/FakeServiceCallback.h"
#include "tests/support/ServiceCalls.h"

namespace aon_test {

namespace {

// Turns a stall into a failure that shows where every thread stands: unless it is destroyed within
// its bound, it prints every thread's stack through gdb and aborts the process.
class Watchdog final {
  public:
    // `what` names the work that must end within `bound` in the report.
    Watchdog(const char* what, std::chrono::milliseconds bound)
        : mThread([this, what, bound] { Run(what, bound); }) {}
    ~Watchdog() {  // the work ended: stops watching
        mEnd.set_value();
        mThread.join();
    }

  private:
    void Run(const char* what, std::chrono::milliseconds bound) {
        if (mEnd.get_future().wait_for(bound) == std::future_status::ready) return;
        std::fprintf(stderr, "watchdog: %s did not end within %lld ms\n", what,
                     static_cast<long long>(bound.count()));
        // gdb, attached to this process, prints every thread's backtrace. Under Yama's ptrace
        // restrictions a child may attach to its parent only when allowed.
        prctl(PR_SET_PTRACER, PR_SET_PTRACER_ANY, 0, 0, 0);
        const std::string pid = std::to_string(getpid());
        const pid_t child = fork();
        if (child == 0) {
            dup2(STDERR_FILENO, STDOUT_FILENO);
            alarm(60);  // a gdb that hangs must not hang the report
            execlp("gdb", "gdb", "-batch", "-nx", "-p", pid.c_str(), "-ex", "thread apply all bt",
                   static_cast<char*>(nullptr));
            _exit(127);
        }
        if (child > 0) waitpid(child, nullptr, 0);
        std::fprintf(stderr, "watchdog: aborting\n");
        std::abort();
    }

    std::promise<void> mEnd;
    std::thread mThread;  // last: started after the rest is built
};

using Count = std::atomic<unsigned long long>;
using tarvo::aon::AONService;

// Device 10 is on sensor 0, the one the clients subscribe; device 11 on sensor 1.

std::chrono::milliseconds FromEnv(const char* name, double fallbackSeconds) {
    const double seconds = std::getenv(name) != nullptr ? std::atof(std::getenv(name)) : 0;
    return std::chrono::milliseconds(
            static_cast<int64_t>((seconds > 0 ? seconds : fallbackSeconds) * 1000));
}

// The drops in the log are counted, the lines not kept (the soak writes hundreds of thousands).
// Relaxed: the logger must not order the threads that log, or ThreadSanitizer would miss races.
Count gManagerDrops{0};   // "onCallback can not get lock"
Count gRegistryDrops{0};  // "OnAONEvent try_lock failed"
Count gRefused{0};        // transactions the transport refused (events larger than the buffer)

void CountingLogger(const struct __android_log_message* line) {
    if (line->message == nullptr) return;
    if (std::strstr(line->message, "onCallback can not get lock") != nullptr) {
        gManagerDrops.fetch_add(1, std::memory_order_relaxed);
    } else if (std::strstr(line->message, "OnAONEvent try_lock failed") != nullptr) {
        gRegistryDrops.fetch_add(1, std::memory_order_relaxed);
    }
}

// Everything the threads share, and the figures they add up.
struct Soak {
    host::FakeAovStream& stream = host::FakeAovStream::Get();
    std::shared_ptr<tarvo::aon::AONManager> manager = tarvo::aon::AONManager::GetSingleton();
    std::shared_ptr<AONService> service = ::ndk::SharedRefBase::make<AONService>();
    std::atomic<bool> stop{false};
    std::promise<void> stopPromise;
    const std::shared_future<void> stopped = stopPromise.get_future().share();

    Count framesTaken{0};  // the stream was running and called the manager
    Count framesReceived{0};
    Count sessions{0};
    Count reopenBursts{0};
    Count nestedRefused{0};
    Count nestedServed{0};
    Count nestedMisjudged{0};  // refused on a thread outside a service call, or the reverse
    std::atomic<int> nextPid{30000};

    // Waits up to `bound` or until the soak ends; for pacing, never for another thread's work.
    void Pause(std::chrono::milliseconds bound) { stopped.wait_for(bound); }
};

// Deaths reach the service marked as a service call: the service may make callbacks under its lock
// in a death notification too.
struct DeathsInService final : tarvo::aon::IRemoteCallbackManagerListener {
    explicit DeathsInService(AONService& service) : service(service) {}
    void OnRemoteCallbackDied(long handle,
                              const std::shared_ptr<IAONServiceCallBack>& callback) override {
        const InService inService;
        service.OnRemoteCallbackDied(handle, callback);
    }
    AONService& service;
};

// A client's answer to a sensor state: a binder call, which must be refused exactly when the
// delivering thread is inside a service call.
void CallBack(Soak& soak, int64_t handle, unsigned method) {
    const bool nested = tServiceCalls > 0;
    const InService inService;
    std::vector<AONService::AONSensorInfo> sensors;
    const ::ndk::ScopedAStatus status = method == 0 ? soak.service->stopService(handle, 0xF)
                                        : method == 1
                                                ? soak.service->unsubscribeSensor(handle)
                                                : soak.service->getAonSensorInfoList(&sensors);
    const bool refused = IsNestedCallRefusal(status);
    if (refused != nested) ++soak.nestedMisjudged;
    ++(refused ? soak.nestedRefused : soak.nestedServed);
}

void VendorThread(Soak& soak) {
    host::EventBuilder frames[2];  // a small image and one too large for a client's buffer
    for (int i = 0; i < 2; ++i) {
        frames[i].fullApuOutputSize().serviceType(0xF).imagePattern(
                host::ImageBlock::kDebugImage, i == 0 ? 64 : 1280, i == 0 ? 48 : 720, 1);
    }
    for (uint32_t frameId = 1; !soak.stop; ++frameId) {
        host::EventBuilder& frame = frames[frameId % 16 == 0 ? 1 : 0];
        if (soak.stream.DeliverEvent(frame.frame(frameId, 640, 480).event())) {
            ++soak.framesTaken;
        } else {
            std::this_thread::yield();  // no stream runs: leave the processor to the others
        }
    }
}

// One client's session after another: register, subscribe, start, let frames arrive, then either
// wind down in order or die at some point of it. Every third client answers each sensor state with
// a binder call.
void BinderThread(Soak& soak, unsigned seed) {
    std::mt19937 random(seed);
    const int32_t kMasks[] = {0x1, 0x3, 0xF};
    while (!soak.stop) {
        const RemoteCallback client = MakeRemoteCallback(soak.nextPid++);
        if (random() % 3 == 0) {
            client.fake->setSensorEventReaction(
                    [&soak, method = random() % 3](int64_t handle, const AONSensorStateInfo&) {
                        CallBack(soak, handle, method);
                    });
        }
        int64_t handle = 0;
        const unsigned dieAt = random() % 8;  // 0 to 3: dies before that step
        unsigned step = 0;
        const auto next = [&] { return step++ < dieAt; };  // from the step it dies at, none
        {
            const InService inService;
            if (next()) (void)soak.service->registerClient(client.proxy, 0xF, &handle);
            if (next())
                (void)soak.service->subscribeSensor(handle, {0, 640, 480, 30, 0, 0, 0xF, 1});
            if (next()) {
                (void)soak.service->startService(handle, kMasks[random() % 3]);
                // Let frames arrive (the other client or the camera may stop the stream).
                (void)client.fake->waitForEvents(3, std::chrono::milliseconds(50));
            }
            if (next()) {
                if (random() % 4 == 0) host::SetPingStatus(client.binder.get(), STATUS_DEAD_OBJECT);
                (void)soak.service->stopService(handle, 0xF);
                (void)soak.service->unsubscribeSensor(handle);
                (void)soak.service->unregisterClient(handle);
            }
        }
        host::KillProcess(client.pid);  // it dies, or its process ends after its session
        client.fake->setSensorEventReaction(nullptr);
        soak.framesReceived += client.fake->eventCount();
        ++soak.sessions;
    }
}

// Opens and closes devices; every other cycle closes and reopens the device at once, one to three
// times, as a camera app does on a mode switch.
void CameraThread(Soak& soak) {
    for (unsigned cycle = 1; !soak.stop; ++cycle) {
        const int device = cycle % 3 == 0 ? 11 : 10;
        soak.manager->NotifyOpen(device);
        soak.Pause(std::chrono::milliseconds(5));
        if (cycle % 2 == 0) {
            for (unsigned reopen = 0; reopen <= cycle % 3; ++reopen) {
                soak.manager->NotifyClose(device);
                soak.manager->NotifyOpen(device);
            }
            ++soak.reopenBursts;
            soak.Pause(std::chrono::milliseconds(5));
        }
        soak.manager->NotifyClose(device);
        soak.Pause(std::chrono::milliseconds(20));
    }
}

TEST(SoakTest, FramesFlowWhileClientsAndTheCameraComeAndGo) {
    const std::chrono::milliseconds duration = FromEnv("AON_SOAK_SECONDS", 5);
    __android_log_set_minimum_priority(ANDROID_LOG_VERBOSE);
    __android_log_set_logger(&CountingLogger);
    host::SetTransactionObserver([](const host::TransactionRecord& record) {
        if (record.status != STATUS_OK) gRefused.fetch_add(1, std::memory_order_relaxed);
    });
    property_set("vendor.debug.camera.utils.AovDebugBuffer", "2");  // images from the debug block
    host::FakeAovStream::Get().SetSensors({{0, {host::MakeSensorInfo(640, 480, 5, {10, 15, 30})}},
                                           {1, {host::MakeSensorInfo(320, 240, 9, {15})}}});
    host::SetSensorIdsOfDevice(10, {0});
    host::SetSensorIdsOfDevice(11, {1});

    Soak soak;
    DeathsInService deaths(*soak.service);
    tarvo::aon::RemoteCallbackManager::GetSingleton()->SetListener(&deaths);
    {
        const Watchdog watchdog("the soak", duration + FromEnv("AON_SOAK_STALL_SECONDS", 20));
        std::vector<std::thread> threads;
        threads.emplace_back(VendorThread, std::ref(soak));
        threads.emplace_back(BinderThread, std::ref(soak), 17);
        threads.emplace_back(BinderThread, std::ref(soak), 18);
        threads.emplace_back(CameraThread, std::ref(soak));
        soak.Pause(duration);
        soak.stop = true;
        soak.stopPromise.set_value();
        for (std::thread& thread : threads) thread.join();
    }
    const unsigned long long taken = soak.framesTaken, received = soak.framesReceived;
    std::printf(
            "soak: %.1f s, frames: %llu taken, %llu received, %llu dropped by the manager, "
            "%llu by the registry, %llu refused by the transport; %llu client sessions, %llu "
            "reopen bursts, nested calls: %llu refused, %llu served\n",
            duration.count() / 1000.0, taken, received, gManagerDrops.load(), gRegistryDrops.load(),
            gRefused.load(), soak.sessions.load(), soak.reopenBursts.load(),
            soak.nestedRefused.load(), soak.nestedServed.load());

    // A frame reaches at most the one registered client, or is dropped or refused on the way,
    // once; a refused one never reaches it.
    EXPECT_LE(received + gManagerDrops + gRegistryDrops + gRefused, taken);
    // Frames flowed, and the interleavings happened without breaking what they once broke.
    for (const Count* happened : {&soak.framesReceived, &soak.reopenBursts, &soak.nestedRefused}) {
        EXPECT_GT(happened->load(), 0u) << "the soak did not exercise what it is for";
    }
    EXPECT_EQ(soak.nestedMisjudged.load(), 0u)
            << "a call from a callback was refused outside a service call, or served inside";

    // Winding down: the camera's devices are closed (a close waits for the previous worker) and
    // the stream is stopped.
    for (const int device : {10, 11}) soak.manager->NotifyClose(device);
    EXPECT_EQ(soak.manager->StopService(), 0);
    EXPECT_FALSE(soak.stream.IsInitialized());
    EXPECT_TRUE(soak.stream.ContractViolations().empty())
            << soak.stream.ContractViolations().front();
    EXPECT_FALSE(tarvo::aon::RemoteCallbackManager::GetSingleton()->CheckClientHandleRegistered(1))
            << "a client outlived its process";
}

}  // namespace
}  // namespace aon_test

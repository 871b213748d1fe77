// The whole service under load with real threads, for a bounded time: the vendor's thread delivers
// frames as fast as it can while two binder threads play clients that register, subscribe, start,
// stop, unsubscribe, unregister or die, and the camera stack's thread opens and closes devices on
// the stream's sensor and on another one. A watchdog turns a stall of any of these threads into a
// failure with every thread's stack.
//
// At the end it reports how many frames the stream took, how many reached clients, and how many
// were dropped on the way (the "onCallback can not get lock" and "OnAONEvent try_lock failed"
// lines). Run it under the asan and tsan presets as well: the event paths, the open/close workers
// and client deaths then meet in every order the scheduler finds.
//
// Environment: AON_SOAK_SECONDS (default 5) is the duration, AON_SOAK_STALL_SECONDS (default 20)
// the watchdog's bound.
#include <aidl/vendor/tarvo/hardware/camera/aon/BnAONServiceCallBack.h>
#include <android/log.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <mutex>
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
#include "tests/soak/Watchdog.h"

namespace aon_test {
namespace {

using ::aidl::vendor::tarvo::hardware::camera::aon::AONCallBackInfo;
using ::aidl::vendor::tarvo::hardware::camera::aon::AONSensorStateInfo;
using ::aidl::vendor::tarvo::hardware::camera::aon::BnAONServiceCallBack;
using ::aidl::vendor::tarvo::hardware::camera::aon::IAONServiceCallBack;
using ::aidl::vendor::tarvo::hardware::camera::aon::SensorConfigInfo;
using Clock = std::chrono::steady_clock;
using tarvo::aon::AONManager;
using tarvo::aon::AONService;
using tarvo::aon::RemoteCallbackManager;

constexpr int kCameraOnStreamSensor = 10;  // sensor 0, the one the clients subscribe
constexpr int kCameraOnOtherSensor = 11;   // sensor 1
constexpr int kBinderThreads = 2;

double SecondsFromEnv(const char* name, double fallback) {
    const char* value = std::getenv(name);
    if (value == nullptr || *value == '\0') return fallback;
    const double seconds = std::atof(value);
    return seconds > 0 ? seconds : fallback;
}

// Counts the log lines that tell of a dropped frame; every other line is dropped as well (the
// soak writes hundreds of thousands of them).
struct LogCounts {
    std::atomic<uint64_t> managerDrops{0};   // "onCallback can not get lock"
    std::atomic<uint64_t> registryDrops{0};  // "OnAONEvent try_lock failed"
    std::atomic<uint64_t> errors{0};
    std::atomic<uint64_t> lines{0};
};
LogCounts gLog;

void CountingLogger(const struct __android_logger_data* data, const char* message) {
    gLog.lines.fetch_add(1, std::memory_order_relaxed);
    if (data->priority >= ANDROID_LOG_ERROR) gLog.errors.fetch_add(1, std::memory_order_relaxed);
    if (message == nullptr) return;
    if (std::strstr(message, "onCallback can not get lock") != nullptr) {
        gLog.managerDrops.fetch_add(1, std::memory_order_relaxed);
    } else if (std::strstr(message, "OnAONEvent try_lock failed") != nullptr) {
        gLog.registryDrops.fetch_add(1, std::memory_order_relaxed);
    }
}

// A client that counts what it receives and checks the shape of every event on arrival.
class CountingClient final : public BnAONServiceCallBack {
  public:
    ::ndk::ScopedAStatus onAONEvent(int64_t, const AONCallBackInfo& info) override {
        const auto& results = info.results;
        const bool framed = results.size() >= 3 && results[results.size() - 3].key == 0 &&
                            results[results.size() - 2].key == 1 && results.back().key == 2;
        if (!framed) malformed.fetch_add(1);
        {
            std::lock_guard<std::mutex> guard(mLock);
            ++mEvents;
        }
        mArrived.notify_all();
        return ::ndk::ScopedAStatus::ok();
    }
    ::ndk::ScopedAStatus onAONSensorEvent(int64_t, const AONSensorStateInfo&) override {
        sensorEvents.fetch_add(1);
        return ::ndk::ScopedAStatus::ok();
    }

    // Waits, with a bound, until `count` events have arrived.
    bool WaitForEvents(uint64_t count, std::chrono::milliseconds bound) {
        std::unique_lock<std::mutex> lock(mLock);
        return mArrived.wait_for(lock, bound, [&] { return mEvents >= count; });
    }
    uint64_t events() {
        std::lock_guard<std::mutex> guard(mLock);
        return mEvents;
    }

    std::atomic<uint64_t> malformed{0};
    std::atomic<uint64_t> sensorEvents{0};

  private:
    std::mutex mLock;
    std::condition_variable mArrived;
    uint64_t mEvents = 0;
};

SensorConfigInfo StreamConfig() {
    SensorConfigInfo config;
    config.sensorId = 0;
    config.frameWidth = 640;
    config.frameHeight = 480;
    config.fps = 30;
    config.serviceType = 0xF;
    config.deliveryMode = 1;
    return config;
}

// Everything the threads share, and the figures they add up.
struct Soak {
    std::shared_ptr<AONService> service;
    host::FakeAovStream& stream = host::FakeAovStream::Get();
    std::shared_ptr<AONManager> manager = AONManager::GetSingleton();
    std::atomic<bool> stop{false};
    std::mutex stopLock;
    std::condition_variable stopRequested;

    std::atomic<uint64_t> framesOffered{0};
    std::atomic<uint64_t> framesTaken{0};  // the stream was running and called the manager
    std::atomic<uint64_t> framesReceived{0};
    std::atomic<uint64_t> malformed{0};
    std::atomic<uint64_t> sessions{0};
    std::atomic<uint64_t> deaths{0};
    std::atomic<uint64_t> cameraCycles{0};
    std::atomic<int> nextPid{30000};

    // Waits up to `bound` or until the soak ends; for pacing, never for another thread's work.
    void Pause(std::chrono::milliseconds bound) {
        std::unique_lock<std::mutex> lock(stopLock);
        stopRequested.wait_for(lock, bound, [this] { return stop.load(); });
    }
};

void VendorThread(Soak& soak, std::atomic<uint64_t>& progress) {
    host::EventBuilder frame;
    frame.frame(0, 640, 480).serviceType(0xF).fullApuOutputSize();
    frame.imagePattern(host::ImageBlock::kImage, 64, 48, 1);
    uint32_t frameId = 0;
    while (!soak.stop.load()) {
        frame.frame(++frameId, 640, 480);
        soak.framesOffered.fetch_add(1);
        if (soak.stream.DeliverEvent(frame.event())) {
            soak.framesTaken.fetch_add(1);
        } else {
            std::this_thread::yield();  // no stream runs: leave the processor to the others
        }
        progress.fetch_add(1);
    }
}

// One client's session after another: register, subscribe, start, let frames arrive, then either
// wind down in order or die at some point of it.
void BinderThread(Soak& soak, std::atomic<uint64_t>& progress, unsigned seed) {
    std::mt19937 random(seed);
    const int32_t kMasks[] = {0x1, 0x3, 0x5, 0xF};
    while (!soak.stop.load()) {
        progress.fetch_add(1);
        const int pid = soak.nextPid.fetch_add(1);
        auto fake = ::ndk::SharedRefBase::make<CountingClient>();
        ::ndk::SpAIBinder binder = fake->asBinder();
        host::SetBinderProcess(binder.get(), pid);
        std::shared_ptr<IAONServiceCallBack> proxy = IAONServiceCallBack::fromBinder(binder);

        int64_t handle = 0;
        const int dieAt = static_cast<int>(random() % 8);  // 0 to 3: dies at that step
        bool dead = false;
        auto step = [&](int at, auto&& call) {
            if (dead) return;
            if (dieAt == at) {
                host::KillProcess(pid);
                soak.deaths.fetch_add(1);
                dead = true;
                return;
            }
            call();
            progress.fetch_add(1);
        };
        step(0, [&] { (void)soak.service->registerClient(proxy, 0xF, &handle); });
        step(1, [&] { (void)soak.service->subscribeSensor(handle, StreamConfig()); });
        step(2, [&] {
            (void)soak.service->startService(handle, kMasks[random() % 4]);
            // Let frames arrive (the other client or the camera may stop the stream meanwhile).
            (void)fake->WaitForEvents(3, std::chrono::milliseconds(50));
        });
        step(3, [&] {
            if (random() % 4 == 0) host::SetPingStatus(binder.get(), STATUS_DEAD_OBJECT);
            (void)soak.service->stopService(handle, 0xF);
            (void)soak.service->unsubscribeSensor(handle);
            (void)soak.service->unregisterClient(handle);
        });
        if (!dead) host::KillProcess(pid);  // a client's process ends after its session
        soak.framesReceived.fetch_add(fake->events());
        soak.malformed.fetch_add(fake->malformed.load());
        soak.sessions.fetch_add(1);
    }
}

void CameraThread(Soak& soak, std::atomic<uint64_t>& progress) {
    unsigned cycle = 0;
    while (!soak.stop.load()) {
        const int device = ++cycle % 3 == 0 ? kCameraOnOtherSensor : kCameraOnStreamSensor;
        soak.manager->NotifyOpen(device);
        progress.fetch_add(1);
        soak.Pause(std::chrono::milliseconds(5));
        soak.manager->NotifyClose(device);
        progress.fetch_add(1);
        soak.cameraCycles.fetch_add(1);
        soak.Pause(std::chrono::milliseconds(20));
    }
}

TEST(SoakTest, FramesFlowWhileClientsAndTheCameraComeAndGo) {
    const double seconds = SecondsFromEnv("AON_SOAK_SECONDS", 5);
    const double stallSeconds = SecondsFromEnv("AON_SOAK_STALL_SECONDS", 20);
    __android_log_set_minimum_priority(ANDROID_LOG_VERBOSE);
    __android_log_set_logger(&CountingLogger);

    host::FakeSensor sensor0;
    sensor0.id = 0;
    sensor0.infos = {host::MakeSensorInfo(640, 480, 5, {10, 15, 30})};
    host::FakeSensor sensor1;
    sensor1.id = 1;
    sensor1.infos = {host::MakeSensorInfo(320, 240, 9, {15})};
    host::FakeAovStream::Get().SetSensors({sensor0, sensor1});
    host::SetSensorIdsOfDevice(kCameraOnStreamSensor, {0});
    host::SetSensorIdsOfDevice(kCameraOnOtherSensor, {1});

    Soak soak;
    soak.service = ::ndk::SharedRefBase::make<AONService>();
    {
        Watchdog watchdog(std::chrono::milliseconds(static_cast<int64_t>(stallSeconds * 1000)));
        std::vector<std::thread> threads;
        threads.emplace_back(VendorThread, std::ref(soak), std::ref(watchdog.Watch("vendor")));
        for (int i = 0; i < kBinderThreads; ++i) {
            threads.emplace_back(BinderThread, std::ref(soak),
                                 std::ref(watchdog.Watch("binder " + std::to_string(i))), 17 + i);
        }
        threads.emplace_back(CameraThread, std::ref(soak), std::ref(watchdog.Watch("camera")));

        const auto start = Clock::now();
        soak.Pause(std::chrono::milliseconds(static_cast<int64_t>(seconds * 1000)));
        {
            std::lock_guard<std::mutex> guard(soak.stopLock);
            soak.stop = true;
        }
        soak.stopRequested.notify_all();
        for (std::thread& thread : threads) thread.join();
        const double elapsed = std::chrono::duration<double>(Clock::now() - start).count();

        const uint64_t taken = soak.framesTaken.load();
        const uint64_t received = soak.framesReceived.load();
        const uint64_t managerDrops = gLog.managerDrops.load();
        const uint64_t registryDrops = gLog.registryDrops.load();
        std::printf("soak: %.1f s, %llu frames offered, %llu taken by the stream (%.0f/s), %llu "
                    "received by clients (%.0f/s), %llu dropped by the manager (\"onCallback can "
                    "not get lock\"), %llu dropped by the registry (\"OnAONEvent try_lock "
                    "failed\"); %llu client sessions, %llu deaths, %llu camera open/close cycles, "
                    "%llu log lines (%llu errors)\n",
                    elapsed, static_cast<unsigned long long>(soak.framesOffered.load()),
                    static_cast<unsigned long long>(taken), taken / elapsed,
                    static_cast<unsigned long long>(received), received / elapsed,
                    static_cast<unsigned long long>(managerDrops),
                    static_cast<unsigned long long>(registryDrops),
                    static_cast<unsigned long long>(soak.sessions.load()),
                    static_cast<unsigned long long>(soak.deaths.load()),
                    static_cast<unsigned long long>(soak.cameraCycles.load()),
                    static_cast<unsigned long long>(gLog.lines.load()),
                    static_cast<unsigned long long>(gLog.errors.load()));
        std::fflush(stdout);

        // A frame reaches at most the one registered client, or is dropped on the way, once.
        EXPECT_LE(received + managerDrops + registryDrops, taken);
        EXPECT_EQ(soak.malformed.load(), 0u) << "events whose results do not end with 0, 1, 2";
        EXPECT_GT(received, 0u) << "no frame reached a client: the soak exercised nothing";
        EXPECT_GT(soak.sessions.load(), 0u);
        EXPECT_GT(soak.cameraCycles.load(), 0u);
    }

    // Winding down: the camera's devices are closed (a close waits for the previous worker; the
    // last one, for a device never opened, reports nothing) and the stream is stopped.
    soak.manager->NotifyClose(kCameraOnStreamSensor);
    soak.manager->NotifyClose(kCameraOnOtherSensor);
    EXPECT_EQ(soak.manager->StopService(), 0);
    EXPECT_FALSE(soak.stream.IsInitialized());
    EXPECT_EQ(soak.manager->GetServiceTypeStarted(), 0);
    EXPECT_TRUE(soak.stream.ContractViolations().empty())
            << soak.stream.ContractViolations().front();
    EXPECT_FALSE(RemoteCallbackManager::GetSingleton()->CheckClientHandleRegistered(1))
            << "a client outlived its process";
    soak.service.reset();
    __android_log_set_logger(__android_log_stderr_logger);
}

}  // namespace
}  // namespace aon_test

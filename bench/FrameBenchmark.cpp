// The per-frame cost of the event path, measured against its floor: copying once the bytes a frame
// hands to its client.
//
// For each frame size (320x240, 640x480, 1280x720; 8-bit 4:2:0, so stride = width and 1.5 bytes
// per pixel) one full event is built: all four detector bits, a full fusion block of 30 items,
// every block valid, the image filled. Then:
//   floor/WxH                     memcpy of the image and the four parsed blocks out of the record
//                                 into one destination allocated once, before the timed loop;
//   floor_fresh_destination/WxH   the same into a destination allocated and freed every frame
//                                 (what the copy costs when its destination must be new memory);
//   translate/WxH                 AONManagerCallback::onCallback, through the RemoteCallbackManager
//                                 singleton, to one registered in-process client that does nothing;
//   manager_to_client/WxH         the same from AONManager::onCallback (the manager singleton with
//                                 the AONManagerCallback registered), the vendor stream's entry;
//   property_read                 one read of an unset boolean property, the cost of each gated
//                                 log site with verbose logging off.
// A 1280x720 image does not fit the record's image block: it is taken from the debug image block,
// with "vendor.debug.camera.utils.AovDebugBuffer" set to 2 while those benchmarks run.
//
// Counters, per frame: allocs_per_frame and alloc_bytes_per_frame (every operator new in the
// process during the timed loop), client_allocs_per_frame (the part of them made inside the
// client's onAONEvent: its OK status), and frame_bytes (the bytes the client receives a copy of).
#include <benchmark/benchmark.h>
#include <cutils/properties.h>

#include <aidl/vendor/tarvo/hardware/camera/aon/AONCallBackInfo.h>
#include <aidl/vendor/tarvo/hardware/camera/aon/BnAONServiceCallBack.h>
#include <android/binder_auto_utils.h>
#include <android/binder_interface_utils.h>

#include <array>
#include <atomic>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "bench/CountingAllocator.h"
#include "callback/RemoteCallbackManager.h"
#include "event/AONManagerCallback.h"
#include "event/AovEvent.h"
#include "host/EventBuilder.h"
#include "manager/AONManager.h"

namespace {

using ::aidl::vendor::tarvo::hardware::camera::aon::AONCallBackInfo;
using ::aidl::vendor::tarvo::hardware::camera::aon::AONSensorStateInfo;
using ::aidl::vendor::tarvo::hardware::camera::aon::BnAONServiceCallBack;
using Tag = ::aidl::vendor::tarvo::hardware::camera::aon::AONResultValue::Tag;
using aon_bench::AllocationCount;
using aon_bench::CurrentAllocations;
using host::EventBuilder;
using host::ImageBlock;
using tarvo::aon::AONManager;
using tarvo::aon::AONManagerCallback;
using tarvo::aon::RemoteCallbackManager;

constexpr char kDebugBufferProperty[] = "vendor.debug.camera.utils.AovDebugBuffer";
constexpr char kDebugLogProperty[] = "vendor.debug.cameralog.enable";
constexpr uint32_t kAllDetectors = 0xF;
constexpr uint32_t kFusionItems = tarvo::aon::kFusionMaxItems;  // the whole block
constexpr size_t kResultsOfAFullEvent = 14;
constexpr int32_t kKeyImageBytes = 703;

struct FrameSize {
    uint32_t width;
    uint32_t height;
};

constexpr std::array<FrameSize, 3> kFrameSizes = {{{320, 240}, {640, 480}, {1280, 720}}};

size_t ImageBytes(FrameSize size) {
    return static_cast<size_t>(size.width) * size.height * 3 / 2;
}

std::string SizeName(FrameSize size) {
    return std::to_string(size.width) + "x" + std::to_string(size.height);
}

// One full event of a frame size, built once, and the byte ranges of it that reach the client.
class Frame final {
  public:
    struct Region {
        const uint8_t* data;
        size_t bytes;
    };

    explicit Frame(FrameSize size) : mSize(size) {
        mBlock = ImageBytes(size) <= EventBuilder::ImageCapacity(ImageBlock::kImage)
                         ? ImageBlock::kImage
                         : ImageBlock::kDebugImage;
        std::vector<host::FusionItem> items(kFusionItems);
        for (uint32_t i = 0; i < kFusionItems; ++i) {
            items[i].word0 = static_cast<int32_t>(i);
            for (size_t w = 0; w < items[i].words.size(); ++w) items[i].words[w] = i + w * 0.5f;
        }
        std::array<float, tarvo::aon::kFaceAngleResultFloats> angle{};
        for (size_t i = 0; i < angle.size(); ++i) angle[i] = 0.25f * i;
        std::array<float, tarvo::aon::kGazeResultFloats> gaze{};
        for (size_t i = 0; i < gaze.size(); ++i) gaze[i] = 1.0f + i;
        std::array<uint8_t, tarvo::aon::kFaceFeatureResultBytes> feature{};
        for (size_t i = 0; i < feature.size(); ++i) feature[i] = static_cast<uint8_t>(i * 3);

        mBuilder.frame(7, size.width, size.height)
                .serviceType(kAllDetectors)
                .fullApuOutputSize()
                .fusion(kFusionItems, 12.5f, items)
                .faceAngle(angle)
                .gaze(gaze)
                .faceFeature(feature)
                .imagePattern(mBlock, size.width, size.height, 7);

        const uint8_t* output = mBuilder.event()->apu_output;
        mRegions = {{
                {mBuilder.imageData(mBlock), ImageBytes(size)},
                {output + tarvo::aon::kFusionBlockOffset, tarvo::aon::kFusionBlockBytes},
                {output + tarvo::aon::kFaceAngleResultOffset, tarvo::aon::kFaceAngleResultBytes},
                {output + tarvo::aon::kGazeResultOffset, tarvo::aon::kGazeResultBytes},
                {output + tarvo::aon::kFaceFeatureResultOffset,
                 tarvo::aon::kFaceFeatureResultBytes},
        }};
        for (const Region& region : mRegions) mBytes += region.bytes;
    }

    aov_event* event() { return mBuilder.event(); }
    FrameSize size() const { return mSize; }
    const std::array<Region, 5>& regions() const { return mRegions; }
    size_t bytes() const { return mBytes; }

    // Points the image parsing at the block this frame's image is in.
    void SelectImageBlock() const {
        property_set(kDebugBufferProperty, mBlock == ImageBlock::kDebugImage ? "2" : "");
    }

  private:
    FrameSize mSize;
    ImageBlock mBlock = ImageBlock::kImage;
    EventBuilder mBuilder;
    std::array<Region, 5> mRegions{};
    size_t mBytes = 0;
};

Frame& FrameOf(size_t index) {
    static std::array<std::unique_ptr<Frame>, kFrameSizes.size()> frames;
    if (frames[index] == nullptr) frames[index] = std::make_unique<Frame>(kFrameSizes[index]);
    return *frames[index];
}

// A client that does nothing with what it receives beyond noting its shape, so that a benchmark
// can check afterwards that every frame arrived whole. The allocations made inside the call (its
// OK status) are counted apart, as the client's and not the service's.
class NoopClient final : public BnAONServiceCallBack {
  public:
    ::ndk::ScopedAStatus onAONEvent(int64_t /*clientHandle*/,
                                    const AONCallBackInfo& info) override {
        const AllocationCount before = CurrentAllocations();
        size_t imageBytes = 0;
        for (const auto& result : info.results) {
            if (result.key == kKeyImageBytes) {
                imageBytes = result.value.get<Tag::byteArray>().size();
            }
        }
        mResults.store(info.results.size(), std::memory_order_relaxed);
        mImageBytes.store(imageBytes, std::memory_order_relaxed);
        mEvents.fetch_add(1, std::memory_order_relaxed);
        ::ndk::ScopedAStatus status = ::ndk::ScopedAStatus::ok();
        mAllocations.fetch_add((CurrentAllocations() - before).allocations,
                               std::memory_order_relaxed);
        return status;
    }

    ::ndk::ScopedAStatus onAONSensorEvent(int64_t /*clientHandle*/,
                                          const AONSensorStateInfo& /*info*/) override {
        return ::ndk::ScopedAStatus::ok();
    }

    uint64_t events() const { return mEvents.load(std::memory_order_relaxed); }
    uint64_t allocations() const { return mAllocations.load(std::memory_order_relaxed); }
    size_t results() const { return mResults.load(std::memory_order_relaxed); }
    size_t imageBytes() const { return mImageBytes.load(std::memory_order_relaxed); }

  private:
    std::atomic<uint64_t> mEvents{0};
    std::atomic<uint64_t> mAllocations{0};
    std::atomic<size_t> mResults{0};
    std::atomic<size_t> mImageBytes{0};
};

// The service's frame path as it is wired at start-up: the AONManagerCallback delivers to the
// RemoteCallbackManager singleton and is the AONManager singleton's registered callback; the one
// client is registered with the registry.
class Wiring final {
  public:
    static Wiring& Get() {
        static Wiring* wiring = new Wiring();  // lives until exit, like the singletons it holds
        return *wiring;
    }

    const std::shared_ptr<RemoteCallbackManager> registry = RemoteCallbackManager::GetSingleton();
    const std::shared_ptr<AONManager> manager = AONManager::GetSingleton();
    const std::shared_ptr<AONManagerCallback> callback = AONManagerCallback::create(registry);
    const std::shared_ptr<NoopClient> client = ::ndk::SharedRefBase::make<NoopClient>();
    // The client's binder is held for the whole run, as a client's binder is alive while it is
    // registered; otherwise the in-process stand-in would make a new binder object for each ping.
    const ::ndk::SpAIBinder clientBinder = client->asBinder();
    bool ready = false;

  private:
    Wiring() {
        long handle = 0;
        ready = registry->RegisterClient(client, &handle) == 0 &&
                manager->RegisterClient(callback) == 0;
    }
};

void SetCounters(benchmark::State& state, const Frame& frame, AllocationCount allocations,
                 uint64_t clientAllocations) {
    state.counters["allocs_per_frame"] =
            benchmark::Counter(static_cast<double>(allocations.allocations),
                               benchmark::Counter::kAvgIterations);
    state.counters["alloc_bytes_per_frame"] = benchmark::Counter(
            static_cast<double>(allocations.bytes), benchmark::Counter::kAvgIterations);
    state.counters["client_allocs_per_frame"] = benchmark::Counter(
            static_cast<double>(clientAllocations), benchmark::Counter::kAvgIterations);
    state.counters["frame_bytes"] = static_cast<double>(frame.bytes());
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * frame.bytes()));
}

void CopyRegions(const Frame& frame, uint8_t* destination) {
    for (const Frame::Region& region : frame.regions()) {
        memcpy(destination, region.data, region.bytes);
        destination += region.bytes;
    }
}

// The floor: every byte the client receives, copied once from where it lies in the record. The
// destination is allocated once before the loop: this is the bare cost of the copy, the lowest
// figure the path can be held to (the product's arrays are new memory every frame, but the
// allocator hands back the same, cache-warm, block each time, as the preallocated one is).
void BM_Floor(benchmark::State& state, size_t sizeIndex) {
    Frame& frame = FrameOf(sizeIndex);
    std::vector<uint8_t> destination(frame.bytes());
    const AllocationCount before = CurrentAllocations();
    for (auto _ : state) {
        CopyRegions(frame, destination.data());
        benchmark::DoNotOptimize(destination.data());
        benchmark::ClobberMemory();
    }
    SetCounters(state, frame, CurrentAllocations() - before, 0);
}

// The floor again, with the destination allocated (uninitialised) and freed every frame.
void BM_FloorFreshDestination(benchmark::State& state, size_t sizeIndex) {
    Frame& frame = FrameOf(sizeIndex);
    const AllocationCount before = CurrentAllocations();
    for (auto _ : state) {
        std::unique_ptr<uint8_t[]> destination(new uint8_t[frame.bytes()]);
        CopyRegions(frame, destination.get());
        benchmark::DoNotOptimize(destination.get());
        benchmark::ClobberMemory();
    }
    SetCounters(state, frame, CurrentAllocations() - before, 0);
}

// Runs `deliver(event)` once to check that the client receives the whole frame, then times it.
// Every frame must reach the client: a dropped event (a busy lock) fails the benchmark.
template <typename Deliver>
void RunPath(benchmark::State& state, size_t sizeIndex, Deliver deliver) {
    Frame& frame = FrameOf(sizeIndex);
    Wiring& wiring = Wiring::Get();
    if (!wiring.ready) {
        state.SkipWithError("client registration failed");
        return;
    }
    frame.SelectImageBlock();
    NoopClient& client = *wiring.client;

    const uint64_t eventsBefore = client.events();
    deliver(frame.event());
    if (client.events() != eventsBefore + 1 || client.results() != kResultsOfAFullEvent ||
        client.imageBytes() != ImageBytes(frame.size())) {
        state.SkipWithError("the client did not receive the whole frame");
        return;
    }

    const uint64_t clientBefore = client.allocations();
    const uint64_t eventsStart = client.events();
    const AllocationCount before = CurrentAllocations();
    for (auto _ : state) {
        deliver(frame.event());
    }
    const AllocationCount allocations = CurrentAllocations() - before;
    if (client.events() - eventsStart != static_cast<uint64_t>(state.iterations())) {
        state.SkipWithError("frames were dropped on the way to the client");
    }
    SetCounters(state, frame, allocations, client.allocations() - clientBefore);
    property_set(kDebugBufferProperty, "");
}

void BM_Translate(benchmark::State& state, size_t sizeIndex) {
    AONManagerCallback& callback = *Wiring::Get().callback;
    RunPath(state, sizeIndex, [&callback](aov_event* event) { callback.onCallback(event); });
}

void BM_ManagerToClient(benchmark::State& state, size_t sizeIndex) {
    AONManager& manager = *Wiring::Get().manager;
    RunPath(state, sizeIndex, [&manager](aov_event* event) { manager.onCallback(event); });
}

void BM_PropertyRead(benchmark::State& state) {
    for (auto _ : state) {
        benchmark::DoNotOptimize(property_get_bool(kDebugLogProperty, false));
    }
}

void RegisterBenchmarks() {
    for (size_t i = 0; i < kFrameSizes.size(); ++i) {
        const std::string size = SizeName(kFrameSizes[i]);
        benchmark::RegisterBenchmark(("floor/" + size).c_str(), BM_Floor, i)
                ->Unit(benchmark::kMicrosecond);
        benchmark::RegisterBenchmark(("floor_fresh_destination/" + size).c_str(),
                                     BM_FloorFreshDestination, i)
                ->Unit(benchmark::kMicrosecond);
        benchmark::RegisterBenchmark(("translate/" + size).c_str(), BM_Translate, i)
                ->Unit(benchmark::kMicrosecond);
        benchmark::RegisterBenchmark(("manager_to_client/" + size).c_str(), BM_ManagerToClient, i)
                ->Unit(benchmark::kMicrosecond);
    }
    benchmark::RegisterBenchmark("property_read", BM_PropertyRead)->Unit(benchmark::kNanosecond);
}

}  // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    // Verbose logging off, whatever the environment: the gated lines read the property and stop.
    property_set(kDebugLogProperty, "");
    RegisterBenchmarks();
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}

// Fuzzes the event path with full-size stream records. The bytes choose the header words, the
// service type, apu_output_size, the fusion count and angle, both image blocks' stride and height,
// the debug-buffer and verbose-log properties and arbitrary bytes inside the detector output; the
// record then goes through AONManagerCallback::onCallback, either straight to the checker as an
// IOutEventCallback, or to the RemoteCallbackManager and on to the checker as a client in another
// process.
//
// The record is exactly sizeof(aov_event) on the heap, so AddressSanitizer catches a read past it.
// After each record the delivered results must be exactly those the record calls for, in order
// and with their sizes: the detector entries its bits and size select, the image entries when
// their block fits, and keys 0, 1, 2 last. The values are the unit tests' to check; the copied
// blocks and keys 0, 1, 2 are compared here too, as they cost nothing more. A client in another
// process receives the event once, with handle 1, unless the transport refuses it (larger than
// the client's binder buffer, as on a device). Anything else aborts.
//
// Everything that costs more than the input itself is made once per process: the record (the
// bytes an input patches stay for the next one, whose entries depend on its own header alone),
// the callbacks, and one client in another process that stays registered. The results are checked
// inside the callbacks, where they are delivered, so that the harness never copies an image.
#include <aidl/vendor/tarvo/hardware/camera/aon/BnAONServiceCallBack.h>
#include <cutils/properties.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <memory>
#include <vector>

#include "callback/RemoteCallbackManager.h"
#include "event/AONManagerCallback.h"
#include "event/AovEvent.h"
#include "fuzz/common/Harness.h"
#include "host/EventBuilder.h"
#include "host/binder_control.h"

namespace {

using namespace tarvo::aon;
using ::aidl::vendor::tarvo::hardware::camera::aon::AONCallBackInfo;
using ::aidl::vendor::tarvo::hardware::camera::aon::AONResult;
using ::aidl::vendor::tarvo::hardware::camera::aon::AONSensorStateInfo;
using ::aidl::vendor::tarvo::hardware::camera::aon::IAONServiceCallBack;
using Tag = ::aidl::vendor::tarvo::hardware::camera::aon::AONResultValue::Tag;
using fuzz::Fail;

constexpr char kDebugBufferProperty[] = "vendor.debug.camera.utils.AovDebugBuffer";
constexpr char kVerboseLogProperty[] = "vendor.debug.cameralog.enable";

// The detector blocks after fusion: each is copied as it is when the record's type has its bit
// and apu_output_size exceeds the size the parser requires.
struct Block {
    uint32_t type, minSize;
    int32_t key;
    Tag tag;
    size_t offset, bytes;
};
constexpr Block kBlocks[] = {
        {kServiceTypeFaceAngle, 214840, 200, Tag::floatArray, kFaceAngleResultOffset,
         kFaceAngleResultBytes},
        {kServiceTypeGaze, 209176, 300, Tag::floatArray, kGazeResultOffset, kGazeResultBytes},
        {kServiceTypeFaceFeature, 227968, 400, Tag::byteArray, kFaceFeatureResultOffset,
         kFaceFeatureResultBytes},
};

// The result at `at`, which must have `key` and `tag`; moves `at` past it.
const AONResult& Next(const std::vector<AONResult>& results, size_t& at, int32_t key, Tag tag) {
    if (at >= results.size()) Fail("result %zu (key %d) missing of %zu", at, key, results.size());
    const AONResult& result = results[at];
    if (result.key != key || result.value.getTag() != tag) {
        Fail("result %zu is key %d tag %d, expected key %d tag %d", at, result.key,
             static_cast<int>(result.value.getTag()), key, static_cast<int>(tag));
    }
    ++at;
    return result;
}

// Checks that the array result at `at` has `key` and holds `size` bytes (the first `compared` of
// them those at `bytes`).
void NextArray(const std::vector<AONResult>& results, size_t& at, int32_t key, Tag tag,
               const void* bytes, size_t size, size_t compared) {
    const auto& value = Next(results, at, key, tag).value;
    const auto holds = [&](const auto& values) {
        return values.size() * sizeof(values[0]) == size &&
               (compared == 0 || memcmp(values.data(), bytes, compared) == 0);
    };
    if (!(tag == Tag::floatArray ? holds(value.get<Tag::floatArray>())
                                 : holds(value.get<Tag::byteArray>()))) {
        Fail("key %d does not hold the %zu bytes of its block", key, size);
    }
}

// The values are the unit tests' to check; here, on wild records, the right entries come out in
// their order, with their sizes.
void CheckResults(const AONCallBackInfo& info, const aov_event& event) {
    const std::vector<AONResult>& results = info.results;
    if (info.serviceType != static_cast<int32_t>(event.service_type)) {
        Fail("serviceType %d, record has %u", info.serviceType, event.service_type);
    }
    // Keys 0, 1, 2 end every record, whatever else it holds.
    if (results.size() < 3) Fail("only %zu results", results.size());
    const size_t tail = results.size() - 3;
    size_t at = tail;
    for (const uint32_t value : {event.frame_id, event.frame_width, event.frame_height}) {
        const int32_t key = static_cast<int32_t>(at - tail);
        if (Next(results, at, key, Tag::intValue).value.get<Tag::intValue>() !=
            static_cast<int32_t>(value)) {
            Fail("key %d is not the record's frame id, width or height", key);
        }
    }

    at = 0;
    if ((event.service_type & kServiceTypeFusion) && event.apu_output_size > 202088) {
        Next(results, at, 100, Tag::floatValue);
        Next(results, at, 101, Tag::intValue);
        Next(results, at, 102, Tag::intValue);
        uint32_t count;
        memcpy(&count, event.apu_output + kFusionBlockOffset + kFusionCountOffset, sizeof(count));
        NextArray(results, at, 103, Tag::floatArray, nullptr,
                  std::min<uint32_t>(count, kFusionMaxItems) * kFusionItemWords * sizeof(float), 0);
    }
    for (const Block& block : kBlocks) {
        if ((event.service_type & block.type) != 0 && event.apu_output_size > block.minSize) {
            NextArray(results, at, block.key, block.tag, event.apu_output + block.offset,
                      block.bytes, block.bytes);
        }
    }

    const bool debugImage = property_get_int32(kDebugBufferProperty, 1) == 2;
    const uint32_t stride = debugImage ? event.debug_image.stride : event.image.stride;
    const uint32_t height = debugImage ? event.debug_image.height : event.image.height;
    const uint8_t* data = debugImage ? event.debug_image.data : event.image.data;
    // An image that does not reach past the record's end, sized without wrapping; a larger one is
    // dropped whole.
    const auto* end = reinterpret_cast<const uint8_t*>(&event + 1);
    const uint64_t want = uint64_t{stride} * height * 3 / 2;
    if (stride != 0 && height != 0 && want <= static_cast<uint64_t>(end - data)) {
        for (const int32_t key : {700, 701, 702}) Next(results, at, key, Tag::intValue);
        NextArray(results, at, 703, Tag::byteArray, data, want, want);
    }
    if (at != tail) Fail("%zu unexpected results before the frame keys", tail - at);
}

// Checks the results both where the translation delivers straight (IOutEventCallback) and as the
// client in another process the registry delivers to, which must get them with handle 1.
class Checker final : public ::aidl::vendor::tarvo::hardware::camera::aon::BnAONServiceCallBack,
                      public IOutEventCallback {
  public:
    explicit Checker(const aov_event& event) : mEvent(event) {}
    void OnAONEvent(AONCallBackInfo& info) override { onAONEvent(1, info); }
    void OnAONSensorEvent(AONSensorStateInfo&) override {}
    ndk::ScopedAStatus onAONEvent(int64_t handle, const AONCallBackInfo& info) override {
        if (handle != 1) Fail("the client's event came with handle %lld", (long long)handle);
        ++count;
        CheckResults(info, mEvent);
        return ndk::ScopedAStatus::ok();
    }
    ndk::ScopedAStatus onAONSensorEvent(int64_t, const AONSensorStateInfo&) override {
        return ndk::ScopedAStatus::ok();
    }
    size_t count = 0;

  private:
    const aov_event& mEvent;
};

// Built once per process: one record, the checker, the two routes to it, and the checker's
// registration with the registry, for good.
struct Harness {
    Harness() {
        fuzz::SetUpProcess();
        // The detector area and both whole images hold a pattern that an offset error would show.
        builder.outputPattern(0, sizeof(aov_event::apu_output), 11);
        builder.imagePattern(host::ImageBlock::kImage, 1u << 16, 1u << 16, 5);
        builder.imagePattern(host::ImageBlock::kDebugImage, 1u << 16, 1u << 16, 5);
        const ndk::SpAIBinder binder = checker->asBinder();
        host::SetBinderProcess(binder.get(), 7001);  // the client's process
        long handle = 0;
        if (registry->RegisterClient(IAONServiceCallBack::fromBinder(binder), &handle) != 0 ||
            handle != 1) {
            Fail("the fuzzing client could not register");
        }
    }

    host::EventBuilder builder;
    std::shared_ptr<RemoteCallbackManager> registry = RemoteCallbackManager::GetSingleton();
    std::shared_ptr<Checker> checker = ndk::SharedRefBase::make<Checker>(*builder.event());
    std::shared_ptr<AONManagerCallback> direct = AONManagerCallback::create(checker);
    std::shared_ptr<AONManagerCallback> throughRegistry = AONManagerCallback::create(registry);
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static Harness* const harness = new Harness();  // lives as long as the process
    fuzz::FuzzInput in(data, size);
    aov_event& event = *harness->builder.event();

    const uint8_t flags = in.Byte();
    const bool direct = (flags & 0x3) % 3 == 0;  // or through the registry
    static const char* const kDebugBufferValues[] = {"", "1", "2", "0x2x"};
    property_set(kDebugBufferProperty, kDebugBufferValues[(flags >> 2) & 0x3]);
    property_set(kVerboseLogProperty, (flags & 0x10) ? "true" : "false");

    event.frame_id = in.U32();
    event.frame_width = in.U32();
    event.frame_height = in.U32();
    event.service_type = (flags & 0x20) ? in.U32() : in.Byte() & 0xF;
    event.apu_output_size = in.PickOrRaw<uint32_t>({0u, 202088u, 202089u, 209176u, 209177u, 214840u,
                                                    214841u, 227968u, 227969u, 0xFFFFFFFFu});
    const uint32_t count = (flags & 0x40) ? in.U32() : in.Byte() % 40;
    memcpy(event.apu_output + kFusionBlockOffset + kFusionCountOffset, &count, sizeof(count));
    in.Bytes(event.apu_output + kFusionBlockOffset + kFusionRotateAngleOffset, sizeof(float));
    // A stride or height: small (most images then stay small, and inputs run fast), or anything
    // at all (an image that does not fit the record is dropped whole).
    const auto dimension = [&in]() -> uint32_t { return in.Bool() ? in.U32() : in.Byte(); };
    event.image.stride = dimension();
    event.image.height = dimension();
    event.debug_image.stride = dimension();
    event.debug_image.height = dimension();

    // The rest: patches of arbitrary bytes, aimed at or near the parsed blocks.
    static constexpr size_t kTargets[] = {kFusionBlockOffset, kGazeResultOffset,
                                          kFaceAngleResultOffset, kFaceFeatureResultOffset};
    static_assert(kFaceFeatureResultOffset + 2600 + 255 <= sizeof(aov_event::apu_output));
    while (!in.empty()) {
        const size_t offset =
                in.Bool() ? kTargets[in.Below(4)] + in.U16() % 2600 : in.U32() % kApuOutputMapEnd;
        in.Bytes(event.apu_output + offset, in.Byte());
    }

    // One thread, no lock held by anyone: nothing may be dropped, but an event larger than the
    // client's binder buffer, which the transport refuses as a device's kernel does.
    const size_t before = harness->checker->count;
    const uint64_t refusedBefore = host::FailedTransactionCount();
    (direct ? harness->direct : harness->throughRegistry)->onCallback(&event);
    const bool refused = host::FailedTransactionCount() != refusedBefore;
    if (harness->checker->count - before != (refused ? 0u : 1u)) {
        Fail("%zu records delivered for one (refused %d)", harness->checker->count - before,
             refused);
    }
    property_set(kDebugBufferProperty, "");  // frees what the input's properties allocated
    property_set(kVerboseLogProperty, "");
    return 0;
}

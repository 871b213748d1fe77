// Fuzzes the event path with full-size stream records. The bytes choose the header words, the
// service type, apu_output_size, the fusion count and angle, both image blocks' stride and height,
// the debug-buffer and verbose-log properties and arbitrary bytes inside the detector output; the
// record then goes through AONManagerCallback::onCallback, either straight to a checking
// IOutEventCallback, or to the RemoteCallbackManager and on to a checking client in another
// process.
//
// The record is exactly sizeof(aov_event) on the heap, so AddressSanitizer catches a read past it.
// After each record the delivered results must be exactly those the record calls for: the
// detector entries its bits and size select, the image entries, and keys 0, 1, 2 last, each with
// the record's values. A client in another process receives the event once, with handle 1,
// unless the transport refuses it (larger than the client's binder buffer, as on a device).
// Anything else aborts.
//
// Everything that costs more than the input itself is made once per process and reset after each
// input: the record (only the bytes an input patched are restored), the callbacks, and one client
// in another process that stays registered. The results are checked inside the callbacks, where
// they are delivered, so that the harness never copies an image; each input frees what it
// allocated, so that libFuzzer's leak check has nothing to run again for.
#include <aidl/vendor/tarvo/hardware/camera/aon/BnAONServiceCallBack.h>
#include <cutils/properties.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <memory>
#include <utility>
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

uint32_t Word(const uint8_t* at) {
    uint32_t value;
    memcpy(&value, at, sizeof(value));
    return value;
}

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

int32_t NextInt(const std::vector<AONResult>& results, size_t& at, int32_t key) {
    return Next(results, at, key, Tag::intValue).value.get<Tag::intValue>();
}

// Whether an array result holds exactly the `size` bytes at `bytes`.
bool Holds(const AONResult& result, const void* bytes, size_t size) {
    const auto same = [&](const auto& values) {
        return values.size() * sizeof(values[0]) == size &&
               (size == 0 || memcmp(values.data(), bytes, size) == 0);
    };
    return result.value.getTag() == Tag::floatArray ? same(result.value.get<Tag::floatArray>())
                                                    : same(result.value.get<Tag::byteArray>());
}

void CheckFusion(const std::vector<AONResult>& results, size_t& at, const aov_event& event) {
    const uint8_t* block = event.apu_output + kFusionBlockOffset;
    const uint32_t count = Word(block + kFusionCountOffset);
    const float angle = Next(results, at, 100, Tag::floatValue).value.get<Tag::floatValue>();
    if (memcmp(&angle, block + kFusionRotateAngleOffset, sizeof(angle)) != 0) {
        Fail("key 100 is not the rotate angle");
    }
    if (NextInt(results, at, 101) != static_cast<int32_t>(count)) {
        Fail("key 101 is not the count as received");
    }
    if (NextInt(results, at, 102) != 20) Fail("key 102 is not 20");
    // The items the block holds, as received, but for each one's word 0: an integer, converted.
    const uint8_t* itemBytes = block + kFusionItemsOffset;
    std::vector<float> items(std::min<uint32_t>(count, kFusionMaxItems) * kFusionItemWords);
    const size_t bytes = items.size() * sizeof(float);
    if (bytes != 0) memcpy(items.data(), itemBytes, bytes);
    for (size_t i = 0; i < items.size(); i += kFusionItemWords) {
        items[i] = static_cast<float>(static_cast<int32_t>(Word(itemBytes + i * sizeof(float))));
    }
    if (!Holds(Next(results, at, 103, Tag::floatArray), items.data(), bytes)) {
        Fail("key 103 is not the %zu fusion items as received (count %u)",
             items.size() / kFusionItemWords, count);
    }
}

void CheckResults(const AONCallBackInfo& info, const aov_event& event) {
    const std::vector<AONResult>& results = info.results;
    if (info.serviceType != static_cast<int32_t>(event.service_type)) {
        Fail("serviceType %d, record has %u", info.serviceType, event.service_type);
    }
    // Keys 0, 1, 2 end every record, whatever else it holds.
    if (results.size() < 3) Fail("only %zu results", results.size());
    const size_t tail = results.size() - 3;
    size_t at = tail;
    if (NextInt(results, at, 0) != static_cast<int32_t>(event.frame_id) ||
        NextInt(results, at, 1) != static_cast<int32_t>(event.frame_width) ||
        NextInt(results, at, 2) != static_cast<int32_t>(event.frame_height)) {
        Fail("keys 0, 1, 2 are not the record's frame id, width and height");
    }

    at = 0;
    if ((event.service_type & kServiceTypeFusion) && event.apu_output_size > 202088) {
        CheckFusion(results, at, event);
    }
    for (const Block& block : kBlocks) {
        if ((event.service_type & block.type) == 0 || event.apu_output_size <= block.minSize) {
            continue;
        }
        if (!Holds(Next(results, at, block.key, block.tag), event.apu_output + block.offset,
                   block.bytes)) {
            Fail("key %d is not its detector block", block.key);
        }
    }

    const bool debugImage = property_get_int32(kDebugBufferProperty, 1) == 2;
    const uint32_t stride = debugImage ? event.debug_image.stride : event.image.stride;
    const uint32_t height = debugImage ? event.debug_image.height : event.image.height;
    // An image that does not reach past the record's end, sized without wrapping; a larger one is
    // dropped whole.
    const uint8_t* data = debugImage ? event.debug_image.data : event.image.data;
    const auto* end = reinterpret_cast<const uint8_t*>(&event + 1);
    const uint64_t want = uint64_t{stride} * height * 3 / 2;
    if (stride != 0 && height != 0 && want <= static_cast<uint64_t>(end - data)) {
        if (NextInt(results, at, 700) != static_cast<int32_t>(stride) ||
            NextInt(results, at, 701) != static_cast<int32_t>(height) ||
            NextInt(results, at, 702) != static_cast<int32_t>(stride)) {
            Fail("image keys 700, 701, 702 are not the stride, height and stride");
        }
        if (!Holds(Next(results, at, 703, Tag::byteArray), data, want)) {
            Fail("key 703 is not the first %llu bytes of the chosen image block",
                 static_cast<unsigned long long>(want));
        }
    }
    if (at != tail) Fail("%zu unexpected results before the frame keys", tail - at);
}

// The IOutEventCallback the translation delivers to straight: it checks the results.
class CheckingOutEventCallback final : public IOutEventCallback {
  public:
    explicit CheckingOutEventCallback(const aov_event& event) : mEvent(event) {}
    void OnAONEvent(AONCallBackInfo& info) override {
        ++count;
        CheckResults(info, mEvent);
    }
    void OnAONSensorEvent(AONSensorStateInfo&) override {}
    size_t count = 0;

  private:
    const aov_event& mEvent;
};

// The client in another process the registry delivers to.
class CheckingClient final
    : public ::aidl::vendor::tarvo::hardware::camera::aon::BnAONServiceCallBack {
  public:
    explicit CheckingClient(const aov_event& event) : mEvent(event) {}
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

// Built once per process: one record, the callbacks of the two routes, and the client of the
// registry, registered for good.
struct Harness {
    Harness() {
        fuzz::SetUpProcess();
        // The detector area and both whole images hold a pattern that an offset error would show.
        builder.outputPattern(0, sizeof(aov_event::apu_output), 11);
        const uint8_t* output = builder.event()->apu_output;
        pristineOutput.assign(output, output + sizeof(aov_event::apu_output));
        builder.imagePattern(host::ImageBlock::kImage, 1u << 16, 1u << 16, 5);
        builder.imagePattern(host::ImageBlock::kDebugImage, 1u << 16, 1u << 16, 5);
        patches.reserve(kMaxPatches);
        direct = AONManagerCallback::create(recorder);
        throughRegistry = AONManagerCallback::create(registry);
        const ndk::SpAIBinder binder = client->asBinder();
        host::SetBinderProcess(binder.get(), 7001);  // the client's process
        long handle = 0;
        if (registry->RegisterClient(IAONServiceCallBack::fromBinder(binder), &handle) != 0 ||
            handle != 1) {
            Fail("the fuzzing client could not register");
        }
    }

    // Sets a property only when its value changes: a property write allocates.
    void SetProperty(const char* name, const char* value, const char*& current) {
        if (strcmp(value, current) == 0) return;
        property_set(name, value);
        current = value;
    }

    // The next input starts from the same record: the detector output as it was, the properties
    // unset (their map entries freed with the input that made them).
    void Restore() {
        uint8_t* output = builder.event()->apu_output;
        for (const auto& [offset, count] : patches) {
            memcpy(output + offset, pristineOutput.data() + offset, count);
        }
        patches.clear();
        SetProperty(kDebugBufferProperty, "", debugBuffer);
        SetProperty(kVerboseLogProperty, "", verboseLog);
    }

    // Copies up to `max` bytes of the input over the detector output at `offset`, noting the range.
    void Patch(fuzz::FuzzInput& in, size_t offset, size_t max) {
        const size_t count = in.Bytes(builder.event()->apu_output + offset, max);
        if (count != 0) patches.emplace_back(offset, count);
    }

    // A patch takes at least three bytes of the input, and CI caps inputs at 1024 bytes; a longer
    // input grows the vector once, and it keeps the room.
    static constexpr size_t kMaxPatches = 4096;

    host::EventBuilder builder;
    const aov_event& event = *builder.event();
    std::vector<uint8_t> pristineOutput;
    std::vector<std::pair<size_t, size_t>> patches;  // offset and length in apu_output
    const char* debugBuffer = "";
    const char* verboseLog = "";
    std::shared_ptr<RemoteCallbackManager> registry = RemoteCallbackManager::GetSingleton();
    std::shared_ptr<CheckingOutEventCallback> recorder =
            std::make_shared<CheckingOutEventCallback>(event);
    std::shared_ptr<CheckingClient> client = ndk::SharedRefBase::make<CheckingClient>(event);
    std::shared_ptr<AONManagerCallback> direct;
    std::shared_ptr<AONManagerCallback> throughRegistry;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static Harness* const harness = new Harness();  // lives as long as the process
    fuzz::FuzzInput in(data, size);
    aov_event& event = *harness->builder.event();

    const uint8_t flags = in.Byte();
    const bool direct = (flags & 0x3) % 3 == 0;  // or through the registry
    static const char* const kDebugBufferValues[] = {"", "1", "2", "0x2x"};
    harness->SetProperty(kDebugBufferProperty, kDebugBufferValues[(flags >> 2) & 0x3],
                         harness->debugBuffer);
    harness->SetProperty(kVerboseLogProperty, (flags & 0x10) ? "true" : "false",
                         harness->verboseLog);

    event.frame_id = in.U32();
    event.frame_width = in.U32();
    event.frame_height = in.U32();
    event.service_type = (flags & 0x20) ? in.U32() : in.Byte() & 0xF;
    event.apu_output_size = in.PickOrRaw<uint32_t>(
            {0u, 202088u, 202089u, 209176u, 209177u, 214840u, 214841u, 227968u, 227969u,
             0xFFFFFFFFu});
    const uint32_t count = (flags & 0x40) ? in.U32() : in.Byte() % 40;
    const uint32_t angle = in.U32();
    constexpr size_t kCountAt = kFusionBlockOffset + kFusionCountOffset;
    constexpr size_t kAngleAt = kFusionBlockOffset + kFusionRotateAngleOffset;
    memcpy(event.apu_output + kCountAt, &count, sizeof(count));
    memcpy(event.apu_output + kAngleAt, &angle, sizeof(angle));
    harness->patches.emplace_back(kCountAt, sizeof(count));
    harness->patches.emplace_back(kAngleAt, sizeof(angle));
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
        const size_t offset = in.Bool() ? kTargets[in.Below(4)] + in.U16() % 2600
                                        : in.U32() % kApuOutputMapEnd;
        harness->Patch(in, offset, in.Byte());
    }

    if (direct) {
        const size_t before = harness->recorder->count;
        harness->direct->onCallback(&event);
        if (harness->recorder->count != before + 1) Fail("the record was not delivered");
    } else {
        const size_t before = harness->client->count;
        const uint64_t refusedBefore = host::FailedTransactionCount();
        harness->throughRegistry->onCallback(&event);
        // One thread, no lock held by anyone: nothing may be dropped, but an event larger than
        // the client's binder buffer, which the transport refuses as a device's kernel does.
        const bool refused = host::FailedTransactionCount() != refusedBefore;
        const size_t events = harness->client->count - before;
        if (events != (refused ? 0u : 1u)) {
            Fail("the client received %zu records for one (refused %d)", events, refused);
        }
    }

    harness->Restore();
    return 0;
}

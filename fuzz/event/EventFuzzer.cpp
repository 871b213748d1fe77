// Fuzzes the event path with full-size stream records. The bytes choose the header words, the
// service type, apu_output_size, the fusion count and angle, both image blocks' stride and height,
// the debug-buffer and verbose-log properties and arbitrary bytes inside the detector output; the
// record then goes through AONManagerCallback::onCallback, either straight to a recording
// IOutEventCallback, or through the RemoteCallbackManager to a client in another process, or from
// the top, through AONManager::onCallback as the vendor's thread calls it.
//
// The record is exactly sizeof(aov_event) on the heap, so AddressSanitizer catches a read past it.
// After each record the delivered results must be exactly those the record calls for: the
// detector entries its bits and size select, the image entries, and keys 0, 1, 2 last, each with
// the record's values. Anything else aborts.
#include <cutils/properties.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <memory>
#include <vector>

#include "callback/RemoteCallbackManager.h"
#include "event/AONManagerCallback.h"
#include "event/AovEvent.h"
#include "fuzz/common/FuzzInput.h"
#include "fuzz/common/RecordingClient.h"
#include "host/EventBuilder.h"
#include "manager/AONManager.h"

namespace {

using namespace tarvo::aon;
using ::aidl::vendor::tarvo::hardware::camera::aon::AONCallBackInfo;
using ::aidl::vendor::tarvo::hardware::camera::aon::AONResult;
using ::aidl::vendor::tarvo::hardware::camera::aon::AONSensorStateInfo;
using Tag = ::aidl::vendor::tarvo::hardware::camera::aon::AONResultValue::Tag;
using fuzz::Fail;
using host::EventBuilder;
using host::ImageBlock;

constexpr char kDebugBufferProperty[] = "vendor.debug.camera.utils.AovDebugBuffer";
constexpr char kVerboseLogProperty[] = "vendor.debug.cameralog.enable";
constexpr int kClientPid = 7001;

// Keeps the last record it was given.
class LastEventCallback final : public IOutEventCallback {
  public:
    void OnAONEvent(AONCallBackInfo& info) override {
        last = info;
        ++count;
    }
    void OnAONSensorEvent(AONSensorStateInfo&) override {}
    AONCallBackInfo last;
    size_t count = 0;
};

enum class Route { kDirect, kRegistry, kManager };

// Built once per process: one record, the callbacks of the three routes, one registered client.
struct Harness {
    Harness() {
        fuzz::QuietLog();
        // The detector area and both images hold a pattern that an offset error would show.
        builder.outputPattern(0, sizeof(aov_event::apu_output), 11);
        pristineOutput.assign(builder.event()->apu_output,
                              builder.event()->apu_output + sizeof(aov_event::apu_output));
        for (ImageBlock block : {ImageBlock::kImage, ImageBlock::kDebugImage}) {
            uint8_t* data = builder.imageData(block);
            const size_t capacity = EventBuilder::ImageCapacity(block);
            for (size_t i = 0; i < capacity; ++i) data[i] = EventBuilder::PatternByte(i, 5);
        }
        direct = AONManagerCallback::create(recorder);
        std::shared_ptr<RemoteCallbackManager> registry = RemoteCallbackManager::GetSingleton();
        throughRegistry = AONManagerCallback::create(registry);
        client = fuzz::MakeRemoteClient(kClientPid);
        long handle = 0;
        if (registry->RegisterClient(client.proxy, &handle) != 0 || handle != 1) {
            Fail("the fuzzing client could not register");
        }
        manager = AONManager::GetSingleton();
        manager->RegisterClient(throughRegistry);
    }

    EventBuilder builder;
    std::vector<uint8_t> pristineOutput;
    std::shared_ptr<LastEventCallback> recorder = std::make_shared<LastEventCallback>();
    std::shared_ptr<AONManagerCallback> direct;
    std::shared_ptr<AONManagerCallback> throughRegistry;
    fuzz::RemoteClient client;
    std::shared_ptr<AONManager> manager;
};

// What the record asks for; read back from the record itself where the parsers read it.
struct Expected {
    uint32_t serviceType, size, frameId, width, height;
};

uint32_t Word(const uint8_t* at) {
    uint32_t value;
    memcpy(&value, at, sizeof(value));
    return value;
}

bool SameFloats(const std::vector<float>& values, const uint8_t* bytes, size_t count) {
    return values.size() == count && memcmp(values.data(), bytes, count * sizeof(float)) == 0;
}

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

void CheckFusion(const std::vector<AONResult>& results, size_t& at, const aov_event& event) {
    const uint8_t* block = event.apu_output + kFusionBlockOffset;
    const uint32_t count = Word(block + kFusionCountOffset);
    const float angle = Next(results, at, 100, Tag::floatValue).value.get<Tag::floatValue>();
    if (memcmp(&angle, block + kFusionRotateAngleOffset, sizeof(angle)) != 0) {
        Fail("key 100 is not the rotate angle");
    }
    if (Next(results, at, 101, Tag::intValue).value.get<Tag::intValue>() !=
        static_cast<int32_t>(count)) {
        Fail("key 101 is not the count as received");
    }
    if (Next(results, at, 102, Tag::intValue).value.get<Tag::intValue>() != 20) {
        Fail("key 102 is not 20");
    }
    const auto& items = Next(results, at, 103, Tag::floatArray).value.get<Tag::floatArray>();
    const size_t itemCount = std::min<uint32_t>(count, kFusionMaxItems);
    if (items.size() != itemCount * kFusionItemWords) {
        Fail("key 103 holds %zu floats for count %u", items.size(), count);
    }
    for (size_t i = 0; i < itemCount; ++i) {
        const uint8_t* item = block + kFusionItemsOffset + i * kFusionItemBytes;
        const float word0 = static_cast<float>(static_cast<int32_t>(Word(item)));
        if (memcmp(&items[i * kFusionItemWords], &word0, sizeof(word0)) != 0 ||
            memcmp(&items[i * kFusionItemWords + 1], item + 4, (kFusionItemWords - 1) * 4) != 0) {
            Fail("fusion item %zu is not copied as received", i);
        }
    }
}

void CheckResults(const AONCallBackInfo& info, const Expected& expected, const aov_event& event) {
    const std::vector<AONResult>& results = info.results;
    if (info.serviceType != static_cast<int32_t>(expected.serviceType)) {
        Fail("serviceType %d, record has %u", info.serviceType, expected.serviceType);
    }
    // Keys 0, 1, 2 end every record, whatever else it holds.
    if (results.size() < 3) Fail("only %zu results", results.size());
    const size_t tail = results.size() - 3;
    const uint32_t frameWords[] = {expected.frameId, expected.width, expected.height};
    for (size_t i = 0; i < 3; ++i) {
        const AONResult& result = results[tail + i];
        if (result.key != static_cast<int32_t>(i) || result.value.getTag() != Tag::intValue ||
            result.value.get<Tag::intValue>() != static_cast<int32_t>(frameWords[i])) {
            Fail("result %zu is not frame key %zu with its value", tail + i, i);
        }
    }

    size_t at = 0;
    const uint8_t* output = event.apu_output;
    if ((expected.serviceType & kServiceTypeFusion) && expected.size > 202088) {
        CheckFusion(results, at, event);
    }
    if ((expected.serviceType & kServiceTypeFaceAngle) && expected.size > 214840) {
        const auto& v = Next(results, at, 200, Tag::floatArray).value.get<Tag::floatArray>();
        if (!SameFloats(v, output + kFaceAngleResultOffset, kFaceAngleResultFloats)) {
            Fail("key 200 is not the face angle block");
        }
    }
    if ((expected.serviceType & kServiceTypeGaze) && expected.size > 209176) {
        const auto& v = Next(results, at, 300, Tag::floatArray).value.get<Tag::floatArray>();
        if (!SameFloats(v, output + kGazeResultOffset, kGazeResultFloats)) {
            Fail("key 300 is not the gaze block");
        }
    }
    if ((expected.serviceType & kServiceTypeFaceFeature) && expected.size > 227968) {
        const auto& v = Next(results, at, 400, Tag::byteArray).value.get<Tag::byteArray>();
        if (v.size() != kFaceFeatureResultBytes ||
            memcmp(v.data(), output + kFaceFeatureResultOffset, v.size()) != 0) {
            Fail("key 400 is not the face feature block");
        }
    }

    const bool debugImage = property_get_int32(kDebugBufferProperty, 1) == 2;
    const ImageBlock block = debugImage ? ImageBlock::kDebugImage : ImageBlock::kImage;
    const uint32_t stride = debugImage ? event.debug_image.stride : event.image.stride;
    const uint32_t height = debugImage ? event.debug_image.height : event.image.height;
    const uint8_t* data = debugImage ? event.debug_image.data : event.image.data;
    if (stride != 0 && height != 0) {
        const int32_t words[] = {static_cast<int32_t>(stride), static_cast<int32_t>(height),
                                 static_cast<int32_t>(stride)};
        for (int32_t i = 0; i < 3; ++i) {
            if (Next(results, at, 700 + i, Tag::intValue).value.get<Tag::intValue>() != words[i]) {
                Fail("image key %d has the wrong value", 700 + i);
            }
        }
        const auto& bytes = Next(results, at, 703, Tag::byteArray).value.get<Tag::byteArray>();
        const uint32_t product = stride * height * 3u;
        const size_t want = std::min<size_t>(product / 2, EventBuilder::ImageCapacity(block));
        if (bytes.size() != want || (want != 0 && memcmp(bytes.data(), data, want) != 0)) {
            Fail("key 703 holds %zu bytes, expected %zu from the chosen block", bytes.size(), want);
        }
    }
    if (at != tail) Fail("%zu unexpected results before the frame keys", tail - at);
}

uint32_t PickOutputSize(fuzz::FuzzInput& in) {
    return in.PickOrRaw<uint32_t>({0u, 202088u, 202089u, 209176u, 209177u, 214840u, 214841u,
                                   227968u, 227969u, 0xFFFFFFFFu});
}

// A stride or height: small (most images then stay small, and inputs run fast), or anything at
// all (the copy then stops at the end of the record).
uint32_t PickDimension(fuzz::FuzzInput& in) {
    return in.Bool() ? in.U32() : in.Byte();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static Harness* const harness = new Harness();  // lives as long as the process
    fuzz::FuzzInput in(data, size);
    EventBuilder& builder = harness->builder;
    aov_event& event = *builder.event();

    const uint8_t flags = in.Byte();
    const Route route = static_cast<Route>((flags & 0x3) % 3);
    switch ((flags >> 2) & 0x3) {
        case 0: property_set(kDebugBufferProperty, ""); break;
        case 1: property_set(kDebugBufferProperty, "1"); break;
        case 2: property_set(kDebugBufferProperty, "2"); break;
        default: property_set(kDebugBufferProperty, "0x2x"); break;
    }
    property_set(kVerboseLogProperty, (flags & 0x10) ? "true" : "false");

    Expected expected{};
    expected.frameId = in.U32();
    expected.width = in.U32();
    expected.height = in.U32();
    expected.serviceType = (flags & 0x20) ? in.U32() : in.Byte() & 0xF;
    expected.size = PickOutputSize(in);
    builder.frame(expected.frameId, expected.width, expected.height)
            .serviceType(expected.serviceType)
            .apuOutputSize(expected.size);
    const uint32_t count = (flags & 0x40) ? in.U32() : in.Byte() % 40;
    const uint32_t angle = in.U32();
    builder.outputBytes(kFusionBlockOffset + kFusionCountOffset, &count, sizeof(count));
    builder.outputBytes(kFusionBlockOffset + kFusionRotateAngleOffset, &angle, sizeof(angle));
    event.image.stride = PickDimension(in);
    event.image.height = PickDimension(in);
    event.debug_image.stride = PickDimension(in);
    event.debug_image.height = PickDimension(in);

    // The rest: patches of arbitrary bytes, aimed at or near the parsed blocks.
    struct Patch {
        size_t offset, size;
    };
    std::vector<Patch> patches;
    while (!in.empty()) {
        static constexpr size_t kTargets[] = {kFusionBlockOffset, kGazeResultOffset,
                                              kFaceAngleResultOffset, kFaceFeatureResultOffset};
        const size_t offset = in.Bool() ? kTargets[in.Below(4)] + in.U16() % 2600
                                        : in.U32() % kApuOutputMapEnd;
        uint8_t bytes[256];
        const size_t length = in.Bytes(bytes, in.Byte());
        builder.outputBytes(offset, bytes, length);
        patches.push_back({offset, length});
    }

    switch (route) {
        case Route::kDirect: {
            const size_t before = harness->recorder->count;
            harness->direct->onCallback(&event);
            if (harness->recorder->count != before + 1) Fail("the record was not delivered");
            CheckResults(harness->recorder->last, expected, event);
            break;
        }
        case Route::kRegistry:
        case Route::kManager: {
            const size_t before = harness->client.fake->eventCount();
            if (route == Route::kRegistry) {
                harness->throughRegistry->onCallback(&event);
            } else {
                harness->manager->onCallback(&event);
            }
            // One thread, no lock held by anyone: nothing may be dropped.
            if (harness->client.fake->eventCount() != before + 1) {
                Fail("the client did not receive the record");
            }
            if (harness->client.fake->lastHandle() != 1) Fail("the client's handle is not 1");
            CheckResults(harness->client.fake->lastEvent(), expected, event);
            break;
        }
    }

    // The next input starts from the same record.
    for (const Patch& patch : patches) {
        const size_t end = std::min(patch.offset + patch.size, sizeof(aov_event::apu_output));
        memcpy(event.apu_output + patch.offset, harness->pristineOutput.data() + patch.offset,
               end - patch.offset);
    }
    const uint8_t* pristineFusion = harness->pristineOutput.data() + kFusionBlockOffset;
    memcpy(event.apu_output + kFusionBlockOffset, pristineFusion, 8);
    return 0;
}

// Random records over a full-size, exactly sized heap record: under AddressSanitizer any read past
// the record (a fusion count or an image size taken as received) fails the test.
#include <cutils/properties.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "event/AONManagerCallback.h"
#include "event/AovEvent.h"
#include "host/EventBuilder.h"
#include "tests/event/FakeOutEventCallback.h"

namespace {

using namespace tarvo::aon;
using host::EventBuilder;
using host::ImageBlock;
using Tag = ::aidl::vendor::tarvo::hardware::camera::aon::AONResultValue::Tag;

// Keeps each entry's key and array length (or int value), not the thousands of images.
class ShapeOutEventCallback final : public IOutEventCallback {
  public:
    void OnAONEvent(aon_test::AONCallBackInfo& info) override {
        shape.clear();
        for (const auto& r : info.results) {
            const auto tag = r.value.getTag();
            const int64_t v = tag == Tag::intValue     ? r.value.get<Tag::intValue>()
                              : tag == Tag::byteArray  ? r.value.get<Tag::byteArray>().size()
                              : tag == Tag::floatArray ? r.value.get<Tag::floatArray>().size()
                                                       : 0;
            shape.emplace_back(r.key, v);
        }
    }
    void OnAONSensorEvent(aon_test::AONSensorStateInfo&) override {}
    std::vector<std::pair<int32_t, int64_t>> shape;
};

TEST(EventFuzzTest, RandomRecordsStayInsideTheRecordAndKeepTheResultShape) {
    std::mt19937 rng(0xA0E5EED);
    const uint32_t kSizes[] = {202088, 202089, 209176, 209177, 214840, 214841, 227968, 227969};
    auto out = std::make_shared<ShapeOutEventCallback>();
    auto callback = AONManagerCallback::create(out);
    EventBuilder builder;
    builder.outputPattern(0, kApuOutputMapEnd, 4);

    for (int iteration = 0; iteration < 3000; ++iteration) {
        const uint32_t type = rng() % 2 ? rng() : rng() % 16;
        const uint32_t size = rng() % 2 ? kSizes[rng() % 8] : rng() % 2 ? rng() : rng() % 300000;
        const uint32_t count = rng() % 4 ? rng() % 40 : rng();
        const bool large = rng() % 8 == 0;
        const uint32_t stride = large ? rng() : rng() % 1300;
        const uint32_t height = large ? rng() : rng() % 800;
        const ImageBlock block = rng() % 2 ? ImageBlock::kDebugImage : ImageBlock::kImage;
        const uint32_t id = rng(), width = rng(), frameHeight = rng();
        property_set("vendor.debug.camera.utils.AovDebugBuffer",
                     block == ImageBlock::kDebugImage ? "2" : "1");
        builder.frame(id, width, frameHeight).serviceType(type).apuOutputSize(size);
        builder.outputBytes(kFusionBlockOffset, &count, sizeof(count));
        builder.image(block, stride, height, {});

        callback->onCallback(builder.event());

        std::vector<std::pair<int32_t, int64_t>> shape;
        if ((type & 1) && size > 202088) {
            shape.insert(shape.end(), {{100, 0},
                                       {101, static_cast<int32_t>(count)},
                                       {102, 20},
                                       {103, 20 * std::min<int64_t>(count, 30)}});
        }
        if ((type & 2) && size > 214840) shape.emplace_back(200, 14);
        if ((type & 4) && size > 209176) shape.emplace_back(300, 6);
        if ((type & 8) && size > 227968) shape.emplace_back(400, 128);
        if (stride != 0 && height != 0) {
            const uint32_t product = stride * height * 3u;
            shape.insert(
                    shape.end(),
                    {{700, static_cast<int32_t>(stride)},
                     {701, static_cast<int32_t>(height)},
                     {702, static_cast<int32_t>(stride)},
                     {703, std::min<int64_t>(product / 2, EventBuilder::ImageCapacity(block))}});
        }
        shape.insert(shape.end(), {{0, static_cast<int32_t>(id)},
                                   {1, static_cast<int32_t>(width)},
                                   {2, static_cast<int32_t>(frameHeight)}});
        ASSERT_EQ(out->shape, shape) << "iteration " << iteration;
    }
}

}  // namespace

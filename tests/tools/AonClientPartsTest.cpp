// aon-client's own arithmetic and its bounded lookup: the frames counted as missed, and how long
// and with what answer it looks for the service.
#include <android/binder_manager.h>
#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <optional>
#include <string>
#include <vector>

#include "host/binder_control.h"
#include "tests/support/FakeServiceCallback.h"
#include "tools/aon-client/FrameStats.h"
#include "tools/aon-client/ServiceFinder.h"

namespace aon_client {
namespace {

using std::chrono::milliseconds;

TEST(FrameStatsTest, CountsFramesMissedBetweenEventsNotAcrossRestarts) {
    struct Case {
        std::vector<std::optional<int64_t>> ids;
        int64_t missed;
        int64_t gaps;
        int64_t restarts;
        std::optional<std::pair<int64_t, int64_t>> lastGap;
    };
    const Case kCases[] = {
            {{1, 2, 3}, 0, 0, 0, std::nullopt},
            {{1, 2, 5}, 2, 1, 0, std::make_pair(3, 4)},
            {{7, 8, 1, 2}, 0, 0, 1, std::nullopt},  // the stream ran again from 1
            {{4, 4}, 0, 0, 1, std::nullopt},        // a repeat is no gap
            {{std::nullopt, 10, 11, 13}, 1, 1, 0, std::make_pair(12, 12)},  // one without an id
    };
    for (const Case& c : kCases) {
        FrameStats stats;
        std::optional<FrameStats::Gap> lastGap;
        const FrameStats::Clock::time_point start = FrameStats::Clock::now();
        for (size_t i = 0; i < c.ids.size(); ++i) {
            if (auto gap = stats.Add(c.ids[i], start + milliseconds(100 * i))) lastGap = gap;
        }
        SCOPED_TRACE(::testing::PrintToString(c.ids));
        EXPECT_EQ(stats.events(), static_cast<int64_t>(c.ids.size()));
        EXPECT_EQ(stats.missed(), c.missed);
        EXPECT_EQ(stats.gaps(), c.gaps);
        EXPECT_EQ(stats.restarts(), c.restarts);
        EXPECT_DOUBLE_EQ(stats.rate().value(), 10.0);  // events 100 ms apart
        ASSERT_EQ(lastGap.has_value(), c.lastGap.has_value());
        if (lastGap) {
            EXPECT_EQ(lastGap->first, c.lastGap->first);
            EXPECT_EQ(lastGap->last, c.lastGap->second);
        }
    }
}

constexpr char kInstance[] = "test.IServiceFinderTest/default";

// An interrupt ends a wait; an instance the device declares is named as declared once the wait
// runs out (one it does not declare: AonClientProgramTest); a service registered while the finder
// waits is found.
TEST(ServiceFinderTest, AnInterruptOrItsBoundEndsTheWaitAndALateServiceIsFound) {
    RunControl control;
    std::string error;
    std::future<ndk::SpAIBinder> found = std::async(std::launch::async, [&] {
        return FindService(kInstance, milliseconds(60000), control, &error);
    });
    control.OnInterrupt();
    ASSERT_EQ(found.wait_for(std::chrono::seconds(10)), std::future_status::ready);
    EXPECT_EQ(found.get().get(), nullptr);
    EXPECT_EQ(error, std::string("interrupted while waiting for ") + kInstance);

    RunControl running;
    host::DeclareService(kInstance);
    EXPECT_EQ(FindService(kInstance, milliseconds(0), running, &error).get(), nullptr);
    EXPECT_EQ(error, std::string(kInstance) +
                             " not found (waited 0.0 s); the device declares it: is the camera "
                             "HAL process running, and did it call RegisterIAonService()?");

    found = std::async(std::launch::async, [&] {
        return FindService(kInstance, milliseconds(20000), running, &error);
    });
    const ndk::SpAIBinder binder =
            ndk::SharedRefBase::make<aon_test::FakeServiceCallback>()->asBinder();
    ASSERT_EQ(AServiceManager_addService(binder.get(), kInstance), EX_NONE);
    ASSERT_EQ(found.wait_for(std::chrono::seconds(10)), std::future_status::ready);
    EXPECT_EQ(found.get().get(), binder.get()) << error;
}

}  // namespace
}  // namespace aon_client

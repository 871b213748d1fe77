// What the HTML picture of a run takes from records no scenario makes: two clients receiving the
// same frames (their values are taken once per frame), frames dropped while the manager or the
// registry was busy (a race of real time), names that need escaping; and nothing it would fetch.
// (Lanes, spans, marks, sizes and counts of a scenario's run: the aon_sim.report ctest.)
#include <gtest/gtest.h>

#include <string>

#include "tools/aon-sim/HtmlReport.h"
#include "tools/aon-sim/Trace.h"
#include "tools/aon-sim/VirtualClock.h"

namespace aon_sim {
namespace {

TEST(HtmlReportTest, ValuesOnceAFrameBusyDropsAndEscapedNames) {
    VirtualClock clock;
    Trace trace(clock);
    HtmlReport report("t.aonsim");
    trace.AddSink(&report);
    for (uint32_t id = 1; id <= 3; ++id) {
        clock.Advance(100000);
        trace.Append(FrameEntry{id, 0, 0, 0, 0, 0, 0, true});
        for (const char* client : {"<b>&", "two"}) {
            if (id == 3) break;
            EventEntry event{client, "", 0, 0, 0, 0, {}};
            event.results = {{200, "floatArray", true, 14, "[" + std::to_string(id) + ",1,2]"}};
            trace.Append(event);
        }
    }
    trace.Append(DropEntry{"two", 3, "why", DropCause::kManagerBusy});
    trace.Append(DropEntry{"two", 3, "why", DropCause::kRegistryBusy});
    const std::string page = report.Render();

    EXPECT_NE(page.find("data-series=\"face angle[0]\" data-points=2"), std::string::npos);
    EXPECT_NE(page.find("<g data-lane=\"two · frames\" "
                        "data-marks=\"delivered:2 manager:1 registry:1 refused:0 other:0\">"),
              std::string::npos);
    EXPECT_NE(page.find("<tr data-client=\"&lt;b&gt;&amp;\">"), std::string::npos);
    EXPECT_EQ(page.find("<b>"), std::string::npos);
    // Self-contained: nothing fetched, no script.
    for (const char* outside : {"http", "src=", "href=", "url(", "<script", "@import"}) {
        EXPECT_EQ(page.find(outside), std::string::npos) << outside;
    }
}

}  // namespace
}  // namespace aon_sim

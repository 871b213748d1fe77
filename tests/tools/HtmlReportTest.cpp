// The HTML picture of a run, from trace records whose numbers are known: its lanes, its frame
// marks by cause, its counts, sizes against the buffer and values, escaped names, and nothing it
// would fetch.
#include <gtest/gtest.h>

#include <string>

#include "tools/aon-sim/HtmlReport.h"
#include "tools/aon-sim/Trace.h"
#include "tools/aon-sim/VirtualClock.h"

namespace aon_sim {
namespace {

size_t Count(const std::string& text, const std::string& what) {
    size_t count = 0;
    for (size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + 1)) {
        ++count;
    }
    return count;
}

class HtmlReportTest : public ::testing::Test {
  protected:
    HtmlReportTest() { mTrace.AddSink(&mReport); }

    void Frame(uint32_t id, bool delivered = true) {
        mClock.Advance(100000);
        FrameEntry frame;
        frame.frameId = id;
        frame.delivered = delivered;
        mTrace.Append(frame);
    }
    void Event(const std::string& client, size_t bytes, float angle) {
        EventEntry event;
        event.client = client;
        event.bytes = bytes;
        event.limit = 1040384;
        event.results = {{101, "intValue", false, 1, "2"},
                         {200, "floatArray", true, 14, "[" + std::to_string(angle) + ",1,2,3]"},
                         {703, "byteArray", true, 460800, ""}};
        mTrace.Append(event);
    }
    void Drop(const std::string& client, uint32_t id, DropCause cause) {
        mTrace.Append(DropEntry{client, id, "why", cause});
    }
    void State(const std::string& client, int32_t state) {
        SensorStateEntry entry;
        entry.client = client;
        entry.state = state;
        mTrace.Append(entry);
    }
    void Vendor(const char* call, int64_t result) {
        VendorEntry entry;
        entry.call = call;
        entry.result = result;
        if (std::string(call) == "init") entry.param = ParamFields{0, 640, 480, 15, 0, 0xF};
        mTrace.Append(entry);
    }

    VirtualClock mClock;
    Trace mTrace{mClock};
    HtmlReport mReport{"t.aonsim"};
};

TEST_F(HtmlReportTest, LanesMarksAndCountsComeFromTheRecords) {
    mTrace.Append(StatusEntry{"app", "registerClient", "aon-sim", {}, 1, std::nullopt});
    Vendor("init", 0);  // refused: the stream does not run
    Vendor("init", 1);
    State("app", 1);
    Frame(1);
    Event("app", 461372, 10.5f);
    Frame(2);
    Drop("app", 2, DropCause::kManagerBusy);
    Frame(3);
    Drop("app", 3, DropCause::kRegistryBusy);
    Frame(4);
    TransactionEntry refused;
    refused.method = "onAONEvent";
    refused.caller = "camera process";
    refused.target = "app";
    refused.refused = true;
    refused.bytes = 1383052;
    refused.limit = 1040384;
    mTrace.Append(refused);
    Drop("app", 4, DropCause::kRefused);
    mTrace.Append(NoteEntry{"camera stack: NotifyOpen(1)", CameraCall{1, true}});
    State("app", 2);
    Vendor("uninit", 1);
    Frame(5, false);
    Frame(6, false);
    mTrace.Append(NoteEntry{"camera stack: NotifyClose(1)", CameraCall{1, false}});
    State("app", 0);
    Frame(7);  // no client: nothing to mark
    const std::string page = mReport.Render();

    EXPECT_NE(page.find("<g data-lane=\"camera device 1\">"), std::string::npos);
    EXPECT_EQ(Count(page, "data-label=\"open\""), 1u);
    EXPECT_NE(page.find("<g data-lane=\"stream\">"), std::string::npos);
    // Only the init that succeeded opens a span.
    EXPECT_EQ(Count(page,
                    "data-label=\"0xf fusion, face angle, gaze, face feature · sensor 0, "
                    "640x480 @ 15 fps\""),
              1u);
    EXPECT_EQ(Count(page, "data-mark=nostream"), 2u);
    EXPECT_NE(page.find("<g data-lane=\"app · sensor 0\">"), std::string::npos);
    for (const char* state : {"started (1)", "busy (2)", "idle (0)"}) {
        EXPECT_EQ(Count(page, std::string("data-label=\"") + state + "\""), 1u) << state;
    }
    EXPECT_NE(page.find("data-lane=\"app · frames\" "
                        "data-marks=\"delivered:1 manager:1 registry:1 refused:1 other:0\""),
              std::string::npos);
    EXPECT_NE(page.find("<tr data-client=\"app\"><td>app</td><td data-count=events>1</td>"
                        "<td data-count=delivered>1</td><td data-count=manager>1</td>"
                        "<td data-count=registry>1</td><td data-count=refused>1</td>"
                        "<td data-count=other>0</td><td data-count=failed>1</td></tr>"),
              std::string::npos);
    // The delivered event and the refused one against the buffer.
    EXPECT_NE(page.find("data-limit=1040384"), std::string::npos);
    EXPECT_NE(page.find("app: 461,372 bytes at"), std::string::npos);
    EXPECT_NE(page.find("app: 1,383,052 bytes, refused at"), std::string::npos);
    EXPECT_NE(page.find("data-series=\"face angle[0]\" data-points=1"), std::string::npos);
    EXPECT_NE(page.find("data-series=\"fusion item count\" data-points=1"), std::string::npos);
    EXPECT_EQ(page.find("data-series=\"gaze[0]\""), std::string::npos);  // none in the trace
    EXPECT_NE(page.find("0.700 s, 5 frames delivered by the stream, 2 asked for while no stream "
                        "ran."),
              std::string::npos);
}

TEST_F(HtmlReportTest, TheValuesOfAFrameAreTakenOnceAndNamesAreEscaped) {
    mTrace.Append(StatusEntry{"<b>&", "registerClient", "aon-sim", {}, 1, std::nullopt});
    mTrace.Append(StatusEntry{"two", "registerClient", "aon-sim", {}, 2, std::nullopt});
    Frame(1);
    Event("<b>&", 100, 1.0f);
    Event("two", 100, 1.0f);
    Frame(2);
    Event("<b>&", 100, 2.0f);
    Event("two", 100, 2.0f);
    const std::string page = mReport.Render();

    EXPECT_NE(page.find("data-series=\"face angle[0]\" data-points=2"), std::string::npos);
    EXPECT_NE(page.find("<tr data-client=\"&lt;b&gt;&amp;\">"), std::string::npos);
    EXPECT_EQ(page.find("<b>"), std::string::npos);
    // Self-contained: nothing fetched, no script.
    for (const char* outside : {"http", "src=", "href=", "url(", "<script", "@import"}) {
        EXPECT_EQ(page.find(outside), std::string::npos) << outside;
    }
}

}  // namespace
}  // namespace aon_sim

// The trace's two renderings and what feeds them: JSON stays valid whatever a log line holds,
// numbers read back as they were, folded frame traffic keeps its counts, pointers are hidden and
// nothing else, and result mismatches say what was expected and what came.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <string>

#include <nlohmann/json.hpp>

#include "tools/aon-sim/ExpectationCheck.h"
#include "tools/aon-sim/JsonRenderer.h"
#include "tools/aon-sim/LogTap.h"
#include "tools/aon-sim/TextRenderer.h"
#include "tools/aon-sim/Trace.h"
#include "tools/aon-sim/VirtualClock.h"
#include "tools/common/Console.h"
#include "tools/common/JsonWriter.h"

namespace aon_sim {
namespace {

TEST(JsonWriterTest, EscapesWhatALogLineMayHold) {
    aon_tools::JsonWriter json;
    json.BeginObject().Key("text").String("say \"hi\"\\\n\t\x01 ok").Key("n").Int(-3);
    json.Key("list").BeginArray().Int(1).Bool(false).EndArray().EndObject();
    EXPECT_EQ(json.str(), R"({"text":"say \"hi\"\\\n\t\u0001 ok","n":-3,"list":[1,false]})");
}

TEST(JsonWriterTest, NumbersReadBackAsTheSameValue) {
    EXPECT_EQ(aon_tools::JsonWriter::FloatNumber(0.1f), "0.1");
    EXPECT_EQ(aon_tools::JsonWriter::FloatNumber(0.91f), "0.91");  // not 0.910000026
    EXPECT_EQ(aon_tools::JsonWriter::FloatNumber(-28.0f), "-28");
    EXPECT_EQ(std::strtof(aon_tools::JsonWriter::FloatNumber(1.0f / 3.0f).c_str(), nullptr),
              1.0f / 3.0f);
    EXPECT_EQ(std::strtod(aon_tools::JsonWriter::Number(0.1 + 0.2).c_str(), nullptr), 0.1 + 0.2);
    EXPECT_EQ(aon_tools::JsonWriter::Number(1.0 / 0.0), "null");
    EXPECT_EQ(aon_tools::JsonWriter::FloatNumber(std::nanf("")), "null");
}

// The JSON lines stay valid whatever a log line holds, keep their key order, keep float values
// as their shortest text, and show only the frame keys' values unless asked for all.
TEST(JsonRendererTest, LinesParseBackWithTheirValues) {
    FILE* file = std::tmpfile();
    ASSERT_NE(file, nullptr);
    EventEntry event;
    event.client = "app";
    event.results = {{101, "floatValue", false, 1, "0.91"}, {0, "intValue", false, 1, "7"}};
    LogEntry log{6, "AONLog_HAL", "say \"hi\"\x01 \xff", "aov-frames"};
    for (const bool showValues : {true, false}) {
        JsonRenderer renderer(file, showValues);
        renderer.Write({1, 5, log});
        renderer.Write({2, 6, event});
    }
    std::rewind(file);
    std::vector<std::string> lines;
    char buffer[1024];
    while (std::fgets(buffer, sizeof(buffer), file) != nullptr) lines.emplace_back(buffer);
    std::fclose(file);
    ASSERT_EQ(lines.size(), 4u);
    EXPECT_EQ(lines[0].rfind(R"({"seq":1,"t_us":5,"kind":"log","priority":"E",)", 0), 0u);
    EXPECT_EQ(nlohmann::json::parse(lines[0])["text"], "say \"hi\"\x01 \xef\xbf\xbd");
    EXPECT_NE(lines[1].find(R"("results":[{"key":101,"name":"fusion item count",)"
                            R"("type":"floatValue","value":0.91},)"
                            R"({"key":0,"name":"frame id","type":"intValue","value":7}])"),
              std::string::npos)
            << lines[1];
    EXPECT_NE(lines[3].find(R"("results":[{"key":101,"name":"fusion item count",)"
                            R"("type":"floatValue"},)"
                            R"({"key":0,"name":"frame id","type":"intValue","value":7}])"),
              std::string::npos)
            << lines[3];
}

TEST(LogTapTest, HidesPointersButNotMasksOrNumbers) {
    EXPECT_EQ(LogTap::HidePointers("debug_mode=0, AovStreamCallback=0x5558cb0a7b30"),
              "debug_mode=0, AovStreamCallback=0x<ptr>");
    EXPECT_EQ(LogTap::HidePointers("sensorId=0, support mode=0x3"),
              "sensorId=0, support mode=0x3");
    EXPECT_EQ(LogTap::HidePointers("mode=0x12345678 at 0x123456789"),
              "mode=0x12345678 at 0x<ptr>");
    EXPECT_EQ(LogTap::HidePointers("mCallback=0x0, sensorIds:0,"), "mCallback=0x0, sensorIds:0,");
}

// Renders into a temporary file and reads the lines back.
class TextRendererTest : public ::testing::Test {
  protected:
    void SetUp() override {
        mFile = std::tmpfile();
        ASSERT_NE(mFile, nullptr);
    }
    void TearDown() override { std::fclose(mFile); }

    std::string Output() {
        std::fflush(mFile);
        std::rewind(mFile);
        std::string text;
        char buffer[512];
        while (std::fgets(buffer, sizeof(buffer), mFile) != nullptr) text += buffer;
        return text;
    }

    static FrameEntry Frame(uint32_t id) {
        FrameEntry frame;
        frame.frameId = id;
        frame.width = 640;
        frame.height = 480;
        frame.delivered = true;
        return frame;
    }

    static EventEntry Event(const std::string& client, int32_t frameId) {
        EventEntry event;
        event.client = client;
        event.thread = "aov-frames";
        event.handle = 1;
        event.serviceType = 0x1;
        event.results = {{101, "intValue", false, 1, ""},
                         {703, "byteArray", true, 460800, ""},
                         {0, "intValue", false, 1, std::to_string(frameId)}};
        return event;
    }

    FILE* mFile = nullptr;
};

TEST_F(TextRendererTest, FoldedFramesAreCountedAndReportedWhenSomethingElseHappens) {
    VirtualClock clock;
    Trace trace(clock);
    aon_tools::Console console(mFile);
    TextRenderer renderer(console, {true, "aon-sim"});
    trace.AddSink(&renderer);
    for (uint32_t id = 1; id <= 4; ++id) {
        trace.Append(Frame(id));
        trace.Append(Event("app", static_cast<int32_t>(id)));
        if (id == 3) trace.Append(Event("other", 3));
    }
    trace.Append(StepEntry{0, "app stops"});
    trace.Append(Frame(5));
    trace.Append(Frame(6));
    trace.WriteSummary(Summary{});

    const std::string out = Output();
    EXPECT_NE(out.find("vendor  frame 1 640x480"), std::string::npos) << out;
    // Keys carry their names; a thread tag is explained where it first shows.
    EXPECT_NE(out.find("# [aov-frames] marks what ran on the vendor stream's frame thread\n"
                       "   0.000   app  <- onAONEvent(handle 1) type 0x1 (fusion), frame 1: "
                       "101 fusion item count: int, 703 image: byte[460800], 0 frame id: int=1  "
                       "[aov-frames]"),
              std::string::npos)
            << out;
    EXPECT_EQ(out.find("marks what ran", out.find("marks what ran") + 1), std::string::npos) << out;
    EXPECT_EQ(out.find("frame 2 640x480"), std::string::npos) << out;
    EXPECT_NE(out.find("... 3 more frames (2 to 4), app received 3 events, other received 1 "
                       "events\n   0.000 > app stops"),
              std::string::npos)
            << out;
    // A new run of frames shows its first frame again and is flushed by the summary.
    EXPECT_NE(out.find("vendor  frame 5 640x480"), std::string::npos) << out;
    EXPECT_NE(out.find("... 1 more frames (6 to 6)\n-- summary --"), std::string::npos) << out;
}

TEST_F(TextRendererTest, StatusesRenderAsTheScenarioLanguageWritesResults) {
    VirtualClock clock;
    aon_tools::Console console(mFile);
    TextRenderer renderer(console, {false, "aon-sim"});
    StatusEntry status{"app", "registerClient", "aon-sim", {}, 1, std::nullopt};
    EXPECT_EQ(renderer.Render(status), "  app  registerClient -> ok, handle 1");
    status.thread = "AONManager";  // a client answering a callback on the library's thread
    EXPECT_EQ(renderer.Render(status), "  app  registerClient -> ok, handle 1  [AONManager]");
    status.thread = "aon-sim";
    status.handle.reset();
    status.result = {-8, 2, 0, "some type not support"};
    EXPECT_EQ(renderer.Render(status), "  app  registerClient -> error 2 \"some type not support\"");
    status.result = {-3, 0, 0, ""};
    EXPECT_EQ(renderer.Render(status), "  app  registerClient -> exception EX_ILLEGAL_ARGUMENT");
}

TEST_F(TextRendererTest, RefusedAndNestedTransactionsSayWhoWaitsAndWhatWasLost) {
    aon_tools::Console console(mFile);
    TextRenderer renderer(console, {false, "aon-sim"});
    TransactionEntry refused{
            "onAONEvent", "camera process", "app",   "aon-sim", false, true,
            1382620,      1382624,          1040384, 1040384,   "",    "app misses frame 3"};
    EXPECT_EQ(renderer.Render(refused),
              "  binder  onAONEvent camera process -> app refused: 1382620 bytes, charge 1382624 > "
              "1040384 free of app's 1040384-byte buffer (FAILED_TRANSACTION); app misses frame 3");
    TransactionEntry reply{"startService",
                           "app",
                           "camera process",
                           "aon-sim",
                           true,
                           true,
                           4,
                           8,
                           0,
                           1040384,
                           "",
                           "app's call fails after camera process ran it"};
    EXPECT_EQ(renderer.Render(reply),
              "  binder  reply of startService app <- camera process refused: 4 bytes, charge 8 > "
              "0 free of app's 1040384-byte buffer (FAILED_TRANSACTION); app's call fails after "
              "camera process ran it");
    TransactionEntry nested{"startService",
                            "app",
                            "camera process",
                            "AONManager",
                            false,
                            false,
                            120,
                            120,
                            1040384,
                            1040384,
                            "onAONSensorEvent to app",
                            ""};
    EXPECT_EQ(renderer.Render(nested),
              "  binder  startService app -> camera process runs nested on thread AONManager, "
              "which waits for onAONSensorEvent to app");
}

TEST(CallResultCheckTest, SaysWhatWasExpectedAndWhatCame) {
    CallExpectation error{CallExpectation::Kind::kServiceSpecific, 1, "config not support"};
    EXPECT_EQ(CheckCallResult(error, {-8, 1, 0, "config not support"}), std::nullopt);
    EXPECT_EQ(CheckCallResult(error, {-8, 1, 0, "aon manager is null"}),
              "expected error 1 \"config not support\", got error 1 \"aon manager is null\"");
    EXPECT_EQ(CheckCallResult(error, {}), "expected error 1 \"config not support\", got ok");

    // Without a message, the status must carry none.
    CallExpectation bare{CallExpectation::Kind::kServiceSpecific, 1, ""};
    EXPECT_EQ(CheckCallResult(bare, {-8, 1, 0, "x"}), "expected error 1, got error 1 \"x\"");

    CallExpectation exception{CallExpectation::Kind::kException, -3, ""};
    EXPECT_EQ(CheckCallResult(exception, {-3, 0, 0, ""}), std::nullopt);
    EXPECT_EQ(CheckCallResult(exception, {-129, 0, -32, ""}),
              "expected exception EX_ILLEGAL_ARGUMENT, got exception EX_TRANSACTION_FAILED "
              "(status -32)");
    EXPECT_EQ(CheckCallResult({}, {-8, 1, 0, ""}), std::nullopt);
}

}  // namespace
}  // namespace aon_sim

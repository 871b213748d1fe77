// What feeds the trace's renderings and what no example scenario shows: JSON text stays valid
// whatever a log line holds and numbers read back as they were; folded frame traffic keeps its
// counts up to the summary; pointers are hidden and nothing else; a refused reply names the
// caller's buffer; result mismatches say what was expected and what came. (Key names, thread
// tags, nested and refused requests, the JSON lines' key order: the example scenarios' ctests.)
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

using aon_tools::JsonWriter;

std::string ReadBack(FILE* file) {
    std::fflush(file);
    std::rewind(file);
    std::string text;
    for (int c; (c = std::fgetc(file)) != EOF;) text.push_back(static_cast<char>(c));
    std::fclose(file);
    return text;
}

TEST(JsonTextTest, EscapesWhatALogLineMayHoldAndNumbersReadBackAsTheSameValue) {
    JsonWriter json;
    json.BeginObject().Key("text").String("say \"hi\"\\\n\t\x01 ok").Key("n").Int(-3);
    json.Key("list").BeginArray().Int(1).Bool(false).EndArray().EndObject();
    EXPECT_EQ(json.str(), R"({"text":"say \"hi\"\\\n\t\u0001 ok","n":-3,"list":[1,false]})");
    EXPECT_EQ(JsonWriter::FloatNumber(0.91f), "0.91");  // not 0.910000026
    EXPECT_EQ(std::strtof(JsonWriter::FloatNumber(1.0f / 3.0f).c_str(), nullptr), 1.0f / 3.0f);
    EXPECT_EQ(JsonWriter::FloatNumber(std::nanf("")), "null");

    // A JSON line stays parseable with control bytes and invalid UTF-8 in a log line.
    FILE* file = std::tmpfile();
    ASSERT_NE(file, nullptr);
    JsonRenderer(file).Write({1, 5, LogEntry{6, "AONLog_HAL", "say \"hi\"\x01 \xff", "t"}});
    EXPECT_EQ(nlohmann::json::parse(ReadBack(file))["text"], "say \"hi\"\x01 \xef\xbf\xbd");
}

TEST(LogTapTest, HidesPointersButNotMasksOrNumbers) {
    const std::pair<const char*, const char*> kCases[] = {
            {"AovStreamCallback=0x5558cb0a7b30", "AovStreamCallback=0x<ptr>"},
            {"mode=0x12345678 at 0x123456789", "mode=0x12345678 at 0x<ptr>"},
            {"mCallback=0x0, support mode=0x3", "mCallback=0x0, support mode=0x3"},
    };
    for (const auto& [text, shown] : kCases) EXPECT_EQ(LogTap::HidePointers(text), shown);
}

TEST(TextRendererTest, FoldedFramesAreCountedUpToTheNextLineOrTheSummary) {
    FILE* file = std::tmpfile();
    ASSERT_NE(file, nullptr);
    VirtualClock clock;
    Trace trace(clock);
    aon_tools::Console console(file);
    TextRenderer renderer(console, {true, "aon-sim"});
    trace.AddSink(&renderer);
    FrameEntry frame{0, 640, 480, 0, 0, 0, 0, true};
    EventEntry event{"", "aov-frames", 0, 0, 1, 0x1, {}};
    for (uint32_t id = 1; id <= 4; ++id) {
        frame.frameId = id;
        trace.Append(frame);
        event.results = {{0, "intValue", false, 1, std::to_string(id)}};
        for (const char* client : {"app", "other"}) {
            event.client = client;
            if (id != 2 || event.client == "app") trace.Append(event);
        }
    }
    trace.Append(StepEntry{0, "app stops"});
    for (uint32_t id = 5; id <= 6; ++id) {
        frame.frameId = id;
        trace.Append(frame);
    }
    trace.WriteSummary(Summary{});
    const std::string out = ReadBack(file);
    EXPECT_EQ(out.find("frame 2 640x480"), std::string::npos) << out;
    // A thread tag is explained once, where it first shows.
    const size_t explained = out.find("# [aov-frames] marks what ran");
    EXPECT_LT(explained, out.find("app  <- onAONEvent(handle 1)")) << out;
    EXPECT_EQ(out.find("# [", explained + 1), std::string::npos) << out;
    EXPECT_NE(out.find("... 3 more frames (2 to 4), app received 3 events, other received 2 "
                       "events\n   0.000 > app stops\n   0.000   vendor  frame 5 640x480"),
              std::string::npos)
            << out;
    EXPECT_NE(out.find("... 1 more frames (6 to 6)\n-- summary --"), std::string::npos) << out;

    // A refused reply went to the caller's buffer.
    TransactionEntry reply{"startService", "app", "camera process",  "aon-sim", true, true, 4, 8, 0,
                           1040384,        "",    "app's call fails"};
    EXPECT_EQ(renderer.Render(reply),
              "  binder  reply of startService app <- camera process refused: 4 bytes, charge 8 > "
              "0 free of app's 1040384-byte buffer (FAILED_TRANSACTION); app's call fails");
}

TEST(CallResultCheckTest, SaysWhatWasExpectedAndWhatCame) {
    // (A result that matches, or none asked for: every example scenario's expectations.)
    CallExpectation error{CallExpectation::Kind::kServiceSpecific, 1, "config not support"};
    EXPECT_EQ(CheckCallResult(error, {-8, 1, 0, "aon manager is null"}),
              "expected error 1 \"config not support\", got error 1 \"aon manager is null\"");
    CallExpectation exception{CallExpectation::Kind::kException, -3, ""};
    EXPECT_EQ(CheckCallResult(exception, {-129, 0, -32, ""}),
              "expected exception EX_ILLEGAL_ARGUMENT, got exception EX_TRANSACTION_FAILED "
              "(status -32)");
}

}  // namespace
}  // namespace aon_sim

// The scenario language: a mistake names its file and line and what was expected; a whole file
// is checked before anything is handed to the runner.
#include <gtest/gtest.h>

#include <sstream>

#include "tools/aon-sim/scenario/ScenarioParser.h"

namespace aon_sim {
namespace {

// The errors of a file that fails, or none when it parses.
std::vector<std::string> ErrorsOf(const std::string& text, Scenario* scenario = nullptr) {
    ScenarioParser parser("t.aonsim");
    std::istringstream in(text);
    Scenario parsed;
    return parser.Parse(in, scenario != nullptr ? scenario : &parsed) ? std::vector<std::string>{}
                                                                      : parser.errors();
}

struct BadLine {
    const char* name;
    std::string text;
    const char* error;
};

constexpr char kBinary[] = "client app\nab\0cd\nclinet\n";

void PrintTo(const BadLine& line, std::ostream* out) {
    *out << line.name;
}

class ScenarioParserErrorTest : public ::testing::TestWithParam<BadLine> {};

TEST_P(ScenarioParserErrorTest, NamesTheLineAndWhatWasExpected) {
    const std::vector<std::string> errors = ErrorsOf(GetParam().text);
    ASSERT_EQ(errors.size(), 1u) << ::testing::PrintToString(errors);
    EXPECT_EQ(errors[0], GetParam().error);
}

const BadLine kBadLines[] = {
        {"UndeclaredClient", "client app\nexpect bob events 1\n",
         "t.aonsim:2: expected a declared client, got 'bob' (declared: app)"},
        {"ClientUsedAfterItsDeath", "client app\napp dies\napp list\n",
         "t.aonsim:3: expected a living client, got 'app', which dies at line 2"},
        {"TwoClientsInOneProcess", "client a pid 5\nclient b pid 5\n",
         "t.aonsim:2: expected a process id of its own, got 5, the process of client a"},
        {"KeywordAsClientName", "client frames\n",
         "t.aonsim:1: expected a client name (letters, digits, '_' or '-', not a command word), "
         "got 'frames'"},
        {"SubscriptionWithoutRate", "client app\napp subscribe sensor 0 size 640x480 type 0xF\n",
         "t.aonsim:2: expected 'fps' in the subscription, got the end of the line"},
        {"MaskOutOfRange", "client app\napp start 0x1FFFFFFFF\n",
         "t.aonsim:2: expected a service-type mask such as 0xF, got '0x1FFFFFFFF'"},
        {"UnquotedStatusMessage", "client app\napp start 1 -> error 1 failed\n",
         "t.aonsim:2: expected a quoted status message, got 'failed'"},
        {"ResultOnAnAction", "client app\napp dies -> ok\n",
         "t.aonsim:2: expected the end of the line after 'dies', got '->'"},
        {"NoStreamAfterTheServiceStarted", "client app\napp list\nvendor absent\n",
         "t.aonsim:3: expected 'vendor absent' before the service starts, got it after line 2, "
         "where the service already runs"},
        {"UnterminatedNote", "note \"half a note\n",
         "t.aonsim:1: expected a closing quote, got the end of the line"},
        {"StateWithoutColon", "client app\nexpect app states 0-1\n",
         "t.aonsim:2: expected a sensor state as SENSOR:STATE such as 0:1, got '0-1'"},
        {"NoFrames", "frames 0\n",
         "t.aonsim:1: expected a number of frames from 1 to 100000, got 0"},
        {"FrameOptionTwice", "frame id 1 id 2\n",
         "t.aonsim:1: expected each frame option once, got 'id' a second time"},
        {"DurationWithoutUnit", "wait 5\n",
         "t.aonsim:1: expected a duration such as 500ms or 2s, got '5'"},
        {"RateListWithWord", "vendor sensor 0 size 640x480 fps 10,x\n",
         "t.aonsim:1: expected frame rates such as 10,15,30, got '10,x'"},
        // What a file holds is shown escaped, never as raw bytes to the terminal.
        {"ControlBytesEscaped", "# a comment\n\nz\x01z\xff\n",
         "t.aonsim:3: expected a command (property, vendor, client, camera, frame, frames, wait, "
         "note, expect) or a declared client, got 'z\\x01z\\xff'"},
        {"BinaryFileStopsAtItsFirstNul", std::string(kBinary, sizeof(kBinary) - 1),
         "t.aonsim:2: expected a scenario (text), got a binary file (a NUL byte)"},
        {"OnlyComments", "# nothing yet\n\n   \n",
         "t.aonsim: expected at least one command, got only blank lines and comments"},
};

INSTANTIATE_TEST_SUITE_P(Lines, ScenarioParserErrorTest, ::testing::ValuesIn(kBadLines),
                         [](const auto& info) { return std::string(info.param.name); });

TEST(ScenarioParserTest, StopsAfterTenMistakesAndShowsLongWordsInPart) {
    std::string text;
    for (int i = 0; i < 30; ++i) text += std::string(100, 'x') + "\n";
    const std::vector<std::string> errors = ErrorsOf(text);
    ASSERT_EQ(errors.size(), 11u);
    EXPECT_EQ(errors[9].rfind("t.aonsim:10: ", 0), 0u);
    EXPECT_NE(errors[9].find("got '" + std::string(60, 'x') + "...'"), std::string::npos);
    EXPECT_EQ(errors[10], "t.aonsim: stopped after 10 mistakes");
}

// A property one character away from one of the library's six gets a warning naming it (the
// message itself: aon_sim.property_one_character_off); the right name, or one further away, not.
TEST(ScenarioParserTest, APropertyNameOneCharacterOffIsWarnedAbout) {
    ScenarioParser parser("t.aonsim");
    std::istringstream in(
            "property tarvo.aon.hal.mtk_dump_ap 1\n"               // one removed
            "property vendor.debug.camera.utils.AovDebugMod3 1\n"  // one changed
            "property vendor.debug.cameralog.enabled 1\n"          // one added
            "property tarvo.aon.hal.mtk_dump_apu 1\n"
            "property vendor.debug.camera.utils.AovBitDepth.Main 10\n"
            "property persist.vendor.something 1\n");
    Scenario scenario;
    ASSERT_TRUE(parser.Parse(in, &scenario));
    ASSERT_EQ(parser.warnings().size(), 3u) << ::testing::PrintToString(parser.warnings());
    EXPECT_EQ(parser.warnings()[0].rfind(
                      "t.aonsim:1: warning: property 'tarvo.aon.hal.mtk_dump_ap' "),
              0u);
    EXPECT_NE(parser.warnings()[1].find("mean 'vendor.debug.camera.utils.AovDebugMode'?"),
              std::string::npos);
    EXPECT_NE(parser.warnings()[2].find("mean 'vendor.debug.cameralog.enable'?"),
              std::string::npos);
}

// What the example scenarios cannot show through the library's behaviour: options in any order,
// the values the library passes through untouched, and the rarer words.
TEST(ScenarioParserTest, ReadsWhatTheExamplesLeaveUnseen) {
    Scenario scenario;
    const std::vector<std::string> errors = ErrorsOf(
            "vendor sensor 1 size 320x240 fps 5,15 attribute 9 mode 0x5 status -1\n"
            "client app pid 77  # the app\n"
            "app subscribe type 0x3 fps 15 size 320x240 sensor 2 mode 3 extra 4,-5 handle 9 "
            "-> error 1 \"config not support\"\n"
            "app register null 0x80000000 -> exception EX_ILLEGAL_ARGUMENT\n"
            "wait 1.5s\n"
            "expect app key 100 = -1.25\n",
            &scenario);
    ASSERT_TRUE(errors.empty()) << ::testing::PrintToString(errors);
    ASSERT_EQ(scenario.commands.size(), 6u);
    const auto& sensor = std::get<VendorSensor>(scenario.commands[0].body);
    EXPECT_EQ(sensor.size.value().rates, std::vector<int32_t>({5, 15}));
    EXPECT_EQ(sensor.size->attribute, 9);
    EXPECT_EQ(sensor.mode, 5u);
    EXPECT_EQ(scenario.commands[1].text, "client app pid 77");
    EXPECT_EQ(std::get<ClientDeclare>(scenario.commands[1].body).pid, 77);
    const auto& subscribe = std::get<ClientCall>(scenario.commands[2].body);
    const SubscribeConfig& c = subscribe.config;
    EXPECT_EQ(std::vector<int32_t>({c.sensorId, c.frameWidth, c.frameHeight, c.fps, c.serviceType,
                                    c.deliveryMode, c.extraParam0, c.extraParam1}),
              std::vector<int32_t>({2, 320, 240, 15, 3, 3, 4, -5}));
    EXPECT_EQ(subscribe.handle, 9);
    EXPECT_EQ(subscribe.expect.message, "config not support");
    const auto& reg = std::get<ClientCall>(scenario.commands[3].body);
    EXPECT_TRUE(reg.nullCallback);
    EXPECT_EQ(reg.serviceType, INT32_MIN);  // a mask keeps its bits up to 0xFFFFFFFF
    EXPECT_EQ(reg.expect.code, -3);
    EXPECT_EQ(std::get<Wait>(scenario.commands[4].body).micros, 1500000);
    EXPECT_DOUBLE_EQ(std::get<ExpectKey>(scenario.commands[5].body).value, -1.25);
}

}  // namespace
}  // namespace aon_sim

// aon-dump over dump directories the library itself wrote (its dumpOutput, sent into a temporary
// directory), then damaged as pulled directories are: files missing, a byte short or long, names
// that are not dumps. What is found, what the replay gives the client, what the program answers.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <fstream>

#include "event/DebugDumps.h"
#include "host/DataAon.h"
#include "host/EventBuilder.h"
#include "tools/aon-dump/AonDump.h"
#include "tools/aon-dump/DumpScan.h"
#include "tools/aon-dump/FrameReplay.h"
#include "tools/aon-dump/Render.h"

namespace aon_dump {
namespace {

namespace fs = std::filesystem;
using Tag = aidl::vendor::tarvo::hardware::camera::aon::AONResultValue::Tag;
using tarvo::aon::kDumpBlocks;

constexpr std::array<float, 6> kGaze = {0.5f, -1.25f, 3, 4, 5, 6};

size_t Row(const char* name) {
    return FindBlockRow(name).value();
}

class AonDumpTest : public ::testing::Test {
  protected:
    void SetUp() override {
        mDirectory = fs::temp_directory_path() / ("aon-dump-test-" + std::to_string(getpid()));
        fs::remove_all(mDirectory);
        fs::create_directories(mDirectory);
        host::RedirectDataAon(mDirectory.string());
    }
    void TearDown() override {
        fs::remove_all(mDirectory);
        fs::remove_all(mDirectory.string() + "-empty");
    }

    // The library dumps one frame.
    void Dump(uint32_t frameId, uint32_t serviceType) {
        host::EventBuilder builder;
        builder.frame(frameId, 640, 480).serviceType(serviceType).fullApuOutputSize();
        builder.outputPattern(0, tarvo::aon::kApuOutputMapEnd, frameId).gaze(kGaze);
        tarvo::aon::dumpOutput(builder.event());
    }
    fs::path File(int frameId, const char* block) const {
        return mDirectory / ("frame_" + std::to_string(frameId) + "_" + block + ".dump");
    }
    void Resize(int frameId, const char* block, int delta) {
        fs::resize_file(File(frameId, block), kDumpBlocks[Row(block)].bytes + delta);
    }
    // Frame 5 with every detector, damaged; frame_id 4294967293 (named -3) with gaze, whole;
    // two files that are not dumps.
    void DumpDamagedDirectory() {
        Dump(5, 0xF);
        fs::remove(File(5, "aon_gaze_output_channel1"));
        Resize(5, "angle_result", -1);
        Resize(5, "face_feature_result", +1);
        Dump(4294967293u, 0x4);
        std::ofstream(mDirectory / "notes.txt") << "x";
        fs::copy_file(File(-3, "aon_input"), mDirectory / "frame_05_aon_input.dump");
    }

    struct Run {
        int status;
        std::string out, err;
    };
    Run RunWith(std::vector<std::string> args) {
        args.insert(args.begin(), "aon-dump");
        std::vector<char*> argv;
        for (std::string& arg : args) argv.push_back(arg.data());
        FILE* out = std::tmpfile();
        FILE* err = std::tmpfile();
        Run run{RunAonDump(static_cast<int>(argv.size()), argv.data(), out, err), "", ""};
        for (auto [file, text] : {std::pair{out, &run.out}, std::pair{err, &run.err}}) {
            std::rewind(file);
            for (int c; (c = std::fgetc(file)) != EOF;) text->push_back(static_cast<char>(c));
            std::fclose(file);
        }
        return run;
    }

    fs::path mDirectory;
};

// (Every name the library writes, negative ids included, is read in DamageIsFound... below.)
TEST(DumpFileNameTest, OnlyNamesTheLibraryWritesAreDumps) {
    const struct {
        const char* name;
        bool dump;
        int32_t id;
    } cases[] = {
            {"frame_2147483647_aon_input.dump", true, INT32_MAX},
            {"frame_2147483648_aon_input.dump", false, 0},  // %d never writes it
            {"frame_07_aon_input.dump", false, 0},          // as "+7" and "-0": not what %d writes
            {"frame_7_aon_output_channel7.dump", false, 0},
    };
    for (const auto& c : cases) {
        int32_t id = 0;
        size_t row = 0;
        EXPECT_EQ(ParseDumpFileName(c.name, &id, &row), c.dump) << c.name;
        if (c.dump) {
            EXPECT_EQ(id, c.id) << c.name;
        }
    }
}

TEST_F(AonDumpTest, DamageIsFoundAndTheReplayLeavesOutWhatCannotBeRead) {
    DumpDamagedDirectory();
    DumpDirectory directory;
    std::string error;
    ASSERT_TRUE(ScanDumpDirectory(mDirectory.string(), &directory, &error)) << error;
    ASSERT_EQ(directory.frames.size(), 2u);
    ASSERT_EQ(directory.skipped.size(), 2u);
    EXPECT_EQ(directory.skipped[0].name, "frame_05_aon_input.dump");
    EXPECT_EQ(directory.skipped[1].name, "notes.txt");

    const FrameFiles& damaged = directory.frames[1];
    EXPECT_EQ(damaged.frameId, 5);
    EXPECT_EQ(damaged.ImpliedServiceType(), 0xEu);  // fusion has no files
    EXPECT_EQ(damaged.MissingRows(), std::vector<size_t>{Row("aon_gaze_output_channel1")});
    EXPECT_EQ(damaged.WrongSizeRows(),
              (std::vector<size_t>{Row("angle_result"), Row("face_feature_result")}));
    const FrameFiles& whole = directory.frames[0];
    EXPECT_EQ(whole.frameId, -3);
    EXPECT_EQ(whole.FileCount(), 12u);

    // Face angle and face feature are left out of the replay (a whole frame's replay:
    // aon_dump.round_trip).
    const FrameReplay replay = Replayer().Replay(damaged);
    EXPECT_EQ(replay.serviceType, 0x4u);
    ASSERT_EQ(replay.results.size(), 4u);
    EXPECT_EQ(replay.results[0].value.get<Tag::floatArray>(),
              std::vector<float>(kGaze.begin(), kGaze.end()));
    EXPECT_EQ(replay.results[1].value.get<Tag::intValue>(), 5);
    EXPECT_EQ(replay.notes.size(), 5u);
    EXPECT_TRUE(replay.log.empty());
}

TEST_F(AonDumpTest, AFileIsReadToItsTableSizeAndNoFurther) {
    Dump(1, 0x4);
    const size_t row = Row("aon_gaze_output_result");
    std::vector<uint8_t> bytes;
    std::string problem;
    BlockFile file{File(1, "aon_gaze_output_result").string(), 24};
    EXPECT_TRUE(ReadBlockFile(file, kDumpBlocks[row].bytes, &bytes, &problem)) << problem;
    EXPECT_EQ(bytes.size(), 24u);
    // Grown since it was listed: nothing is used.
    Resize(1, "aon_gaze_output_result", +1);
    EXPECT_FALSE(ReadBlockFile(file, kDumpBlocks[row].bytes, &bytes, &problem));
    EXPECT_EQ(problem, "changed size while read");
    EXPECT_TRUE(bytes.empty());
    file.bytes = 25;
    EXPECT_FALSE(ReadBlockFile(file, kDumpBlocks[row].bytes, &bytes, &problem));
    EXPECT_EQ(problem, "25 bytes, not 24");
}

TEST_F(AonDumpTest, ExitStatusesAndMessages) {
    DumpDamagedDirectory();
    const std::string dir = mDirectory.string();
    const fs::path empty = mDirectory.string() + "-empty";
    fs::create_directories(empty / "aon");
    const struct {
        std::vector<std::string> args;
        int status;
        std::string err;  // a part of stderr
    } cases[] = {
            {{dir}, kExitIncomplete, "2 files of " + dir + " are not dump files"},
            {{dir, "--frame", "-3", "--replay"}, kExitIncomplete, "notes.txt: not named"},
            {{dir + "/nope"}, kExitBadInput, "nope: No such file or directory"},
            {{empty.string()},
             kExitBadInput,
             "no dump files (frame_<id>_<block>.dump); its folder aon/"},
            {{dir, "--frame", "9"},
             kExitBadInput,
             "has no frame 9 (its 2 frames run from -3 to 5)"},
            {{dir, "--hex", "angle_result"}, kExitBadInput, "--hex requires --frame"},
            {{dir, "--csv", dir + "/nope/x.csv"}, kExitBadInput, "x.csv: No such file"},
            {{dir, "--frame", "4294967293"}, kExitBadInput, "frame numbers are 32-bit"},
    };
    for (const auto& c : cases) {
        const Run run = RunWith(c.args);
        SCOPED_TRACE(c.args.back());
        EXPECT_EQ(run.status, c.status);
        EXPECT_NE(run.err.find(c.err), std::string::npos) << run.err;
        if (c.status == kExitBadInput) {
            EXPECT_EQ(run.out, "");  // nothing half-done
        }
    }

    // A whole frame: status 0, and its CSV row carries the gaze values.
    fs::remove_all(mDirectory);
    fs::create_directories(mDirectory);
    Dump(2, 0x6);
    EXPECT_EQ(RunWith({dir, "--csv", dir + "/values.csv"}).status, kExitOk);
    std::ifstream csv(dir + "/values.csv");
    const std::string text{std::istreambuf_iterator<char>(csv), {}};
    EXPECT_NE(text.find("\n2,0x6,"), std::string::npos) << text;
    EXPECT_NE(text.find(",0.5,-1.25,3,4,5,6,"), std::string::npos) << text;
}

TEST(HexLinesTest, RepeatedLinesFoldButTheLastLineStays) {
    std::vector<uint8_t> bytes(64, 0);
    bytes[0] = 0xab;
    EXPECT_EQ(HexLines(bytes),
              "  +00000  ab 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00\n"
              "  +00010  00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00\n"
              "  *\n"
              "  +00030  00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00\n");
}

}  // namespace
}  // namespace aon_dump

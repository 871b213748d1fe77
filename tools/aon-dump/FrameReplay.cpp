#include "tools/aon-dump/FrameReplay.h"

#include <android/log.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "tools/common/ResultKeys.h"

namespace aon_dump {
namespace {

using aidl::vendor::tarvo::hardware::camera::aon::AONCallBackInfo;
using aidl::vendor::tarvo::hardware::camera::aon::AONSensorStateInfo;
using tarvo::aon::kDumpBlockCount;
using tarvo::aon::kDumpBlocks;

// The block each detector's parser reads.
const struct {
    uint32_t bit;
    size_t offset;
} kParsedBlocks[] = {
        {tarvo::aon::kServiceTypeFaceAngle, tarvo::aon::kFaceAngleResultOffset},
        {tarvo::aon::kServiceTypeGaze, tarvo::aon::kGazeResultOffset},
        {tarvo::aon::kServiceTypeFaceFeature, tarvo::aon::kFaceFeatureResultOffset},
};

size_t RowAt(size_t offset) {
    for (size_t row = 0; row < kDumpBlockCount; ++row) {
        if (static_cast<size_t>(kDumpBlocks[row].offset) == offset) return row;
    }
    abort();  // every parsed block but fusion's is dumped
}

// The library's log lines while a replay runs; the replay runs on one thread.
std::vector<std::string>* gLog = nullptr;

char PriorityLetter(int priority) {
    static const char kLetters[] = "??VDIWEF";
    return priority >= 0 && priority < 8 ? kLetters[priority] : '?';
}

void Logger(const struct __android_log_message* message) {
    if (gLog == nullptr) return;
    gLog->push_back(std::string(1, PriorityLetter(message->priority)) + " " +
                    (message->message != nullptr ? message->message : ""));
}

}  // namespace

class Replayer::Recorder final : public tarvo::aon::IOutEventCallback {
  public:
    void OnAONEvent(AONCallBackInfo& info) override { events.push_back(info); }
    void OnAONSensorEvent(AONSensorStateInfo&) override {}

    std::vector<AONCallBackInfo> events;
};

bool ReadBlockFile(const BlockFile& file, size_t expected, std::vector<uint8_t>* bytes,
                   std::string* problem) {
    if (file.bytes != expected) {
        *problem = std::to_string(file.bytes) + " bytes, not " + std::to_string(expected);
        return false;
    }
    FILE* in = std::fopen(file.path.c_str(), "rb");
    if (in == nullptr) {
        *problem = std::strerror(errno);
        return false;
    }
    // One byte more than wanted tells a file that grew since it was listed.
    bytes->assign(expected + 1, 0);
    const size_t got = std::fread(bytes->data(), 1, bytes->size(), in);
    const bool failed = std::ferror(in) != 0;
    std::fclose(in);
    if (failed || got != expected) {
        *problem = failed ? "cannot be read" : "changed size while read";
        bytes->clear();
        return false;
    }
    bytes->resize(expected);
    return true;
}

Replayer::Replayer()
    : mRecorder(std::make_shared<Recorder>()),
      mCallback(tarvo::aon::AONManagerCallback::create(mRecorder)) {}

FrameReplay Replayer::Replay(const FrameFiles& frame) {
    FrameReplay replay;
    replay.frameId = frame.frameId;
    mBuilder.reset().frame(static_cast<uint32_t>(frame.frameId), 0, 0).fullApuOutputSize();

    std::string missing;
    for (size_t row : frame.MissingRows()) {
        missing += std::string(missing.empty() ? "" : ", ") + kDumpBlocks[row].name;
    }
    if (!missing.empty()) replay.notes.push_back("missing, zeros in their place: " + missing);
    for (size_t row = 0; row < kDumpBlockCount; ++row) {
        if (!frame.blocks[row]) continue;
        std::string problem;
        std::vector<uint8_t>& bytes = replay.blocks[row];
        if (!ReadBlockFile(*frame.blocks[row], kDumpBlocks[row].bytes, &bytes, &problem)) {
            replay.notes.push_back(std::string(kDumpBlocks[row].name) + ": " + problem +
                                   ", not used: zeros in its place");
            continue;
        }
        mBuilder.outputBytes(static_cast<size_t>(kDumpBlocks[row].offset), bytes.data(),
                             bytes.size());
    }
    const uint32_t implied = frame.ImpliedServiceType();
    for (const auto& parsed : kParsedBlocks) {
        if (replay.blocks[RowAt(parsed.offset)].empty()) {
            if (implied & parsed.bit) {
                replay.notes.push_back(aon_tools::ServiceBitName(parsed.bit) +
                                       " is left out: its block " +
                                       kDumpBlocks[RowAt(parsed.offset)].name + " was not read");
            }
            continue;
        }
        replay.serviceType |= parsed.bit;
    }
    mBuilder.serviceType(replay.serviceType);

    mRecorder->events.clear();
    gLog = &replay.log;
    __android_log_set_minimum_priority(ANDROID_LOG_VERBOSE);
    __android_log_set_logger(&Logger);
    mCallback->onCallback(mBuilder.event());
    __android_log_set_logger(__android_log_stderr_logger);
    gLog = nullptr;
    if (!mRecorder->events.empty()) replay.results = std::move(mRecorder->events.back().results);
    return replay;
}

}  // namespace aon_dump

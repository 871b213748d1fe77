// Renders what the client does and receives, one record at a time: as readable lines (a time
// column in seconds since the program started, a label, the text; result lines under their
// event), or as JSON lines (one object per record, "kind" first).
//
// Thread-safety: const after construction; any thread may render.
#pragma once

#include <android/binder_auto_utils.h>

#include <aidl/vendor/tarvo/hardware/camera/aon/AONCallBackInfo.h>
#include <aidl/vendor/tarvo/hardware/camera/aon/AONSensorInfo.h>
#include <aidl/vendor/tarvo/hardware/camera/aon/AONSensorStateInfo.h>

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tools/aon-client/FrameStats.h"

namespace aon_client {

// A binder status as the client got it.
struct CallStatus {
    int32_t exception = 0;
    int32_t serviceSpecific = 0;
    int32_t status = 0;  // the transport's, with EX_TRANSACTION_FAILED
    std::string message;

    static CallStatus From(const ndk::ScopedAStatus& status);
    bool ok() const { return exception == 0; }
    // The service's process is gone.
    bool deadObject() const;
    // "ok", "error 2 \"...\"", "exception EX_ILLEGAL_ARGUMENT", "exception EX_TRANSACTION_FAILED,
    // status -32 (DEAD_OBJECT)".
    std::string Text() const;
};

struct Field {
    const char* name;
    int64_t value;
};

// One call of IAONService: its arguments and out values, as text and as named numbers.
struct CallReport {
    const char* method = "";
    std::string argsText;
    std::vector<Field> args;
    CallStatus status;
    std::string resultText;
    std::vector<Field> results;
};

struct SummaryReport {
    const char* end = "";  // what ended the run
    FrameStats stats;
    std::vector<aidl::vendor::tarvo::hardware::camera::aon::AONSensorStateInfo> states;
    std::string frameDirectory;  // empty: frames were not saved
    const char* frameFormat = "";
    int64_t framesSaved = 0;
    int64_t framesSkipped = 0;
    int64_t framesFailed = 0;
    std::string service;  // how the client left the service
    bool leftClean = false;
    int exitStatus = 0;
};

class Printer final {
  public:
    using Clock = std::chrono::steady_clock;

    Printer(bool json, bool values, bool brief, Clock::time_point start);

    std::string Service(const std::string& instance, std::optional<int32_t> version,
                        const std::optional<std::string>& hash) const;
    std::string Call(const CallReport& call) const;
    std::string Sensors(
            const std::vector<aidl::vendor::tarvo::hardware::camera::aon::AONSensorInfo>& sensors)
            const;
    std::string Event(
            int64_t handle,
            const aidl::vendor::tarvo::hardware::camera::aon::AONCallBackInfo& info) const;
    std::string State(
            int64_t handle,
            const aidl::vendor::tarvo::hardware::camera::aon::AONSensorStateInfo& info) const;
    std::string Gap(const FrameStats::Gap& gap) const;
    // What ended the run: `reason` is a JSON word ("events", "duration", "interrupted",
    // "serviceDied", "refused"), `text` its sentence.
    std::string End(const char* reason, const std::string& text) const;
    std::string Summary(const SummaryReport& summary) const;

  private:
    double Seconds() const;
    std::string Line(const char* label, const std::string& text) const;

    const bool mJson;
    const bool mValues;
    const bool mBrief;
    const Clock::time_point mStart;
};

// "0xf (fusion, face angle, gaze, face feature)".
std::string TypesText(int32_t mask);
// "1 event", "2 events".
std::string Count(int64_t count, const char* noun);

}  // namespace aon_client

// The records of the trace: everything a run shows, in the order it happened. Both renderings
// (the readable timeline and JSON lines) are made from these records alone.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "tools/common/ResultDescription.h"

namespace aon_sim {

// A step of the run: a scenario line, or a step of the demonstration (line 0).
struct StepEntry {
    int line = 0;
    std::string text;
};

// A call of the camera stack into the library.
struct CameraCall {
    int32_t instanceId = 0;
    bool open = false;  // NotifyOpen, else NotifyClose
};

// A remark of the simulator itself (what it did as host, what it noticed). A note that tells of a
// camera stack call carries it too.
struct NoteEntry {
    NoteEntry(std::string noteText, std::optional<CameraCall> cameraCall = std::nullopt)
        : text(std::move(noteText)), camera(cameraCall) {}

    std::string text;
    std::optional<CameraCall> camera;
};

// A binder status as the client saw it.
struct CallResult {
    int32_t exception = 0;        // EX_NONE when 0
    int32_t serviceSpecific = 0;  // with EX_SERVICE_SPECIFIC
    int32_t status = 0;           // the transport status, with EX_TRANSACTION_FAILED
    std::string message;
    bool ok() const { return exception == 0; }
};

struct FrameSize {
    int32_t width = 0;
    int32_t height = 0;
    std::vector<int32_t> fpsList;
};

struct SensorSummary {
    int32_t sensorId = 0;
    int32_t sensorParam1 = 0;
    int32_t sensorParam2 = 0;
    int32_t supportServiceType = 0;
    std::vector<FrameSize> frameInfos;
};

// The status of one IAONService call, with its out values.
struct StatusEntry {
    std::string client;
    std::string method;
    std::string thread;  // the thread that made the call
    CallResult result;
    std::optional<int64_t> handle;                      // registerClient
    std::optional<std::vector<SensorSummary>> sensors;  // getAonSensorInfoList
};

struct EventEntry {
    std::string client;
    std::string thread;
    size_t bytes = 0;  // the transaction's parcel data, 0 when it came without one
    size_t limit = 0;  // the size of the receiving process's binder buffer, 0 without one
    int64_t handle = 0;
    int32_t serviceType = 0;
    std::vector<aon_tools::ResultItem> results;
};

struct SensorStateEntry {
    std::string client;
    std::string thread;
    size_t bytes = 0;  // the transaction's parcel data, 0 when it came without one
    int64_t handle = 0;
    int32_t sensorId = 0;
    int32_t state = 0;
};

// The decoded user_param of an init call.
struct ParamFields {
    int32_t sensorId = 0;
    int32_t width = 0;
    int32_t height = 0;
    int32_t fps = 0;
    int32_t requestedFps = 0;
    int32_t serviceType = 0;
    uint32_t mainFormat = 0;
    uint32_t subFormat = 0;
    uint32_t debugMode = 0;
    bool callback = false;  // whether a stream callback was passed
};

// One call the vendor stream received, with its arguments and its answer.
struct VendorEntry {
    std::string call;
    std::string thread;
    int64_t result = 0;
    int32_t sensorId = 0;            // getSensorInfo, getSensorMode
    std::vector<int32_t> sensorIds;  // getSensorList (answer), notifySensorState (argument)
    int32_t opened = 0;              // notifySensorState
    uint32_t mode = 0;               // getSensorMode (answer)
    size_t count = 0;                // getSensorInfo: entries answered
    std::optional<ParamFields> param;  // init
};

// A frame the vendor stream produced.
struct FrameEntry {
    uint32_t frameId = 0;
    uint32_t width = 0;
    uint32_t height = 0;
    uint32_t serviceType = 0;
    uint32_t apuOutputSize = 0;
    uint32_t imageStride = 0;
    uint32_t imageHeight = 0;
    bool delivered = false;  // false: no stream was running to deliver it
};

struct LogEntry {
    int priority = 0;
    std::string tag;
    std::string text;
    std::string thread;
};

// Why a registered client did not receive a frame.
enum class DropCause {
    kManagerBusy,   // the manager's try-lock failed
    kRegistryBusy,  // the callback registry's try-lock failed
    kRefused,       // binder refused the event for want of buffer space
    kOther,         // the service did not deliver it (a failed ping, ...)
};

// A frame the stream delivered that a registered client did not receive.
struct DropEntry {
    std::string client;
    uint32_t frameId = 0;
    std::string reason;
    DropCause cause = DropCause::kOther;
};

// A binder transaction worth showing: one refused for want of buffer space (the request, or the
// reply), or a client's call into the service from inside a callback, which binder runs nested on
// the thread that waits for that callback. Processes are named by their client, or "camera
// process".
struct TransactionEntry {
    std::string method;
    std::string caller;
    std::string target;
    std::string thread;
    bool reply = false;
    bool refused = false;  // else: nested
    size_t bytes = 0;      // the parcel's data
    size_t charge = 0;     // the kernel's charge
    size_t free = 0;       // free in the buffer it went to, before it
    size_t limit = 0;      // that buffer's size
    std::string waitsFor;  // nested: the call the thread waits for ("onAONSensorEvent to app")
    std::string missed;    // refused: what was lost ("app misses frame 3")
};

// An expectation that held.
struct ExpectEntry {
    int line = 0;
    std::string text;
};

using TraceBody =
        std::variant<StepEntry, NoteEntry, StatusEntry, EventEntry, SensorStateEntry, VendorEntry,
                     FrameEntry, LogEntry, DropEntry, TransactionEntry, ExpectEntry>;

struct TraceEntry {
    uint64_t seq = 0;
    int64_t timeMicros = 0;
    TraceBody body;
};

// Readable names used by both renderings.
const char* PriorityLetter(int priority);  // "V", "D", "I", "W", "E", "F", or "?"
// Whether a rendering shows the value of a result: all of them with `showValues`, else only the
// frame keys' (0, 1 and 2, which name the frame).
bool ShowValue(const aon_tools::ResultItem& item, bool showValues);
// "EX_ILLEGAL_ARGUMENT", ... or the number.
std::string ExceptionName(int32_t exception);
// A status as the scenario language writes results: ok, error 1 "text", exception EX_....
std::string CallResultText(const CallResult& result);

}  // namespace aon_sim

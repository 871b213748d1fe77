// The commands of a scenario file, as the parser hands them to the runner: one record per line,
// fully checked, with plain values only (the runner turns them into binder records and calls).
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <variant>
#include <vector>

namespace aon_sim {

// Calls of the vendor stream, by the names the stream interface gives them.
enum class VendorCall {
    kGetSensorList,
    kGetSensorInfo,
    kGetSensorMode,
    kInit,
    kNotifySensorState,
    kUninit
};

// Methods of IAONService a client can call.
enum class ClientMethod { kRegister, kList, kSubscribe, kStart, kStop, kUnsubscribe, kUnregister };

// What a client call must return ("-> ok", "-> error 1 "text"", "-> exception EX_..."). kAny when
// the line states nothing.
struct CallExpectation {
    enum class Kind { kAny, kOk, kServiceSpecific, kException };
    Kind kind = Kind::kAny;
    int32_t code = 0;     // the service-specific code, or the exception code
    std::string message;  // kServiceSpecific: the exact status message, empty for none
};

// The fields of a SensorConfigInfo, in declaration order.
struct SubscribeConfig {
    int32_t sensorId = 0;
    int32_t frameWidth = 0;
    int32_t frameHeight = 0;
    int32_t fps = 0;
    int32_t extraParam0 = 0;
    int32_t extraParam1 = 0;
    int32_t serviceType = 0;
    int32_t deliveryMode = 1;
};

struct PropertySet {
    std::string name;
    std::string value;
};

struct VendorSize {
    int32_t width = 0;
    int32_t height = 0;
    std::vector<int32_t> rates;
    int32_t attribute = 0;
};

// "vendor sensor ID [size WxH fps R,R attribute N] [mode M] [status S]": declares the sensor and
// adds to its answers. The first such line replaces the built-in sensors.
struct VendorSensor {
    int32_t sensorId = 0;
    std::optional<VendorSize> size;
    std::optional<uint32_t> mode;
    std::optional<int32_t> modeStatus;
};

// "vendor init|uninit|notifySensorState ok|fail".
struct VendorAnswer {
    VendorCall call = VendorCall::kInit;
    bool ok = true;
};

// "vendor absent": the device has no stream at all.
struct VendorAbsent {};

struct ClientDeclare {
    std::string name;
    int32_t pid = 0;
};

struct ClientCall {
    std::string client;
    ClientMethod method = ClientMethod::kRegister;
    int32_t serviceType = 0;        // register, start, stop
    bool nullCallback = false;      // "register null ..."
    SubscribeConfig config;         // subscribe
    std::optional<int64_t> handle;  // "handle N": instead of the handle the client holds
    CallExpectation expect;
};

// "A dies", "A ping fails", "A ping ok".
struct ClientAction {
    enum class Kind { kDies, kPingFails, kPingOk };
    std::string client;
    Kind kind = Kind::kDies;
};

// "NAME on event ANSWER", "NAME on state N ANSWER": what the client does from inside its callback
// whenever it receives an event, or the sensor state N of any sensor. ANSWER is a call as a call
// line writes it ("-> RESULT" included), "hang" (the callback never returns) or "nothing" (the
// answer is withdrawn). A later line for the same callback replaces the answer.
struct ClientReaction {
    enum class Trigger { kEvent, kState };
    enum class Answer { kCall, kHang, kNothing };
    std::string client;
    Trigger trigger = Trigger::kEvent;
    int32_t state = 0;
    Answer answer = Answer::kNothing;
    ClientCall call;
};

// "camera device N sensors I,J": what the logical device list answers for the device.
struct CameraDevice {
    int32_t instanceId = 0;
    std::vector<int32_t> sensors;
};

struct CameraOpen {
    int32_t instanceId = 0;
    std::optional<std::vector<int32_t>> sensors;  // "camera open N sensors I,J" scripts them too
};

struct CameraClose {
    int32_t instanceId = 0;
};

// "frame ..." / "frames N ...": synthetic frames of the running stream, with header words, sizes
// and image blocks overridden where given.
struct FrameSpec {
    int32_t count = 1;
    std::optional<uint32_t> frameId;
    std::optional<uint32_t> width;
    std::optional<uint32_t> height;
    std::optional<uint32_t> serviceType;
    std::optional<uint32_t> apuOutputSize;
    std::optional<uint32_t> fusionCount;
    std::optional<std::pair<uint32_t, uint32_t>> image;       // stride, height
    std::optional<std::pair<uint32_t, uint32_t>> debugImage;  // stride, height
};

struct Wait {
    int64_t micros = 0;
};

struct Note {
    std::string text;
};

// --- Expectations ---

// Every sensor state the client received, in order, as (sensor id, state).
struct ExpectStates {
    std::string client;
    std::vector<std::pair<int32_t, int32_t>> states;
};

struct ExpectCount {
    enum class What { kEvents, kDropped, kFailedTransactions };
    std::string client;
    What what = What::kEvents;
    int64_t count = 0;
};

// The keys of the client's last event, in order.
struct ExpectKeys {
    std::string client;
    std::vector<int32_t> keys;
};

// One value of the client's last event: "key K = V" (a number) or "key K size N" (array length).
struct ExpectKey {
    enum class Check { kEquals, kSize };
    std::string client;
    int32_t key = 0;
    Check check = Check::kEquals;
    double value = 0;
    std::string literal;  // the value as written
};

struct ExpectServiceType {
    std::string client;
    int32_t serviceType = 0;
};

struct ExpectHandle {
    std::string client;
    int64_t handle = 0;
};

// The sensor ids of the client's last sensor list.
struct ExpectSensors {
    std::string client;
    std::vector<int32_t> sensorIds;
};

// Fields of the user_param of the stream's last init.
enum class ParamField {
    kSensorId,
    kWidth,
    kHeight,
    kFps,
    kRequestedFps,
    kServiceType,
    kMainFormat,
    kSubFormat,
    kDebugMode
};
struct ExpectVendorInit {
    std::vector<std::pair<ParamField, int64_t>> fields;
};

struct ExpectVendorCalls {
    VendorCall call = VendorCall::kInit;
    int64_t count = 0;
};

struct ExpectVendorRunning {
    bool running = false;
};

// A log line written while the last action ran (present), or no such line (absent).
struct ExpectLog {
    int priority = 0;
    std::string text;
    bool present = true;
};

using CommandBody =
        std::variant<PropertySet, VendorSensor, VendorAnswer, VendorAbsent, ClientDeclare,
                     ClientCall, ClientAction, ClientReaction, CameraDevice, CameraOpen,
                     CameraClose, FrameSpec, Wait, Note, ExpectStates, ExpectCount, ExpectKeys,
                     ExpectKey, ExpectServiceType, ExpectHandle, ExpectSensors, ExpectVendorInit,
                     ExpectVendorCalls, ExpectVendorRunning, ExpectLog>;

struct Command {
    int line = 0;
    std::string text;  // the line as written, without its comment
    CommandBody body;
};

struct Scenario {
    std::string path;
    std::vector<Command> commands;
};

// Whether a command body is an expectation (it checks, it does nothing).
bool IsExpectation(const CommandBody& body);

// Display names, as the scenario language and the trace write them.
const char* VendorCallName(VendorCall call);
const char* ClientMethodName(ClientMethod method);  // the IAONService method name
const char* ParamFieldName(ParamField field);

}  // namespace aon_sim

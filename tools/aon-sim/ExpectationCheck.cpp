#include "tools/aon-sim/ExpectationCheck.h"

#include <cinttypes>
#include <cmath>
#include <cstdio>

namespace aon_sim {
namespace {

std::string Hex(int64_t value) {
    char text[24];
    std::snprintf(text, sizeof(text), "0x%" PRIx64, static_cast<uint64_t>(value) & 0xffffffffu);
    return text;
}

std::string Fail(const std::string& expected, const std::string& got) {
    return "expected " + expected + ", got " + got;
}

std::string StatesText(const std::vector<std::pair<int32_t, int32_t>>& states) {
    if (states.empty()) return "states none";
    std::string text = "states";
    for (const auto& [sensor, state] : states) {
        text += " " + std::to_string(sensor) + ":" + std::to_string(state);
    }
    return text;
}

std::string ListText(const char* what, const std::vector<int32_t>& values) {
    std::string text = what;
    if (values.empty()) return text + " none";
    for (int32_t value : values) text += " " + std::to_string(value);
    return text;
}

std::string NumberText(double value) {
    char text[32];
    std::snprintf(text, sizeof(text), "%.9g", value);
    return text;
}

std::optional<std::string> CheckKey(const ExpectKey& expect, const ReceivedEvent& event) {
    const std::string what = "key " + std::to_string(expect.key) +
                             (expect.check == ExpectKey::Check::kEquals ? " = " : " size ") +
                             expect.literal;
    const ReceivedResult* found = nullptr;
    for (const ReceivedResult& result : event.results) {
        if (result.key == expect.key) {
            found = &result;
            break;
        }
    }
    if (found == nullptr) return Fail(what, "no key " + std::to_string(expect.key));
    if (expect.check == ExpectKey::Check::kSize) {
        if (!found->array) return Fail(what, "a value that is not an array");
        if (static_cast<double>(found->size) == expect.value) return std::nullopt;
        return Fail(what, "size " + std::to_string(found->size));
    }
    if (!found->number) {
        return Fail(what, found->array ? "an array of " + std::to_string(found->size) +
                                                 " (check its size)"
                                       : std::string("a value that is not a number"));
    }
    const double number = found->value;
    const bool equal = found->integral ? number == expect.value
                                       : std::fabs(number - expect.value) <=
                                                 1e-4 * std::max(1.0, std::fabs(expect.value));
    if (equal) return std::nullopt;
    return Fail(what, NumberText(number));
}

int64_t ParamValue(const user_param& param, ParamField field) {
    switch (field) {
        case ParamField::kSensorId: return param.sensorId;
        case ParamField::kWidth: return param.width;
        case ParamField::kHeight: return param.height;
        case ParamField::kFps: return param.fps;
        case ParamField::kRequestedFps: return param.requestedFps;
        case ParamField::kServiceType: return param.serviceType;
        case ParamField::kMainFormat: return param.mainFormat;
        case ParamField::kSubFormat: return param.subFormat;
        case ParamField::kDebugMode: return param.debugMode;
    }
    return 0;
}

host::AovCall HostCall(VendorCall call) {
    switch (call) {
        case VendorCall::kGetSensorList: return host::AovCall::kGetSensorList;
        case VendorCall::kGetSensorInfo: return host::AovCall::kGetSensorInfo;
        case VendorCall::kGetSensorMode: return host::AovCall::kGetSensorMode;
        case VendorCall::kInit: return host::AovCall::kInit;
        case VendorCall::kNotifySensorState: return host::AovCall::kNotifySensorState;
        case VendorCall::kUninit: return host::AovCall::kUninit;
    }
    return host::AovCall::kInit;
}

std::optional<std::string> CheckVendor(const CommandBody& body, const CheckContext& context) {
    if (const auto* running = std::get_if<ExpectVendorRunning>(&body)) {
        const bool initialised = context.vendor.IsInitialized();
        if (initialised == running->running) return std::nullopt;
        return Fail(running->running ? "the stream running" : "the stream stopped",
                    initialised ? "it running" : "it stopped");
    }
    if (const auto* calls = std::get_if<ExpectVendorCalls>(&body)) {
        const auto count = static_cast<int64_t>(context.vendor.CountOf(HostCall(calls->call)));
        if (count == calls->count) return std::nullopt;
        return Fail(std::to_string(calls->count) + " " + VendorCallName(calls->call) + " calls",
                    std::to_string(count));
    }
    const auto& init = std::get<ExpectVendorInit>(body);
    const std::vector<host::AovCallRecord> inits = context.vendor.CallsOf(host::AovCall::kInit);
    std::string expected = "init with";
    for (const auto& [field, value] : init.fields) {
        expected += std::string(" ") + ParamFieldName(field) + " " + std::to_string(value);
    }
    if (inits.empty()) return Fail(expected, "no init");
    const user_param& param = inits.back().param;
    for (const auto& [field, value] : init.fields) {
        const int64_t actual = ParamValue(param, field);
        if (actual != value) {
            return Fail(expected, std::string(ParamFieldName(field)) + " " + std::to_string(actual));
        }
    }
    return std::nullopt;
}

std::optional<std::string> CheckLog(const ExpectLog& expect, const CheckContext& context) {
    const std::string what = std::string(expect.present ? "a log line " : "no log line ") +
                             PriorityLetter(expect.priority) + " \"" + expect.text + "\"";
    const std::vector<LogEntry> logs = context.trace.LogsSince(context.actionSeq);
    const LogEntry* found = nullptr;
    for (const LogEntry& log : logs) {
        if (log.priority == expect.priority && log.text == expect.text) found = &log;
    }
    if (expect.present && found == nullptr) {
        std::string near;
        for (const LogEntry& log : logs) {
            if (log.text == expect.text) near = std::string(" (written at ") + PriorityLetter(log.priority) + ")";
        }
        return Fail(what, "none among the " + std::to_string(logs.size()) +
                                  " lines of the last action" + near);
    }
    if (!expect.present && found != nullptr) return Fail(what, "it");
    return std::nullopt;
}

std::string ClientOf(const CommandBody& body) {
    if (const auto* e = std::get_if<ExpectStates>(&body)) return e->client;
    if (const auto* e = std::get_if<ExpectCount>(&body)) return e->client;
    if (const auto* e = std::get_if<ExpectKeys>(&body)) return e->client;
    if (const auto* e = std::get_if<ExpectKey>(&body)) return e->client;
    if (const auto* e = std::get_if<ExpectServiceType>(&body)) return e->client;
    if (const auto* e = std::get_if<ExpectHandle>(&body)) return e->client;
    if (const auto* e = std::get_if<ExpectSensors>(&body)) return e->client;
    return "";
}

}  // namespace

std::optional<std::string> CheckExpectation(const CommandBody& body, const CheckContext& context) {
    if (const auto* log = std::get_if<ExpectLog>(&body)) return CheckLog(*log, context);
    if (std::holds_alternative<ExpectVendorRunning>(body) ||
        std::holds_alternative<ExpectVendorCalls>(body) ||
        std::holds_alternative<ExpectVendorInit>(body)) {
        return CheckVendor(body, context);
    }
    const std::string client = ClientOf(body);
    const std::optional<Simulation::ClientView> view = context.simulation.View(client);
    if (!view) return Fail("client " + client, "no such client");
    const std::optional<ReceivedEvent> last = view->object->lastEvent();

    if (const auto* states = std::get_if<ExpectStates>(&body)) {
        const auto received = view->object->states();
        if (received == states->states) return std::nullopt;
        return Fail(StatesText(states->states), StatesText(received));
    }
    if (const auto* count = std::get_if<ExpectCount>(&body)) {
        int64_t actual = view->object->eventCount();
        const char* what = " events";
        if (count->what == ExpectCount::What::kDropped) {
            actual = view->dropped;
            what = " dropped";
        } else if (count->what == ExpectCount::What::kFailedTransactions) {
            actual = view->failedTransactions;
            what = " failed transactions";
        }
        if (actual == count->count) return std::nullopt;
        return Fail(std::to_string(count->count) + what, std::to_string(actual));
    }
    if (const auto* handle = std::get_if<ExpectHandle>(&body)) {
        if (view->handle == handle->handle) return std::nullopt;
        return Fail("handle " + std::to_string(handle->handle), std::to_string(view->handle));
    }
    if (const auto* sensors = std::get_if<ExpectSensors>(&body)) {
        if (!view->lastSensorIds) return Fail(ListText("sensors", sensors->sensorIds), "no sensor list");
        if (*view->lastSensorIds == sensors->sensorIds) return std::nullopt;
        return Fail(ListText("sensors", sensors->sensorIds), ListText("sensors", *view->lastSensorIds));
    }
    // The rest is about the last event.
    std::string expected;
    if (const auto* keys = std::get_if<ExpectKeys>(&body)) expected = ListText("keys", keys->keys);
    if (const auto* type = std::get_if<ExpectServiceType>(&body)) {
        expected = "service-type " + Hex(type->serviceType);
    }
    if (const auto* key = std::get_if<ExpectKey>(&body)) {
        expected = "key " + std::to_string(key->key);
    }
    if (!last) return Fail(expected, "no event");
    if (const auto* keys = std::get_if<ExpectKeys>(&body)) {
        std::vector<int32_t> actual;
        for (const ReceivedResult& result : last->results) actual.push_back(result.key);
        if (actual == keys->keys) return std::nullopt;
        return Fail(expected, ListText("keys", actual));
    }
    if (const auto* type = std::get_if<ExpectServiceType>(&body)) {
        if (last->serviceType == type->serviceType) return std::nullopt;
        return Fail(expected, Hex(last->serviceType));
    }
    return CheckKey(std::get<ExpectKey>(body), *last);
}

std::optional<std::string> CheckCallResult(const CallExpectation& expect,
                                           const CallResult& result) {
    CallResult wanted;
    switch (expect.kind) {
        case CallExpectation::Kind::kAny:
            return std::nullopt;
        case CallExpectation::Kind::kOk:
            if (result.ok()) return std::nullopt;
            break;
        case CallExpectation::Kind::kServiceSpecific:
            wanted.exception = -8;  // EX_SERVICE_SPECIFIC
            wanted.serviceSpecific = expect.code;
            wanted.message = expect.message;
            if (result.exception == -8 && result.serviceSpecific == expect.code &&
                result.message == expect.message) {
                return std::nullopt;
            }
            break;
        case CallExpectation::Kind::kException:
            wanted.exception = expect.code;
            if (result.exception == expect.code) return std::nullopt;
            break;
    }
    std::string wantedText = CallResultText(wanted);
    if (expect.kind == CallExpectation::Kind::kException) {
        wantedText = "exception " + ExceptionName(expect.code);
    }
    return Fail(wantedText, CallResultText(result));
}

}  // namespace aon_sim

#include "tools/aon-client/Printer.h"

#include <android/binder_status.h>

#include <cinttypes>
#include <cmath>
#include <cstdio>
#include <utility>

#include "tools/common/JsonWriter.h"
#include "tools/common/ResultDescription.h"
#include "tools/common/ResultKeys.h"

namespace aon_client {
namespace {

using aidl::vendor::tarvo::hardware::camera::aon::AONCallBackInfo;
using aidl::vendor::tarvo::hardware::camera::aon::AONResult;
using aidl::vendor::tarvo::hardware::camera::aon::AONResultValue;
using aidl::vendor::tarvo::hardware::camera::aon::AONSensorInfo;
using aidl::vendor::tarvo::hardware::camera::aon::AONSensorStateInfo;
using aidl::vendor::tarvo::hardware::camera::aon::FrameInfo;
using aon_tools::JsonWriter;

// The time column, two blanks, the label column and a blank.
constexpr char kIndent[] = "                   ";

const char* TransportName(int32_t status) {
    static const std::pair<int32_t, const char*> kNames[] = {
            {STATUS_DEAD_OBJECT, "DEAD_OBJECT"},
            {STATUS_FAILED_TRANSACTION, "FAILED_TRANSACTION"},
            {STATUS_UNKNOWN_TRANSACTION, "UNKNOWN_TRANSACTION"},
            {STATUS_BAD_TYPE, "BAD_TYPE"},
            {STATUS_UNEXPECTED_NULL, "UNEXPECTED_NULL"},
            {STATUS_PERMISSION_DENIED, "PERMISSION_DENIED"},
            {STATUS_NAME_NOT_FOUND, "NAME_NOT_FOUND"},
            {STATUS_UNKNOWN_ERROR, "UNKNOWN_ERROR"}};
    for (const auto& [code, name] : kNames) {
        if (code == status) return name;
    }
    return nullptr;
}

void StatusJson(const CallStatus& status, JsonWriter& json) {
    json.Key("status").BeginObject();
    json.Key("ok").Bool(status.ok());
    json.Key("exception").Int(status.exception);
    json.Key("serviceSpecific").Int(status.serviceSpecific);
    json.Key("transport").Int(status.status);
    json.Key("message").String(status.message);
    json.EndObject();
}

void FieldsJson(const char* key, const std::vector<Field>& fields, JsonWriter& json) {
    json.Key(key).BeginObject();
    for (const Field& field : fields) json.Key(field.name).Int(field.value);
    json.EndObject();
}

std::optional<int32_t> FrameId(const AONCallBackInfo& info) {
    for (const AONResult& result : info.results) {
        if (result.key == 0 && result.value.getTag() == AONResultValue::Tag::intValue) {
            return result.value.get<AONResultValue::Tag::intValue>();
        }
    }
    return std::nullopt;
}

std::string Join(const std::vector<int32_t>& values) {
    std::string text;
    for (size_t i = 0; i < values.size(); ++i) text += (i ? ", " : "") + std::to_string(values[i]);
    return text;
}

std::string Hex(int64_t value) {
    char text[24];
    std::snprintf(text, sizeof(text), "0x%" PRIx64, static_cast<uint64_t>(value) & 0xffffffffu);
    return text;
}

}  // namespace

CallStatus CallStatus::From(const ndk::ScopedAStatus& status) {
    CallStatus result;
    result.exception = status.getExceptionCode();
    result.serviceSpecific = status.getServiceSpecificError();
    result.status = status.getStatus();
    const char* message = status.getMessage();
    result.message = message != nullptr ? message : "";
    return result;
}

bool CallStatus::deadObject() const {
    return exception == EX_TRANSACTION_FAILED && status == STATUS_DEAD_OBJECT;
}

std::string CallStatus::Text() const {
    if (ok()) return "ok";
    std::string text;
    if (exception == EX_SERVICE_SPECIFIC) {
        text = "error " + std::to_string(serviceSpecific);
    } else {
        const char* name = aon_tools::ExceptionName(exception);
        text = "exception " + (name != nullptr ? std::string(name) : std::to_string(exception));
        if (exception == EX_TRANSACTION_FAILED) {
            const char* transport = TransportName(status);
            text += ", status " + std::to_string(status);
            if (transport != nullptr) text += " (" + std::string(transport) + ")";
        }
    }
    if (!message.empty()) text += " \"" + message + "\"";
    return text;
}

std::string Count(int64_t count, const char* noun) {
    return std::to_string(count) + " " + noun + (count == 1 ? "" : "s");
}

std::string TypesText(int32_t mask) {
    return Hex(mask) + " (" + aon_tools::ServiceTypeNames(static_cast<uint32_t>(mask)) + ")";
}

Printer::Printer(bool json, bool values, bool brief, Clock::time_point start)
    : mJson(json), mValues(values), mBrief(brief), mStart(start) {}

double Printer::Seconds() const {
    const double seconds = std::chrono::duration<double>(Clock::now() - mStart).count();
    return std::round(seconds * 1000) / 1000;  // milliseconds are enough to read a run by
}

std::string Printer::Line(const char* label, const std::string& text) const {
    char head[40];
    std::snprintf(head, sizeof(head), "%8.3f  %-8s ", Seconds(), label);
    return head + text;
}

std::string Printer::Service(const std::string& instance, std::optional<int32_t> version,
                             const std::optional<std::string>& hash) const {
    if (mJson) {
        JsonWriter json;
        json.BeginObject().Key("kind").String("service").Key("t").Double(Seconds());
        json.Key("instance").String(instance);
        if (version) json.Key("version").Int(*version);
        if (hash) json.Key("hash").String(*hash);
        return json.EndObject().str();
    }
    return Line("service", instance + ": version " + (version ? std::to_string(*version) : "?") +
                                   ", hash " + hash.value_or("?"));
}

std::string Printer::Call(const CallReport& call) const {
    if (mJson) {
        JsonWriter json;
        json.BeginObject().Key("kind").String("call").Key("t").Double(Seconds());
        json.Key("method").String(call.method);
        FieldsJson("args", call.args, json);
        StatusJson(call.status, json);
        if (!call.results.empty()) FieldsJson("results", call.results, json);
        return json.EndObject().str();
    }
    std::string text =
            std::string(call.method) + "(" + call.argsText + ") -> " + call.status.Text();
    if (call.status.ok() && !call.resultText.empty()) text += ", " + call.resultText;
    return Line("call", text);
}

std::string Printer::Sensors(const std::vector<AONSensorInfo>& sensors) const {
    if (mJson) {
        JsonWriter json;
        json.BeginObject().Key("kind").String("sensors").Key("t").Double(Seconds());
        json.Key("sensors").BeginArray();
        for (const AONSensorInfo& sensor : sensors) {
            json.BeginObject().Key("sensorId").Int(sensor.sensorId);
            json.Key("sensorParam1").Int(sensor.sensorParam1);
            json.Key("sensorParam2").Int(sensor.sensorParam2);
            json.Key("supportServiceType").Int(sensor.supportServiceType);
            json.Key("frameInfos").BeginArray();
            for (const FrameInfo& frame : sensor.frameInfos) {
                json.BeginObject().Key("width").Int(frame.width).Key("height").Int(frame.height);
                json.Key("fpsList").BeginArray();
                for (int32_t fps : frame.fpsList) json.Int(fps);
                json.EndArray().EndObject();
            }
            json.EndArray().EndObject();
        }
        return json.EndArray().EndObject().str();
    }
    std::string text;
    for (const AONSensorInfo& sensor : sensors) {
        if (!text.empty()) text += "\n";
        text += Line("sensor", std::to_string(sensor.sensorId) + ": types " +
                                       TypesText(sensor.supportServiceType) + ", param1 " +
                                       std::to_string(sensor.sensorParam1) + ", param2 " +
                                       std::to_string(sensor.sensorParam2));
        if (sensor.frameInfos.empty()) text += std::string("\n") + kIndent + "  no frame sizes";
        for (const FrameInfo& frame : sensor.frameInfos) {
            text += std::string("\n") + kIndent + "  " + std::to_string(frame.width) + "x" +
                    std::to_string(frame.height) + " at " + Join(frame.fpsList) + " fps";
        }
    }
    return text;
}

std::string Printer::Event(int64_t handle, const AONCallBackInfo& info) const {
    const std::optional<int32_t> frameId = FrameId(info);
    const std::vector<aon_tools::ResultItem> items =
            aon_tools::DescribeResults(info.results, mValues);
    if (mJson) {
        JsonWriter json;
        json.BeginObject().Key("kind").String("event").Key("t").Double(Seconds());
        json.Key("clientHandle").Int(handle).Key("serviceType").Int(info.serviceType);
        if (frameId) json.Key("frameId").Int(*frameId);
        json.Key("results").BeginArray();
        for (const aon_tools::ResultItem& item : items) {
            json.BeginObject().Key("key").Int(item.key);
            json.Key("name").String(aon_tools::KeyName(item.key)).Key("type").String(item.type);
            if (item.array) json.Key("size").Int(static_cast<int64_t>(item.size));
            if (!item.value.empty()) json.Key("value").Raw(item.value);
            json.EndObject();
        }
        return json.EndArray().EndObject().str();
    }
    std::string text =
            Line("event", (frameId ? "frame " + std::to_string(*frameId) : "no frame id") +
                                  ", types " + TypesText(info.serviceType) + ", " +
                                  std::to_string(items.size()) + " results");
    if (mBrief) return text;
    for (const aon_tools::ResultItem& item : items) {
        char head[64];
        std::snprintf(head, sizeof(head), "%5d %-21s ", item.key,
                      aon_tools::KeyName(item.key).c_str());
        std::string line = kIndent + std::string(head) + item.type;
        if (item.array) line += "[" + std::to_string(item.size) + "]";
        if (!item.value.empty()) line += " = " + item.value;
        text += "\n" + line;
    }
    return text;
}

std::string Printer::State(int64_t handle, const AONSensorStateInfo& info) const {
    if (mJson) {
        JsonWriter json;
        json.BeginObject().Key("kind").String("state").Key("t").Double(Seconds());
        json.Key("clientHandle").Int(handle).Key("sensorId").Int(info.sensorId);
        json.Key("state")
                .Int(info.state)
                .Key("name")
                .String(aon_tools::SensorStateName(info.state));
        return json.EndObject().str();
    }
    return Line("state", "sensor " + std::to_string(info.sensorId) + ": " +
                                 aon_tools::SensorStateName(info.state) + " (" +
                                 std::to_string(info.state) + ")");
}

std::string Printer::Gap(const FrameStats::Gap& gap) const {
    if (mJson) {
        JsonWriter json;
        json.BeginObject().Key("kind").String("gap").Key("t").Double(Seconds());
        json.Key("first").Int(gap.first).Key("last").Int(gap.last).Key("missed").Int(gap.count());
        return json.EndObject().str();
    }
    const std::string frames = gap.count() == 1 ? "frame " + std::to_string(gap.first)
                                                : "frames " + std::to_string(gap.first) + " to " +
                                                          std::to_string(gap.last);
    return Line("gap", frames + " not received (" + std::to_string(gap.count()) + ")");
}

std::string Printer::End(const char* reason, const std::string& text) const {
    if (mJson) {
        JsonWriter json;
        json.BeginObject().Key("kind").String("end").Key("t").Double(Seconds());
        return json.Key("reason").String(reason).Key("text").String(text).EndObject().str();
    }
    return Line("end", text);
}

std::string Printer::Summary(const SummaryReport& summary) const {
    const FrameStats& stats = summary.stats;
    if (mJson) {
        JsonWriter json;
        json.BeginObject().Key("kind").String("summary").Key("t").Double(Seconds());
        json.Key("end").String(summary.end).Key("events").Int(stats.events());
        if (stats.rate()) json.Key("eventsPerSecond").Double(*stats.rate());
        if (stats.firstFrameId()) json.Key("firstFrameId").Int(*stats.firstFrameId());
        if (stats.lastFrameId()) json.Key("lastFrameId").Int(*stats.lastFrameId());
        json.Key("missedFrames").Int(stats.missed()).Key("gaps").Int(stats.gaps());
        json.Key("restarts").Int(stats.restarts());
        json.Key("states").BeginArray();
        for (const AONSensorStateInfo& state : summary.states) {
            json.BeginObject().Key("sensorId").Int(state.sensorId).Key("state").Int(state.state);
            json.EndObject();
        }
        json.EndArray();
        if (!summary.frameDirectory.empty()) {
            json.Key("frames").BeginObject().Key("directory").String(summary.frameDirectory);
            json.Key("format").String(summary.frameFormat).Key("saved").Int(summary.framesSaved);
            json.Key("skipped").Int(summary.framesSkipped).Key("failed").Int(summary.framesFailed);
            json.EndObject();
        }
        json.Key("service").String(summary.service).Key("leftClean").Bool(summary.leftClean);
        return json.Key("exitStatus").Int(summary.exitStatus).EndObject().str();
    }
    char rate[48] = "";
    if (stats.rate()) std::snprintf(rate, sizeof(rate), ", %.1f per second", *stats.rate());
    std::string text = Line("summary", Count(stats.events(), "event") + rate);
    auto more = [&text](const std::string& line) { text += "\n" + (kIndent + line); };
    if (stats.firstFrameId()) {
        more("frame ids " + std::to_string(*stats.firstFrameId()) + " to " +
             std::to_string(*stats.lastFrameId()) + ", " + std::to_string(stats.missed()) +
             " not received in " + Count(stats.gaps(), "gap") +
             (stats.restarts() ? ", " + Count(stats.restarts(), "restart") : ""));
    }
    std::string states = "sensor states:";
    for (const AONSensorStateInfo& state : summary.states) {
        states += " " + std::to_string(state.sensorId) + ":" +
                  aon_tools::SensorStateName(state.state);
    }
    more(summary.states.empty() ? "no sensor states" : states);
    if (!summary.frameDirectory.empty()) {
        std::string frames = Count(summary.framesSaved, "frame") + " saved in " +
                             summary.frameDirectory + " (" + summary.frameFormat + ")";
        if (summary.framesSkipped)
            frames += ", " + std::to_string(summary.framesSkipped) +
                      " skipped (the writer was behind)";
        if (summary.framesFailed)
            frames += ", " + std::to_string(summary.framesFailed) + " could not be written";
        more(frames);
    }
    more(summary.service);
    more("exit status " + std::to_string(summary.exitStatus));
    return text;
}

}  // namespace aon_client

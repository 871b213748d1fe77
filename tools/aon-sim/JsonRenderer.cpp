#include "tools/aon-sim/JsonRenderer.h"

#include <nlohmann/json.hpp>

#include "tools/common/ResultKeys.h"

namespace aon_sim {
namespace {

// Keys stay in the order they are set.
using Json = nlohmann::ordered_json;

Json Result(const CallResult& result) {
    return {{"ok", result.ok()},
            {"exception", result.exception},
            {"code", result.serviceSpecific},
            {"status", result.status},
            {"message", result.message}};
}

Json Sensors(const std::vector<SensorSummary>& sensors) {
    Json list = Json::array();
    for (const SensorSummary& sensor : sensors) {
        Json sizes = Json::array();
        for (const FrameSize& size : sensor.frameInfos) {
            sizes.push_back(
                    {{"width", size.width}, {"height", size.height}, {"fpsList", size.fpsList}});
        }
        list.push_back({{"sensorId", sensor.sensorId},
                        {"sensorParam1", sensor.sensorParam1},
                        {"sensorParam2", sensor.sensorParam2},
                        {"supportServiceType", sensor.supportServiceType},
                        {"frameInfos", std::move(sizes)}});
    }
    return list;
}

// A result's value is rendered JSON already (numbers shortest round-trip, long arrays a digest).
Json Results(const std::vector<aon_tools::ResultItem>& results, bool showValues) {
    Json list = Json::array();
    for (const aon_tools::ResultItem& item : results) {
        Json result = {{"key", item.key}};
        if (const aon_tools::KeyInfo* key = aon_tools::FindKey(item.key))
            result["name"] = key->name;
        result["type"] = item.type;
        if (item.array) result["size"] = item.size;
        if (ShowValue(item, showValues)) result["value"] = Json::parse(item.value);
        list.push_back(std::move(result));
    }
    return list;
}

void WriteVendor(Json& json, const VendorEntry& call) {
    json["kind"] = "vendor";
    json["call"] = call.call;
    json["thread"] = call.thread;
    json["result"] = call.result;
    if (call.call == "getSensorList") json["sensorIds"] = call.sensorIds;
    if (call.call == "getSensorInfo") {
        json["sensorId"] = call.sensorId;
        json["entries"] = call.count;
    }
    if (call.call == "getSensorMode") {
        json["sensorId"] = call.sensorId;
        json["mode"] = call.mode;
    }
    if (call.call == "notifySensorState") {
        json["sensorIds"] = call.sensorIds;
        json["opened"] = call.opened;
    }
    if (call.param) {
        const ParamFields& p = *call.param;
        json["user_param"] = {{"sensorId", p.sensorId},
                              {"width", p.width},
                              {"height", p.height},
                              {"fps", p.fps},
                              {"requestedFps", p.requestedFps},
                              {"serviceType", p.serviceType},
                              {"mainFormat", p.mainFormat},
                              {"subFormat", p.subFormat},
                              {"debugMode", p.debugMode},
                              {"callback", p.callback}};
    }
}

void WriteBody(Json& json, const TraceBody& body, bool showValues) {
    if (const auto* step = std::get_if<StepEntry>(&body)) {
        json["kind"] = "step";
        json["line"] = step->line;
        json["text"] = step->text;
    } else if (const auto* note = std::get_if<NoteEntry>(&body)) {
        json["kind"] = "note";
        json["text"] = note->text;
    } else if (const auto* status = std::get_if<StatusEntry>(&body)) {
        json["kind"] = "status";
        json["client"] = status->client;
        json["method"] = status->method;
        json["thread"] = status->thread;
        json.update(Result(status->result));
        if (status->handle) json["clientHandle"] = *status->handle;
        if (status->sensors) json["sensorInfos"] = Sensors(*status->sensors);
    } else if (const auto* event = std::get_if<EventEntry>(&body)) {
        json["kind"] = "event";
        json["client"] = event->client;
        json["thread"] = event->thread;
        if (event->bytes > 0) json["bytes"] = event->bytes;
        json["clientHandle"] = event->handle;
        json["serviceType"] = event->serviceType;
        json["results"] = Results(event->results, showValues);
    } else if (const auto* state = std::get_if<SensorStateEntry>(&body)) {
        json["kind"] = "sensorState";
        json["client"] = state->client;
        json["thread"] = state->thread;
        if (state->bytes > 0) json["bytes"] = state->bytes;
        json["clientHandle"] = state->handle;
        json["sensorId"] = state->sensorId;
        json["state"] = state->state;
    } else if (const auto* call = std::get_if<VendorEntry>(&body)) {
        WriteVendor(json, *call);
    } else if (const auto* frame = std::get_if<FrameEntry>(&body)) {
        json["kind"] = "frame";
        json["frameId"] = frame->frameId;
        json["width"] = frame->width;
        json["height"] = frame->height;
        json["serviceType"] = frame->serviceType;
        json["apuOutputSize"] = frame->apuOutputSize;
        json["imageStride"] = frame->imageStride;
        json["imageHeight"] = frame->imageHeight;
        json["delivered"] = frame->delivered;
    } else if (const auto* log = std::get_if<LogEntry>(&body)) {
        json["kind"] = "log";
        json["priority"] = PriorityLetter(log->priority);
        json["tag"] = log->tag;
        json["text"] = log->text;
        json["thread"] = log->thread;
    } else if (const auto* drop = std::get_if<DropEntry>(&body)) {
        json["kind"] = "drop";
        json["client"] = drop->client;
        json["frameId"] = drop->frameId;
        json["reason"] = drop->reason;
    } else if (const auto* t = std::get_if<TransactionEntry>(&body)) {
        json["kind"] = "transaction";
        json["method"] = t->method;
        json["caller"] = t->caller;
        json["target"] = t->target;
        json["thread"] = t->thread;
        json["reply"] = t->reply;
        json["refused"] = t->refused;
        json["nested"] = !t->refused;
        json["bytes"] = t->bytes;
        json["charge"] = t->charge;
        json["free"] = t->free;
        json["limit"] = t->limit;
        if (!t->waitsFor.empty()) json["waitsFor"] = t->waitsFor;
        if (!t->missed.empty()) json["missed"] = t->missed;
    } else {
        const auto& expect = std::get<ExpectEntry>(body);
        json["kind"] = "expect";
        json["line"] = expect.line;
        json["text"] = expect.text;
        json["holds"] = true;
    }
}

// One object a line. Text that is not valid UTF-8 (a log line may hold anything) shows its bad
// bytes as U+FFFD rather than ending the run.
void WriteLine(FILE* out, const Json& json) {
    const std::string text = json.dump(-1, ' ', false, Json::error_handler_t::replace);
    std::fputs(text.c_str(), out);
    std::fputc('\n', out);
    std::fflush(out);
}

}  // namespace

void JsonRenderer::Write(const TraceEntry& entry) {
    Json json = {{"seq", entry.seq}, {"t_us", entry.timeMicros}};
    WriteBody(json, entry.body, mShowValues);
    WriteLine(mOut, json);
}

void JsonRenderer::WriteSummary(const Summary& summary) {
    Json clients = Json::array();
    for (const ClientSummary& client : summary.clients) {
        Json states = Json::array();
        for (const auto& [sensor, state] : client.states) {
            states.push_back({{"sensorId", sensor}, {"state", state}});
        }
        clients.push_back({{"name", client.name},
                           {"pid", client.pid},
                           {"events", client.events},
                           {"dropped", client.dropped},
                           {"failedTransactions", client.failedTransactions},
                           {"states", std::move(states)},
                           {"standing", client.standing}});
    }
    Json calls = Json::object();
    for (const auto& [call, count] : summary.vendorCalls) calls[call] = count;
    Json json = {{"kind", "summary"},
                 {"seconds", summary.seconds},
                 {"framesDelivered", summary.framesDelivered},
                 {"framesNotDelivered", summary.framesNotDelivered},
                 {"clients", std::move(clients)},
                 {"vendorCalls", std::move(calls)},
                 {"logLines", summary.logLines},
                 {"logWarnings", summary.logWarnings},
                 {"logErrors", summary.logErrors},
                 {"expectationsPassed", summary.expectationsPassed}};
    if (summary.imagesDirectory) {
        json["imagesDirectory"] = *summary.imagesDirectory;
        json["imagesSaved"] = summary.imagesSaved;
    }
    WriteLine(mOut, json);
}

}  // namespace aon_sim

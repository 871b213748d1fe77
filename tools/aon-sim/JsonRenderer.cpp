#include "tools/aon-sim/JsonRenderer.h"

#include "tools/common/JsonWriter.h"

namespace aon_sim {
namespace {

void WriteIds(aon_tools::JsonWriter& json, const char* key, const std::vector<int32_t>& ids) {
    json.Key(key).BeginArray();
    for (int32_t id : ids) json.Int(id);
    json.EndArray();
}

void WriteResult(aon_tools::JsonWriter& json, const CallResult& result) {
    json.Key("ok").Bool(result.ok());
    json.Key("exception").Int(result.exception);
    json.Key("code").Int(result.serviceSpecific);
    json.Key("status").Int(result.status);
    json.Key("message").String(result.message);
}

void WriteSensors(aon_tools::JsonWriter& json, const std::vector<SensorSummary>& sensors) {
    json.Key("sensorInfos").BeginArray();
    for (const SensorSummary& sensor : sensors) {
        json.BeginObject();
        json.Key("sensorId").Int(sensor.sensorId);
        json.Key("sensorParam1").Int(sensor.sensorParam1);
        json.Key("sensorParam2").Int(sensor.sensorParam2);
        json.Key("supportServiceType").Int(sensor.supportServiceType);
        json.Key("frameInfos").BeginArray();
        for (const FrameSize& size : sensor.frameInfos) {
            json.BeginObject().Key("width").Int(size.width).Key("height").Int(size.height);
            WriteIds(json, "fpsList", size.fpsList);
            json.EndObject();
        }
        json.EndArray().EndObject();
    }
    json.EndArray();
}

void WriteBody(aon_tools::JsonWriter& json, const TraceBody& body, bool showValues) {
    if (const auto* step = std::get_if<StepEntry>(&body)) {
        json.Key("kind").String("step").Key("line").Int(step->line).Key("text").String(step->text);
    } else if (const auto* note = std::get_if<NoteEntry>(&body)) {
        json.Key("kind").String("note").Key("text").String(note->text);
    } else if (const auto* status = std::get_if<StatusEntry>(&body)) {
        json.Key("kind").String("status").Key("client").String(status->client);
        json.Key("method").String(status->method).Key("thread").String(status->thread);
        WriteResult(json, status->result);
        if (status->handle) json.Key("clientHandle").Int(*status->handle);
        if (status->sensors) WriteSensors(json, *status->sensors);
    } else if (const auto* event = std::get_if<EventEntry>(&body)) {
        json.Key("kind").String("event").Key("client").String(event->client);
        json.Key("thread").String(event->thread);
        if (event->bytes > 0) json.Key("bytes").Int(static_cast<int64_t>(event->bytes));
        json.Key("clientHandle").Int(event->handle);
        json.Key("serviceType").Int(event->serviceType).Key("results").BeginArray();
        for (const aon_tools::ResultItem& item : event->results) {
            json.BeginObject().Key("key").Int(item.key).Key("type").String(item.type);
            if (item.array) json.Key("size").Int(static_cast<int64_t>(item.size));
            if (ShowValue(item, showValues)) json.Key("value").Raw(item.value);
            json.EndObject();
        }
        json.EndArray();
    } else if (const auto* state = std::get_if<SensorStateEntry>(&body)) {
        json.Key("kind").String("sensorState").Key("client").String(state->client);
        json.Key("thread").String(state->thread);
        if (state->bytes > 0) json.Key("bytes").Int(static_cast<int64_t>(state->bytes));
        json.Key("clientHandle").Int(state->handle);
        json.Key("sensorId").Int(state->sensorId).Key("state").Int(state->state);
    } else if (const auto* call = std::get_if<VendorEntry>(&body)) {
        json.Key("kind").String("vendor").Key("call").String(call->call);
        json.Key("thread").String(call->thread).Key("result").Int(call->result);
        if (call->call == "getSensorList") WriteIds(json, "sensorIds", call->sensorIds);
        if (call->call == "getSensorInfo") {
            json.Key("sensorId").Int(call->sensorId);
            json.Key("entries").Int(static_cast<int64_t>(call->count));
        }
        if (call->call == "getSensorMode") {
            json.Key("sensorId").Int(call->sensorId).Key("mode").Int(call->mode);
        }
        if (call->call == "notifySensorState") {
            WriteIds(json, "sensorIds", call->sensorIds);
            json.Key("opened").Int(call->opened);
        }
        if (call->param) {
            const ParamFields& p = *call->param;
            json.Key("user_param").BeginObject();
            json.Key("sensorId").Int(p.sensorId).Key("width").Int(p.width);
            json.Key("height").Int(p.height).Key("fps").Int(p.fps);
            json.Key("requestedFps").Int(p.requestedFps).Key("serviceType").Int(p.serviceType);
            json.Key("mainFormat").Int(p.mainFormat).Key("subFormat").Int(p.subFormat);
            json.Key("debugMode").Int(p.debugMode).Key("callback").Bool(p.callback);
            json.EndObject();
        }
    } else if (const auto* frame = std::get_if<FrameEntry>(&body)) {
        json.Key("kind").String("frame").Key("frameId").Int(frame->frameId);
        json.Key("width").Int(frame->width).Key("height").Int(frame->height);
        json.Key("serviceType").Int(frame->serviceType);
        json.Key("apuOutputSize").Int(frame->apuOutputSize);
        json.Key("imageStride").Int(frame->imageStride).Key("imageHeight").Int(frame->imageHeight);
        json.Key("delivered").Bool(frame->delivered);
    } else if (const auto* log = std::get_if<LogEntry>(&body)) {
        json.Key("kind").String("log").Key("priority").String(PriorityLetter(log->priority));
        json.Key("tag").String(log->tag).Key("text").String(log->text);
        json.Key("thread").String(log->thread);
    } else if (const auto* drop = std::get_if<DropEntry>(&body)) {
        json.Key("kind").String("drop").Key("client").String(drop->client);
        json.Key("frameId").Int(drop->frameId).Key("reason").String(drop->reason);
    } else if (const auto* t = std::get_if<TransactionEntry>(&body)) {
        json.Key("kind").String("transaction").Key("method").String(t->method);
        json.Key("caller").String(t->caller).Key("target").String(t->target);
        json.Key("thread").String(t->thread).Key("reply").Bool(t->reply);
        json.Key("refused").Bool(t->refused).Key("nested").Bool(!t->refused);
        json.Key("bytes").Int(static_cast<int64_t>(t->bytes));
        json.Key("charge").Int(static_cast<int64_t>(t->charge));
        json.Key("free").Int(static_cast<int64_t>(t->free));
        json.Key("limit").Int(static_cast<int64_t>(t->limit));
        if (!t->waitsFor.empty()) json.Key("waitsFor").String(t->waitsFor);
        if (!t->missed.empty()) json.Key("missed").String(t->missed);
    } else {
        const auto& expect = std::get<ExpectEntry>(body);
        json.Key("kind").String("expect").Key("line").Int(expect.line);
        json.Key("text").String(expect.text).Key("holds").Bool(true);
    }
}

}  // namespace

void JsonRenderer::Write(const TraceEntry& entry) {
    aon_tools::JsonWriter json;
    json.BeginObject().Key("seq").Int(static_cast<int64_t>(entry.seq));
    json.Key("t_us").Int(entry.timeMicros);
    WriteBody(json, entry.body, mShowValues);
    json.EndObject();
    std::fputs(json.str().c_str(), mOut);
    std::fputc('\n', mOut);
    std::fflush(mOut);
}

void JsonRenderer::WriteSummary(const Summary& summary) {
    aon_tools::JsonWriter json;
    json.BeginObject().Key("kind").String("summary").Key("seconds").Double(summary.seconds);
    json.Key("framesDelivered").Int(summary.framesDelivered);
    json.Key("framesNotDelivered").Int(summary.framesNotDelivered);
    json.Key("clients").BeginArray();
    for (const ClientSummary& client : summary.clients) {
        json.BeginObject().Key("name").String(client.name).Key("pid").Int(client.pid);
        json.Key("events").Int(client.events).Key("dropped").Int(client.dropped);
        json.Key("failedTransactions").Int(client.failedTransactions);
        json.Key("states").BeginArray();
        for (const auto& [sensor, state] : client.states) {
            json.BeginObject().Key("sensorId").Int(sensor).Key("state").Int(state).EndObject();
        }
        json.EndArray().Key("standing").String(client.standing).EndObject();
    }
    json.EndArray().Key("vendorCalls").BeginObject();
    for (const auto& [call, count] : summary.vendorCalls) json.Key(call.c_str()).Int(count);
    json.EndObject();
    json.Key("logLines").Int(summary.logLines).Key("logWarnings").Int(summary.logWarnings);
    json.Key("logErrors").Int(summary.logErrors);
    json.Key("expectationsPassed").Int(summary.expectationsPassed).EndObject();
    std::fputs(json.str().c_str(), mOut);
    std::fputc('\n', mOut);
    std::fflush(mOut);
}

}  // namespace aon_sim

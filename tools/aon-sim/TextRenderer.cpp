#include "tools/aon-sim/TextRenderer.h"

#include <cinttypes>
#include <cstdio>

#include "tools/common/ResultKeys.h"

namespace aon_sim {
namespace {

std::string Hex(int64_t value) {
    char text[24];
    std::snprintf(text, sizeof(text), "0x%" PRIx64, static_cast<uint64_t>(value) & 0xffffffffu);
    return text;
}

std::string Time(int64_t micros) {
    char text[24];
    std::snprintf(text, sizeof(text), "%8.3f", static_cast<double>(micros) / 1e6);
    return text;
}

std::string Ids(const std::vector<int32_t>& ids) {
    std::string out = "[";
    for (size_t i = 0; i < ids.size(); ++i) out += (i ? "," : "") + std::to_string(ids[i]);
    return out + "]";
}

// Text names of the union members: "int", "float[]" become "int", "float[14]".
std::string TypeText(const aon_tools::ResultItem& item) {
    std::string type = item.type;
    static const std::pair<const char*, const char*> kNames[] = {
            {"byteValue", "byte"},      {"byteArray", "byte"},     {"intValue", "int"},
            {"intArray", "int"},        {"stringValue", "string"}, {"floatValue", "float"},
            {"floatArray", "float"},    {"doubleValue", "double"}, {"doubleArray", "double"},
            {"booleanValue", "boolean"}};
    for (const auto& [member, name] : kNames) {
        if (type == member) type = name;
    }
    if (item.array) type += "[" + std::to_string(item.size) + "]";
    return type;
}

// A mask with the names of its bits: "0x3 (fusion, face angle)".
std::string TypeMaskText(int64_t mask) {
    return Hex(mask) + " (" + aon_tools::ServiceTypeNames(static_cast<uint32_t>(mask)) + ")";
}

std::string SensorsText(const std::vector<SensorSummary>& sensors) {
    std::string out = std::to_string(sensors.size()) + (sensors.size() == 1 ? " sensor" : " sensors");
    for (const SensorSummary& sensor : sensors) {
        // sensorParam1 is a field the manager leaves 0; sensorParam2 the vendor's attribute of the
        // sensor's last size.
        out += "; " + std::to_string(sensor.sensorId) + ": types " +
               Hex(sensor.supportServiceType) + ", sensorParam1 " +
               std::to_string(sensor.sensorParam1) + " (reserved), sensorParam2 " +
               std::to_string(sensor.sensorParam2) + " (size attribute)";
        for (const FrameSize& size : sensor.frameInfos) {
            out += ", " + std::to_string(size.width) + "x" + std::to_string(size.height) + "@";
            for (size_t i = 0; i < size.fpsList.size(); ++i) {
                out += (i ? "," : "") + std::to_string(size.fpsList[i]);
            }
        }
    }
    return out;
}

std::string VendorText(const VendorEntry& call) {
    if (call.call == "getSensorList") return "getSensorList() -> " + Ids(call.sensorIds);
    if (call.call == "getSensorInfo") {
        return "getSensorInfo(" + std::to_string(call.sensorId) + ") -> " +
               std::to_string(call.count) + (call.count == 1 ? " size" : " sizes");
    }
    if (call.call == "getSensorMode") {
        return "getSensorMode(" + std::to_string(call.sensorId) + ") -> " +
               std::to_string(call.result) + ", mode " + Hex(call.mode);
    }
    if (call.call == "notifySensorState") {
        return "notifySensorState(" + Ids(call.sensorIds) + ", opened " +
               std::to_string(call.opened) + ") -> " + std::to_string(call.result);
    }
    if (call.call == "init" && call.param) {
        const ParamFields& p = *call.param;
        return "init(sensorId " + std::to_string(p.sensorId) + ", " + std::to_string(p.width) +
               "x" + std::to_string(p.height) + ", fps " + std::to_string(p.fps) +
               ", requestedFps " + std::to_string(p.requestedFps) + ", serviceType " +
               Hex(p.serviceType) + ", mainFormat " + Hex(p.mainFormat) + ", subFormat " +
               Hex(p.subFormat) + ", debugMode " + std::to_string(p.debugMode) +
               (p.callback ? "" : ", no callback") + ") -> " + std::to_string(call.result);
    }
    return call.call + "() -> " + std::to_string(call.result);
}

std::string TransactionText(const TransactionEntry& t) {
    if (!t.refused) {
        return t.method + " " + t.caller + " -> " + t.target + " runs nested on thread " +
               t.thread + ", which waits for " + t.waitsFor;
    }
    // A refused request went to the target's buffer, a refused reply to the caller's.
    const std::string& owner = t.reply ? t.caller : t.target;
    std::string text = t.reply ? "reply of " + t.method + " " + t.caller + " <- " + t.target
                               : t.method + " " + t.caller + " -> " + t.target;
    text += " refused: " + std::to_string(t.bytes) + " bytes, charge " + std::to_string(t.charge) +
            " > " + std::to_string(t.free) + " free of " + owner + "'s " + std::to_string(t.limit) +
            "-byte buffer (FAILED_TRANSACTION)";
    if (!t.missed.empty()) text += "; " + t.missed;
    return text;
}

}  // namespace

TextRenderer::TextRenderer(aon_tools::Console& console, Options options)
    : mConsole(console), mOptions(std::move(options)) {}

std::string TextRenderer::ThreadSuffix(const std::string& thread) const {
    if (thread.empty() || thread == mOptions.quietThread) return "";
    return "  [" + thread + "]";
}

std::string TextRenderer::ThreadOf(const TraceBody& body) {
    if (const auto* status = std::get_if<StatusEntry>(&body)) return status->thread;
    if (const auto* event = std::get_if<EventEntry>(&body)) return event->thread;
    if (const auto* state = std::get_if<SensorStateEntry>(&body)) return state->thread;
    if (const auto* call = std::get_if<VendorEntry>(&body)) return call->thread;
    if (const auto* log = std::get_if<LogEntry>(&body)) return log->thread;
    return "";
}

std::string TextRenderer::ThreadMeaning(const std::string& thread) {
    if (thread == "AONManager") return "the library's worker for a camera open or close";
    if (thread == "binder:death") return "the binder thread that tells of a client's death";
    if (thread == "aov-frames") return "the vendor stream's frame thread";
    return "a thread the library started";
}

void TextRenderer::ExplainThread(const TraceEntry& entry) {
    const std::string thread = ThreadOf(entry.body);
    if (ThreadSuffix(thread).empty() || !mExplainedThreads.insert(thread).second) return;
    mConsole.PrintLine(Time(entry.timeMicros) + " # [" + thread + "] marks what ran on " +
                       ThreadMeaning(thread));
}

std::string TextRenderer::Render(const TraceBody& body) const {
    if (const auto* step = std::get_if<StepEntry>(&body)) {
        return step->line > 0 ? "> " + std::to_string(step->line) + ": " + step->text
                              : "> " + step->text;
    }
    if (const auto* note = std::get_if<NoteEntry>(&body)) return "# " + note->text;
    if (const auto* status = std::get_if<StatusEntry>(&body)) {
        std::string text = "  " + status->client + "  " + status->method + " -> " +
                           CallResultText(status->result);
        if (status->handle) text += ", handle " + std::to_string(*status->handle);
        if (status->sensors) text += ", " + SensorsText(*status->sensors);
        return text + ThreadSuffix(status->thread);
    }
    if (const auto* event = std::get_if<EventEntry>(&body)) {
        std::string frame;
        for (const aon_tools::ResultItem& item : event->results) {
            if (item.key == 0 && item.type == "intValue" && !item.value.empty()) {
                frame = ", frame " + item.value;
            }
        }
        std::string text = "  " + event->client + "  <- onAONEvent(handle " +
                           std::to_string(event->handle) + ") type " +
                           TypeMaskText(event->serviceType) + frame + ":";
        if (event->results.empty()) text += " no results";
        for (size_t i = 0; i < event->results.size(); ++i) {
            const aon_tools::ResultItem& item = event->results[i];
            text += (i ? ", " : " ") + std::to_string(item.key);
            if (const aon_tools::KeyInfo* key = aon_tools::FindKey(item.key)) {
                text += std::string(" ") + key->name;
            }
            text += ": " + TypeText(item);
            if (ShowValue(item, mOptions.showValues)) text += "=" + item.value;
        }
        return text + ThreadSuffix(event->thread);
    }
    if (const auto* state = std::get_if<SensorStateEntry>(&body)) {
        return "  " + state->client + "  <- onAONSensorEvent(handle " +
               std::to_string(state->handle) + ") sensor " + std::to_string(state->sensorId) +
               " state " + std::to_string(state->state) + " (" +
               aon_tools::SensorStateName(state->state) + ")" + ThreadSuffix(state->thread);
    }
    if (const auto* call = std::get_if<VendorEntry>(&body)) {
        return "  vendor  " + VendorText(*call) + ThreadSuffix(call->thread);
    }
    if (const auto* frame = std::get_if<FrameEntry>(&body)) {
        if (!frame->delivered) return "  vendor  no frame: no stream is running";
        std::string text = "  vendor  frame " + std::to_string(frame->frameId) + " " +
                           std::to_string(frame->width) + "x" + std::to_string(frame->height) +
                           " type " + TypeMaskText(frame->serviceType) + ", apu_output_size " +
                           std::to_string(frame->apuOutputSize) + ", image " +
                           std::to_string(frame->imageStride) + "x" +
                           std::to_string(frame->imageHeight);
        return text;
    }
    if (const auto* log = std::get_if<LogEntry>(&body)) {
        return std::string("  log ") + PriorityLetter(log->priority) + " " + log->tag + ": " +
               log->text + ThreadSuffix(log->thread);
    }
    if (const auto* drop = std::get_if<DropEntry>(&body)) {
        return "  " + drop->client + "  dropped frame " + std::to_string(drop->frameId) + ": " +
               drop->reason;
    }
    if (const auto* transaction = std::get_if<TransactionEntry>(&body)) {
        return "  binder  " + TransactionText(*transaction);
    }
    const auto& expect = std::get<ExpectEntry>(body);
    return "  holds  " + std::to_string(expect.line) + ": " + expect.text;
}

void TextRenderer::Write(const TraceEntry& entry) {
    mLastTime = entry.timeMicros;
    const bool traffic = std::holds_alternative<FrameEntry>(entry.body) ||
                         std::holds_alternative<EventEntry>(entry.body);
    if (mOptions.foldFrames && traffic) {
        Fold(entry);
        return;
    }
    FlushFolded();
    ExplainThread(entry);
    mConsole.PrintLine(Time(entry.timeMicros) + " " + Render(entry.body));
}

void TextRenderer::Fold(const TraceEntry& entry) {
    const auto* frame = std::get_if<FrameEntry>(&entry.body);
    if (frame != nullptr) ++mRunFrames;
    if (mRunFrames <= 1) {
        ExplainThread(entry);
        mConsole.PrintLine(Time(entry.timeMicros) + " " + Render(entry.body));
        return;
    }
    if (frame != nullptr) {
        if (mFoldedFrames == 0) mFirstFolded = frame->frameId;
        mLastFolded = frame->frameId;
        ++mFoldedFrames;
    } else {
        ++mFoldedEvents[std::get<EventEntry>(entry.body).client];
    }
}

void TextRenderer::FlushFolded() {
    if (mFoldedFrames > 0 || !mFoldedEvents.empty()) {
        std::string text = "  ... " + std::to_string(mFoldedFrames) + " more frames";
        if (mFoldedFrames > 0) {
            text += " (" + std::to_string(mFirstFolded) + " to " + std::to_string(mLastFolded) +
                    ")";
        }
        for (const auto& [client, count] : mFoldedEvents) {
            text += ", " + client + " received " + std::to_string(count) + " events";
        }
        mConsole.PrintLine(Time(mLastTime) + " " + text);
    }
    mRunFrames = 0;
    mFoldedFrames = 0;
    mFoldedEvents.clear();
}

void TextRenderer::WriteSummary(const Summary& summary) {
    FlushFolded();
    mConsole.ClearStatus();
    char seconds[32];
    std::snprintf(seconds, sizeof(seconds), "%.3f s", summary.seconds);
    mConsole.PrintLine("-- summary --");
    mConsole.PrintLine("  " + std::string(seconds) + ", " +
                       std::to_string(summary.framesDelivered) +
                       " frames delivered by the stream, " +
                       std::to_string(summary.framesNotDelivered) +
                       " asked for while no stream ran");
    for (const ClientSummary& client : summary.clients) {
        std::string states;
        for (const auto& [sensor, state] : client.states) {
            states += " " + std::to_string(sensor) + ":" + std::to_string(state);
        }
        const std::string failed =
                client.failedTransactions == 0
                        ? ""
                        : ", " + std::to_string(client.failedTransactions) + " failed transactions";
        mConsole.PrintLine("  client " + client.name + " (pid " + std::to_string(client.pid) +
                           "): " + std::to_string(client.events) + " events, " +
                           std::to_string(client.dropped) + " dropped" + failed + "; states" +
                           (states.empty() ? " none" : states) + "; " + client.standing);
    }
    std::string calls;
    for (const auto& [call, count] : summary.vendorCalls) {
        calls += (calls.empty() ? " " : ", ") + call + " " + std::to_string(count);
    }
    mConsole.PrintLine("  vendor calls:" + (calls.empty() ? std::string(" none") : calls));
    mConsole.PrintLine("  log: " + std::to_string(summary.logLines) + " lines, " +
                       std::to_string(summary.logWarnings) + " warnings, " +
                       std::to_string(summary.logErrors) + " errors");
    if (summary.imagesDirectory) {
        mConsole.PrintLine("  images: " + std::to_string(summary.imagesSaved) +
                           (summary.imagesSaved == 1 ? " PNG file" : " PNG files") +
                           " written into " + *summary.imagesDirectory);
    }
    if (summary.expectationsPassed > 0) {
        mConsole.PrintLine("  expectations: " + std::to_string(summary.expectationsPassed) +
                           " held");
    }
}

}  // namespace aon_sim

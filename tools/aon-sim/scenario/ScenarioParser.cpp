#include "tools/aon-sim/scenario/ScenarioParser.h"

#include <sys/stat.h>

#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <set>
#include <sstream>

#include "event/AovEvent.h"
#include "tools/aon-sim/scenario/PropertyNames.h"
#include "tools/common/ResultKeys.h"

namespace aon_sim {
namespace {

// A file with more mistakes than this is probably not a scenario: the rest is not reported.
constexpr size_t kMaxErrors = 10;
constexpr int32_t kMaxFramesPerLine = 100000;
constexpr int32_t kFirstDefaultPid = 1001;

const std::set<std::string>& Keywords() {
    static const std::set<std::string> kKeywords = {"property", "vendor", "client", "camera",
                                                    "frame",    "frames", "wait",   "note",
                                                    "expect",   "log",    "no-log"};
    return kKeywords;
}

bool IsIdentifier(const std::string& word) {
    if (word.empty() || !(std::isalpha(static_cast<unsigned char>(word[0])) || word[0] == '_')) {
        return false;
    }
    for (char c : word) {
        if (!(std::isalnum(static_cast<unsigned char>(c)) || c == '_' || c == '-')) return false;
    }
    return true;
}

std::string Trim(const std::string& text) {
    const size_t first = text.find_first_not_of(" \t\r");
    if (first == std::string::npos) return "";
    const size_t last = text.find_last_not_of(" \t\r");
    return text.substr(first, last - first + 1);
}

// The line as written, without a trailing comment (quotes respected).
std::string WithoutComment(const std::string& line) {
    bool quoted = false;
    for (size_t i = 0; i < line.size(); ++i) {
        if (line[i] == '\\' && quoted) {
            ++i;
        } else if (line[i] == '"') {
            quoted = !quoted;
        } else if (line[i] == '#' && !quoted) {
            return Trim(line.substr(0, i));
        }
    }
    return Trim(line);
}

}  // namespace

ScenarioParser::ScenarioParser(std::string path) : mPath(std::move(path)) {}

bool ScenarioParser::Parse(std::istream& in, Scenario* scenario) {
    Scenario parsed;
    parsed.path = mPath;
    std::string text;
    int line = 0;
    while (std::getline(in, text)) {
        ++line;
        if (mErrors.size() == kMaxErrors) {
            mErrors.push_back(mPath + ": stopped after " + std::to_string(kMaxErrors) +
                              " mistakes");
            break;
        }
        if (text.find('\0') != std::string::npos) {
            mErrors.push_back(mPath + ":" + std::to_string(line) +
                              ": expected a scenario (text), got a binary file (a NUL byte)");
            break;
        }
        std::vector<Token> tokens;
        std::string tokenError;
        if (!Tokenize(text, &tokens, &tokenError)) {
            mErrors.push_back(mPath + ":" + std::to_string(line) + ": expected " + tokenError +
                              ", got the end of the line");
            continue;
        }
        if (tokens.empty()) continue;
        LineCursor cursor(std::move(tokens));
        std::optional<CommandBody> body = ParseCommand(cursor, line);
        if (cursor.failed() || !body) {
            mErrors.push_back(mPath + ":" + std::to_string(line) + ": " +
                              Printable(cursor.error()));
            continue;
        }
        parsed.commands.push_back({line, WithoutComment(text), std::move(*body)});
    }
    if (mErrors.empty() && parsed.commands.empty()) {
        mErrors.push_back(mPath + ": expected at least one command, got " +
                          (line == 0 ? "an empty file" : "only blank lines and comments"));
    }
    if (!mErrors.empty()) return false;
    *scenario = std::move(parsed);
    return true;
}

std::optional<CommandBody> ScenarioParser::ParseCommand(LineCursor& cursor, int line) {
    if (cursor.Accept("property")) return ParseProperty(cursor, line);
    if (cursor.Accept("vendor")) return ParseVendor(cursor);
    if (cursor.Accept("client")) return ParseClientDeclare(cursor, line);
    if (cursor.Accept("camera")) return ParseCamera(cursor, line);
    if (cursor.Accept("frame")) return ParseFrame(cursor, false, line);
    if (cursor.Accept("frames")) return ParseFrame(cursor, true, line);
    if (cursor.Accept("wait")) return ParseWait(cursor);
    if (cursor.Accept("note")) return ParseNote(cursor);
    if (cursor.Accept("expect")) return ParseExpect(cursor);
    std::string word;
    if (!cursor.ReadWord(&word,
                         "a command (property, vendor, client, camera, frame, frames, wait, "
                         "note, expect) or a declared client")) {
        return std::nullopt;
    }
    if (mClients.count(word) == 0) {
        std::string declared;
        for (const auto& [client, info] : mClients) {
            declared += (declared.empty() ? " (" : ", ") + client;
        }
        cursor.FailWith(
                "a command (property, vendor, client, camera, frame, frames, wait, note, "
                "expect) or a declared client" +
                        (declared.empty() ? "" : declared + ")"),
                ShownWord(word));
        return std::nullopt;
    }
    return ParseClientCommand(cursor, word, line);
}

std::optional<CommandBody> ScenarioParser::ParseProperty(LineCursor& cursor, int line) {
    PropertySet property;
    if (!cursor.ReadWord(&property.name, "a property name")) return std::nullopt;
    if (!cursor.ReadValue(&property.value, "a property value")) return std::nullopt;
    if (const std::optional<std::string> meant = NearPropertyName(property.name)) {
        mWarnings.push_back(mPath + ":" + std::to_string(line) +
                            ": warning: " + NearPropertyWarning(property.name, *meant));
    }
    if (!cursor.ExpectEnd("the end of the line (quote a value with blanks)")) return std::nullopt;
    return property;
}

std::optional<CommandBody> ScenarioParser::ParseVendor(LineCursor& cursor) {
    std::string what;
    if (!cursor.ReadKeyword({"sensor", "init", "uninit", "notifySensorState", "absent"}, &what,
                            "a vendor answer")) {
        return std::nullopt;
    }
    if (what == "absent") {
        if (mFirstServiceLine != 0) {
            cursor.FailWith("'vendor absent' before the service starts",
                            "it after line " + std::to_string(mFirstServiceLine) +
                                    ", where the service already runs");
            return std::nullopt;
        }
        if (!cursor.ExpectEnd("the end of the line after 'vendor absent'")) return std::nullopt;
        return VendorAbsent{};
    }
    if (what != "sensor") {
        VendorAnswer answer;
        answer.call = what == "init"     ? VendorCall::kInit
                      : what == "uninit" ? VendorCall::kUninit
                                         : VendorCall::kNotifySensorState;
        std::string result;
        if (!cursor.ReadKeyword({"ok", "fail"}, &result, "the answer")) return std::nullopt;
        answer.ok = result == "ok";
        if (!cursor.ExpectEnd("the end of the line")) return std::nullopt;
        return answer;
    }
    VendorSensor sensor;
    if (!cursor.ReadInt32(&sensor.sensorId, "a sensor id")) return std::nullopt;
    while (!cursor.AtEnd() && !cursor.failed()) {
        std::string option;
        if (!cursor.ReadKeyword({"size", "mode", "status"}, &option, "a sensor option")) break;
        if (option == "size") {
            if (sensor.size) {
                cursor.FailWith("one size per line", "a second 'size'");
                break;
            }
            VendorSize size;
            std::pair<uint32_t, uint32_t> wh;
            if (!cursor.ReadSize(&wh, "a frame size such as 640x480")) break;
            size.width = static_cast<int32_t>(wh.first);
            size.height = static_cast<int32_t>(wh.second);
            if (!cursor.Accept("fps")) {
                cursor.Fail("'fps' and the rates of the size");
                break;
            }
            if (!cursor.ReadList(&size.rates, "frame rates such as 10,15,30")) break;
            if (cursor.Accept("attribute") &&
                !cursor.ReadInt32(&size.attribute, "an attribute value")) {
                break;
            }
            sensor.size = std::move(size);
        } else if (option == "mode") {
            uint32_t mode = 0;
            if (!cursor.ReadUint32(&mode, "a mode mask")) break;
            sensor.mode = mode;
        } else {
            int32_t status = 0;
            if (!cursor.ReadInt32(&status, "a getSensorMode status")) break;
            sensor.modeStatus = status;
        }
    }
    if (cursor.failed()) return std::nullopt;
    return sensor;
}

std::optional<CommandBody> ScenarioParser::ParseClientDeclare(LineCursor& cursor, int line) {
    ClientDeclare client;
    if (!cursor.ReadWord(&client.name, "a client name")) return std::nullopt;
    if (!IsIdentifier(client.name) || Keywords().count(client.name) != 0) {
        cursor.FailWith("a client name (letters, digits, '_' or '-', not a command word)",
                        "'" + client.name + "'");
        return std::nullopt;
    }
    const auto known = mClients.find(client.name);
    if (known != mClients.end()) {
        cursor.FailWith("a new client name", "'" + client.name + "', declared at line " +
                                                     std::to_string(known->second.declaredLine));
        return std::nullopt;
    }
    client.pid = kFirstDefaultPid + static_cast<int32_t>(mClients.size());
    if (cursor.Accept("pid") && !cursor.ReadInt32(&client.pid, "a process id above 0")) {
        return std::nullopt;
    }
    if (client.pid <= 0) {
        cursor.FailWith("a process id above 0", std::to_string(client.pid));
        return std::nullopt;
    }
    const auto pidOwner = mPids.find(client.pid);
    if (pidOwner != mPids.end()) {
        cursor.FailWith("a process id of its own",
                        std::to_string(client.pid) + ", the process of client " + pidOwner->second);
        return std::nullopt;
    }
    if (!cursor.ExpectEnd("the end of the line or 'pid N'")) return std::nullopt;
    mClients[client.name].declaredLine = line;
    mPids[client.pid] = client.name;
    return client;
}

bool ScenarioParser::CheckClientUsable(LineCursor& cursor, const std::string& name,
                                       bool deadAllowed) {
    const auto known = mClients.find(name);
    if (known == mClients.end()) {
        std::string declared;
        for (const auto& [client, info] : mClients)
            declared += (declared.empty() ? "" : ", ") + client;
        return cursor.FailWith("a declared client",
                               "'" + name + "'" +
                                       (declared.empty() ? " (no client is declared)"
                                                         : " (declared: " + declared + ")"));
    }
    if (!deadAllowed && known->second.diedLine != 0) {
        return cursor.FailWith("a living client", "'" + name + "', which dies at line " +
                                                          std::to_string(known->second.diedLine));
    }
    return true;
}

bool ScenarioParser::ReadClient(LineCursor& cursor, std::string* name, bool deadAllowed) {
    if (!cursor.ReadWord(name, "a client name")) return false;
    return CheckClientUsable(cursor, *name, deadAllowed);
}

void ScenarioParser::NeedsService(int line) {
    if (mFirstServiceLine == 0) mFirstServiceLine = line;
}

std::optional<CommandBody> ScenarioParser::ParseClientCommand(LineCursor& cursor,
                                                              const std::string& client, int line) {
    if (!CheckClientUsable(cursor, client, false)) return std::nullopt;
    std::string verb;
    if (!cursor.ReadKeyword({"register", "list", "subscribe", "start", "stop", "unsubscribe",
                             "unregister", "dies", "ping", "on"},
                            &verb, "a client action")) {
        return std::nullopt;
    }
    if (verb == "dies") {
        if (!cursor.ExpectEnd("the end of the line after 'dies'")) return std::nullopt;
        mClients[client].diedLine = line;
        return ClientAction{client, ClientAction::Kind::kDies};
    }
    if (verb == "ping") {
        std::string answer;
        if (!cursor.ReadKeyword({"fails", "ok"}, &answer, "the ping answer")) return std::nullopt;
        if (!cursor.ExpectEnd("the end of the line")) return std::nullopt;
        return ClientAction{client, answer == "fails" ? ClientAction::Kind::kPingFails
                                                      : ClientAction::Kind::kPingOk};
    }
    if (verb == "on") return ParseReaction(cursor, client);
    NeedsService(line);
    return ParseCall(cursor, client, verb);
}

std::optional<CommandBody> ScenarioParser::ParseReaction(LineCursor& cursor,
                                                         const std::string& client) {
    ClientReaction reaction;
    reaction.client = client;
    std::string trigger;
    if (!cursor.ReadKeyword({"event", "state"}, &trigger, "the callback to answer")) {
        return std::nullopt;
    }
    if (trigger == "state") {
        reaction.trigger = ClientReaction::Trigger::kState;
        if (!cursor.ReadInt32(&reaction.state, "a sensor state such as 2")) return std::nullopt;
    }
    std::string answer;
    if (!cursor.ReadKeyword({"register", "list", "subscribe", "start", "stop", "unsubscribe",
                             "unregister", "hang", "nothing"},
                            &answer, "the client's answer")) {
        return std::nullopt;
    }
    if (answer == "hang" || answer == "nothing") {
        if (!cursor.ExpectEnd("the end of the line after '" + answer + "'")) return std::nullopt;
        reaction.answer =
                answer == "hang" ? ClientReaction::Answer::kHang : ClientReaction::Answer::kNothing;
        return reaction;
    }
    std::optional<CommandBody> call = ParseCall(cursor, client, answer);
    if (!call) return std::nullopt;
    reaction.answer = ClientReaction::Answer::kCall;
    reaction.call = std::get<ClientCall>(*call);
    return reaction;
}

std::optional<CommandBody> ScenarioParser::ParseCall(LineCursor& cursor, const std::string& client,
                                                     const std::string& verb) {
    ClientCall call;
    call.client = client;
    if (verb == "register") {
        call.method = ClientMethod::kRegister;
        call.nullCallback = cursor.Accept("null");
        if (!cursor.ReadInt32(&call.serviceType, "a service-type mask such as 0xF")) {
            return std::nullopt;
        }
        if (!ParseCallTail(cursor, &call, false)) return std::nullopt;
        return call;
    }
    if (verb == "subscribe") {
        call.method = ClientMethod::kSubscribe;
        return ParseSubscribe(cursor, std::move(call));
    }
    if (verb == "start" || verb == "stop") {
        call.method = verb == "start" ? ClientMethod::kStart : ClientMethod::kStop;
        if (!cursor.ReadInt32(&call.serviceType, "a service-type mask such as 0xF")) {
            return std::nullopt;
        }
    } else {
        call.method = verb == "list"          ? ClientMethod::kList
                      : verb == "unsubscribe" ? ClientMethod::kUnsubscribe
                                              : ClientMethod::kUnregister;
    }
    if (!ParseCallTail(cursor, &call, call.method != ClientMethod::kList)) return std::nullopt;
    return call;
}

std::optional<CommandBody> ScenarioParser::ParseSubscribe(LineCursor& cursor, ClientCall call) {
    std::set<std::string> seen;
    SubscribeConfig& config = call.config;
    while (!cursor.AtEnd() && !cursor.PeekIs("->") && !cursor.PeekIs("handle")) {
        std::string option;
        if (!cursor.ReadKeyword({"sensor", "size", "fps", "type", "mode", "extra"}, &option,
                                "a subscribe option")) {
            return std::nullopt;
        }
        if (!seen.insert(option).second) {
            cursor.FailWith("each subscribe option once", "'" + option + "' a second time");
            return std::nullopt;
        }
        bool read = true;
        if (option == "sensor") {
            read = cursor.ReadInt32(&config.sensorId, "a sensor id");
        } else if (option == "size") {
            std::pair<uint32_t, uint32_t> size;
            read = cursor.ReadSize(&size, "a frame size such as 640x480");
            config.frameWidth = static_cast<int32_t>(size.first);
            config.frameHeight = static_cast<int32_t>(size.second);
        } else if (option == "fps") {
            read = cursor.ReadInt32(&config.fps, "a frame rate");
        } else if (option == "type") {
            read = cursor.ReadInt32(&config.serviceType, "a service-type mask such as 0xF");
        } else if (option == "mode") {
            read = cursor.ReadInt32(&config.deliveryMode, "a delivery mode (1 is TIME_BASED)");
        } else {
            std::vector<int32_t> extra;
            read = cursor.ReadList(&extra, "the two extra parameters such as 0,0");
            if (read && extra.size() != 2) {
                cursor.FailWith("the two extra parameters such as 0,0",
                                std::to_string(extra.size()) + " values");
                read = false;
            }
            if (read) {
                config.extraParam0 = extra[0];
                config.extraParam1 = extra[1];
            }
        }
        if (!read) return std::nullopt;
    }
    for (const char* required : {"sensor", "size", "fps", "type"}) {
        if (seen.count(required) == 0) {
            cursor.Fail(std::string("'") + required + "' in the subscription");
            return std::nullopt;
        }
    }
    if (!ParseCallTail(cursor, &call, true)) return std::nullopt;
    return call;
}

bool ScenarioParser::ParseCallTail(LineCursor& cursor, ClientCall* call, bool takesHandle) {
    if (takesHandle && cursor.Accept("handle")) {
        int64_t handle = 0;
        if (!cursor.ReadInt64(&handle, "a client handle")) return false;
        call->handle = handle;
    }
    if (cursor.AtEnd()) return true;
    if (!cursor.Accept("->")) {
        return cursor.Fail(takesHandle ? "'handle N', '-> RESULT' or the end of the line"
                                       : "'-> RESULT' or the end of the line");
    }
    std::string kind;
    if (!cursor.ReadKeyword({"ok", "error", "exception"}, &kind, "a call result")) return false;
    CallExpectation& expect = call->expect;
    if (kind == "ok") {
        expect.kind = CallExpectation::Kind::kOk;
    } else if (kind == "error") {
        expect.kind = CallExpectation::Kind::kServiceSpecific;
        if (!cursor.ReadInt32(&expect.code, "a service-specific error code")) return false;
        if (!cursor.AtEnd() && !cursor.ReadQuoted(&expect.message, "a quoted status message")) {
            return false;
        }
    } else {
        expect.kind = CallExpectation::Kind::kException;
        const std::vector<std::string> names = aon_tools::ExceptionNames();
        std::string name;
        if (!cursor.ReadKeyword(names, &name, "an exception name")) return false;
        aon_tools::ExceptionCode(name, &expect.code);
    }
    return cursor.ExpectEnd("the end of the line after the result");
}

std::optional<CommandBody> ScenarioParser::ParseCamera(LineCursor& cursor, int line) {
    std::string what;
    if (!cursor.ReadKeyword({"device", "open", "close"}, &what, "a camera action")) {
        return std::nullopt;
    }
    int32_t instanceId = 0;
    if (!cursor.ReadInt32(&instanceId, "a camera device instance id")) return std::nullopt;
    if (what == "device") {
        CameraDevice device{instanceId, {}};
        if (!cursor.Accept("sensors")) {
            cursor.Fail("'sensors' and the device's sensor ids");
            return std::nullopt;
        }
        if (!cursor.ReadList(&device.sensors, "sensor ids such as 0,2 or none")) {
            return std::nullopt;
        }
        if (!cursor.ExpectEnd("the end of the line")) return std::nullopt;
        return device;
    }
    NeedsService(line);
    if (what == "close") {
        if (!cursor.ExpectEnd("the end of the line")) return std::nullopt;
        return CameraClose{instanceId};
    }
    CameraOpen open{instanceId, std::nullopt};
    if (cursor.Accept("sensors")) {
        std::vector<int32_t> sensors;
        if (!cursor.ReadList(&sensors, "sensor ids such as 0,2 or none")) return std::nullopt;
        open.sensors = std::move(sensors);
    }
    if (!cursor.ExpectEnd("'sensors I,J' or the end of the line")) return std::nullopt;
    return open;
}

std::optional<CommandBody> ScenarioParser::ParseFrame(LineCursor& cursor, bool several, int line) {
    NeedsService(line);
    FrameSpec frame;
    if (several) {
        if (!cursor.ReadInt32(&frame.count, "a number of frames")) return std::nullopt;
        if (frame.count < 1 || frame.count > kMaxFramesPerLine) {
            cursor.FailWith("a number of frames from 1 to " + std::to_string(kMaxFramesPerLine),
                            std::to_string(frame.count));
            return std::nullopt;
        }
    }
    std::set<std::string> seen;
    while (!cursor.AtEnd()) {
        std::string option;
        if (!cursor.ReadKeyword({"id", "size", "type", "apu", "fusion", "image", "debug-image"},
                                &option, "a frame option")) {
            return std::nullopt;
        }
        if (!seen.insert(option).second) {
            cursor.FailWith("each frame option once", "'" + option + "' a second time");
            return std::nullopt;
        }
        bool read = true;
        uint32_t value = 0;
        if (option == "id") {
            read = cursor.ReadUint32(&value, "a frame id");
            frame.frameId = value;
        } else if (option == "size") {
            std::pair<uint32_t, uint32_t> size;
            read = cursor.ReadSize(&size, "a frame size such as 640x480");
            frame.width = size.first;
            frame.height = size.second;
        } else if (option == "type") {
            read = cursor.ReadUint32(&value, "a service-type mask such as 0xF");
            frame.serviceType = value;
        } else if (option == "apu") {
            if (cursor.Accept("full")) {
                value = static_cast<uint32_t>(tarvo::aon::kApuOutputMapEnd + 1);
            } else {
                read = cursor.ReadUint32(&value, "an apu_output_size or 'full'");
            }
            frame.apuOutputSize = value;
        } else if (option == "fusion") {
            read = cursor.ReadUint32(&value, "a fusion item count");
            frame.fusionCount = value;
        } else {
            std::pair<uint32_t, uint32_t> image{0, 0};
            if (!cursor.Accept("none")) {
                read = cursor.ReadSize(&image,
                                       "an image stride and height such as 640x480 or none");
            }
            (option == "image" ? frame.image : frame.debugImage) = image;
        }
        if (!read) return std::nullopt;
    }
    return frame;
}

std::optional<CommandBody> ScenarioParser::ParseWait(LineCursor& cursor) {
    Wait wait;
    if (!cursor.ReadDuration(&wait.micros, "a duration such as 500ms or 2s")) return std::nullopt;
    if (!cursor.ExpectEnd("the end of the line")) return std::nullopt;
    return wait;
}

std::optional<CommandBody> ScenarioParser::ParseNote(LineCursor& cursor) {
    Note note;
    if (!cursor.ReadQuoted(&note.text, "a quoted text")) return std::nullopt;
    if (!cursor.ExpectEnd("the end of the line")) return std::nullopt;
    return note;
}

bool ParseScenarioFile(const std::string& path, Scenario* scenario,
                       std::vector<std::string>* errors, std::vector<std::string>* warnings) {
    struct stat status;
    const bool found = stat(path.c_str(), &status) == 0;
    if (!found || S_ISDIR(status.st_mode)) {
        errors->push_back(Printable(path) +
                          ": cannot be read: " + std::strerror(found ? EISDIR : errno));
        return false;
    }
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        errors->push_back(Printable(path) + ": cannot be read: " + std::strerror(errno));
        return false;
    }
    ScenarioParser parser(path);
    const bool parsed = parser.Parse(in, scenario);
    *warnings = parser.warnings();
    if (parsed) return true;
    *errors = parser.errors();
    return false;
}

}  // namespace aon_sim

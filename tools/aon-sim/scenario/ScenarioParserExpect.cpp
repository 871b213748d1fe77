// The expectation lines of the scenario language.
#include <set>

#include "tools/aon-sim/scenario/ScenarioParser.h"

namespace aon_sim {
namespace {

bool ReadPriority(LineCursor& cursor, int* priority) {
    std::string letter;
    if (!cursor.ReadKeyword({"V", "D", "I", "W", "E", "F"}, &letter, "a log priority")) {
        return false;
    }
    static const std::string kLetters = "VDIWEF";
    *priority = 2 + static_cast<int>(kLetters.find(letter));  // ANDROID_LOG_VERBOSE is 2
    return true;
}

// Space-separated integers up to the end of the line; "none" for an empty list.
bool ReadIntegers(LineCursor& cursor, std::vector<int32_t>* values, const std::string& what) {
    if (cursor.Accept("none")) return cursor.ExpectEnd("the end of the line after 'none'");
    if (cursor.AtEnd()) return cursor.Fail(what + " or none");
    while (!cursor.AtEnd()) {
        int32_t value = 0;
        if (!cursor.ReadInt32(&value, what)) return false;
        values->push_back(value);
    }
    return true;
}

}  // namespace

std::optional<CommandBody> ScenarioParser::ParseExpect(LineCursor& cursor) {
    if (cursor.Accept("vendor")) return ParseExpectVendor(cursor);
    if (cursor.Accept("log")) return ParseExpectLog(cursor, true);
    if (cursor.Accept("no-log")) return ParseExpectLog(cursor, false);
    std::string client;
    if (!cursor.ReadWord(&client, "vendor, log, no-log or a client name")) return std::nullopt;
    if (!CheckClientUsable(cursor, client, true)) return std::nullopt;
    return ParseExpectClient(cursor, client);
}

std::optional<CommandBody> ScenarioParser::ParseExpectClient(LineCursor& cursor,
                                                             const std::string& client) {
    std::string what;
    if (!cursor.ReadKeyword({"states", "events", "dropped", "failed-transactions", "keys", "key",
                             "service-type", "handle", "sensors"},
                            &what, "what the client received")) {
        return std::nullopt;
    }
    if (what == "states") {
        ExpectStates expect{client, {}};
        if (cursor.Accept("none")) {
            if (!cursor.ExpectEnd("the end of the line after 'none'")) return std::nullopt;
            return expect;
        }
        if (cursor.AtEnd()) {
            cursor.Fail("sensor states as SENSOR:STATE such as 0:1, or none");
            return std::nullopt;
        }
        while (!cursor.AtEnd()) {
            std::string pair;
            if (!cursor.ReadWord(&pair, "a sensor state as SENSOR:STATE such as 0:1")) {
                return std::nullopt;
            }
            const size_t colon = pair.find(':');
            int64_t sensor = 0;
            int64_t state = 0;
            if (colon == std::string::npos ||
                !LineCursor::ParseInteger(pair.substr(0, colon), INT32_MIN, INT32_MAX, &sensor) ||
                !LineCursor::ParseInteger(pair.substr(colon + 1), INT32_MIN, INT32_MAX, &state)) {
                cursor.FailWith("a sensor state as SENSOR:STATE such as 0:1", ShownWord(pair));
                return std::nullopt;
            }
            expect.states.emplace_back(static_cast<int32_t>(sensor), static_cast<int32_t>(state));
        }
        return expect;
    }
    if (what == "events" || what == "dropped" || what == "failed-transactions") {
        ExpectCount expect;
        expect.client = client;
        expect.what = what == "events"    ? ExpectCount::What::kEvents
                      : what == "dropped" ? ExpectCount::What::kDropped
                                          : ExpectCount::What::kFailedTransactions;
        if (!cursor.ReadInt64(&expect.count, "a count")) return std::nullopt;
        if (!cursor.ExpectEnd("the end of the line")) return std::nullopt;
        return expect;
    }
    if (what == "keys") {
        ExpectKeys expect{client, {}};
        if (!ReadIntegers(cursor, &expect.keys, "result keys such as 0 1 2")) return std::nullopt;
        return expect;
    }
    if (what == "key") {
        ExpectKey expect;
        expect.client = client;
        if (!cursor.ReadInt32(&expect.key, "a result key")) return std::nullopt;
        std::string check;
        if (!cursor.ReadKeyword({"=", "size"}, &check, "'= VALUE' or 'size N'")) {
            return std::nullopt;
        }
        expect.check = check == "=" ? ExpectKey::Check::kEquals : ExpectKey::Check::kSize;
        if (!cursor.ReadNumber(&expect.value, &expect.literal, "a number")) return std::nullopt;
        if (!cursor.ExpectEnd("the end of the line")) return std::nullopt;
        return expect;
    }
    if (what == "service-type") {
        ExpectServiceType expect{client, 0};
        if (!cursor.ReadInt32(&expect.serviceType, "a service-type mask")) return std::nullopt;
        if (!cursor.ExpectEnd("the end of the line")) return std::nullopt;
        return expect;
    }
    if (what == "handle") {
        ExpectHandle expect{client, 0};
        if (!cursor.ReadInt64(&expect.handle, "a client handle")) return std::nullopt;
        if (!cursor.ExpectEnd("the end of the line")) return std::nullopt;
        return expect;
    }
    ExpectSensors expect{client, {}};
    if (!ReadIntegers(cursor, &expect.sensorIds, "sensor ids such as 0 2")) return std::nullopt;
    return expect;
}

std::optional<CommandBody> ScenarioParser::ParseExpectVendor(LineCursor& cursor) {
    std::string what;
    if (!cursor.ReadKeyword({"init", "calls", "running", "stopped"}, &what,
                            "what the vendor stream saw")) {
        return std::nullopt;
    }
    if (what == "running" || what == "stopped") {
        if (!cursor.ExpectEnd("the end of the line")) return std::nullopt;
        return ExpectVendorRunning{what == "running"};
    }
    if (what == "calls") {
        ExpectVendorCalls expect;
        std::string call;
        if (!cursor.ReadKeyword({"getSensorList", "getSensorInfo", "getSensorMode", "init",
                                 "notifySensorState", "uninit"},
                                &call, "a stream call")) {
            return std::nullopt;
        }
        for (VendorCall candidate :
             {VendorCall::kGetSensorList, VendorCall::kGetSensorInfo, VendorCall::kGetSensorMode,
              VendorCall::kInit, VendorCall::kNotifySensorState, VendorCall::kUninit}) {
            if (call == VendorCallName(candidate)) expect.call = candidate;
        }
        if (!cursor.ReadInt64(&expect.count, "a count")) return std::nullopt;
        if (!cursor.ExpectEnd("the end of the line")) return std::nullopt;
        return expect;
    }
    static const ParamField kFields[] = {
            ParamField::kSensorId,   ParamField::kWidth,        ParamField::kHeight,
            ParamField::kFps,        ParamField::kRequestedFps, ParamField::kServiceType,
            ParamField::kMainFormat, ParamField::kSubFormat,    ParamField::kDebugMode};
    std::vector<std::string> names;
    for (ParamField field : kFields) names.push_back(ParamFieldName(field));
    ExpectVendorInit expect;
    std::set<std::string> seen;
    if (cursor.AtEnd()) {
        cursor.Fail("user_param fields and values such as fps 10");
        return std::nullopt;
    }
    while (!cursor.AtEnd()) {
        std::string name;
        if (!cursor.ReadKeyword(names, &name, "a user_param field")) return std::nullopt;
        if (!seen.insert(name).second) {
            cursor.FailWith("each field once", "'" + name + "' a second time");
            return std::nullopt;
        }
        int64_t value = 0;
        if (!cursor.ReadInt64(&value, "the value of " + name)) return std::nullopt;
        for (ParamField field : kFields) {
            if (name == ParamFieldName(field)) expect.fields.emplace_back(field, value);
        }
    }
    return expect;
}

std::optional<CommandBody> ScenarioParser::ParseExpectLog(LineCursor& cursor, bool present) {
    ExpectLog expect;
    expect.present = present;
    if (!ReadPriority(cursor, &expect.priority)) return std::nullopt;
    if (!cursor.ReadQuoted(&expect.text, "the quoted log text")) return std::nullopt;
    if (!cursor.ExpectEnd("the end of the line")) return std::nullopt;
    return expect;
}

}  // namespace aon_sim

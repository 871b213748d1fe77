#include "tools/aon-sim/scenario/ScenarioCommand.h"

namespace aon_sim {

bool IsExpectation(const CommandBody& body) {
    return std::holds_alternative<ExpectStates>(body) ||
           std::holds_alternative<ExpectCount>(body) || std::holds_alternative<ExpectKeys>(body) ||
           std::holds_alternative<ExpectKey>(body) ||
           std::holds_alternative<ExpectServiceType>(body) ||
           std::holds_alternative<ExpectHandle>(body) ||
           std::holds_alternative<ExpectSensors>(body) ||
           std::holds_alternative<ExpectVendorInit>(body) ||
           std::holds_alternative<ExpectVendorCalls>(body) ||
           std::holds_alternative<ExpectVendorRunning>(body) ||
           std::holds_alternative<ExpectLog>(body);
}

const char* VendorCallName(VendorCall call) {
    switch (call) {
        case VendorCall::kGetSensorList:
            return "getSensorList";
        case VendorCall::kGetSensorInfo:
            return "getSensorInfo";
        case VendorCall::kGetSensorMode:
            return "getSensorMode";
        case VendorCall::kInit:
            return "init";
        case VendorCall::kNotifySensorState:
            return "notifySensorState";
        case VendorCall::kUninit:
            return "uninit";
    }
    return "?";
}

const char* ClientMethodName(ClientMethod method) {
    switch (method) {
        case ClientMethod::kRegister:
            return "registerClient";
        case ClientMethod::kList:
            return "getAonSensorInfoList";
        case ClientMethod::kSubscribe:
            return "subscribeSensor";
        case ClientMethod::kStart:
            return "startService";
        case ClientMethod::kStop:
            return "stopService";
        case ClientMethod::kUnsubscribe:
            return "unsubscribeSensor";
        case ClientMethod::kUnregister:
            return "unregisterClient";
    }
    return "?";
}

const char* ParamFieldName(ParamField field) {
    switch (field) {
        case ParamField::kSensorId:
            return "sensorId";
        case ParamField::kWidth:
            return "width";
        case ParamField::kHeight:
            return "height";
        case ParamField::kFps:
            return "fps";
        case ParamField::kRequestedFps:
            return "requestedFps";
        case ParamField::kServiceType:
            return "serviceType";
        case ParamField::kMainFormat:
            return "mainFormat";
        case ParamField::kSubFormat:
            return "subFormat";
        case ParamField::kDebugMode:
            return "debugMode";
    }
    return "?";
}

}  // namespace aon_sim

#include "tools/aon-sim/TraceEntry.h"

#include <utility>

namespace aon_sim {

const char* PriorityLetter(int priority) {
    static const char* const kLetters[] = {"V", "D", "I", "W", "E", "F"};
    if (priority < 2 || priority > 7) return "?";  // ANDROID_LOG_VERBOSE .. ANDROID_LOG_FATAL
    return kLetters[priority - 2];
}

bool ShowValue(const aon_tools::ResultItem& item, bool showValues) {
    if (item.value.empty()) return false;
    return showValues || (item.key >= 0 && item.key <= 2 && item.type == "intValue");
}

std::string ExceptionName(int32_t exception) {
    static const std::pair<int32_t, const char*> kNames[] = {
            {-1, "EX_SECURITY"},          {-2, "EX_BAD_PARCELABLE"},
            {-3, "EX_ILLEGAL_ARGUMENT"},  {-4, "EX_NULL_POINTER"},
            {-5, "EX_ILLEGAL_STATE"},     {-6, "EX_NETWORK_MAIN_THREAD"},
            {-7, "EX_UNSUPPORTED_OPERATION"}, {-8, "EX_SERVICE_SPECIFIC"},
            {-9, "EX_PARCELABLE"},        {-129, "EX_TRANSACTION_FAILED"}};
    for (const auto& [code, name] : kNames) {
        if (code == exception) return name;
    }
    return std::to_string(exception);
}

std::string CallResultText(const CallResult& result) {
    if (result.exception == 0) return "ok";
    if (result.exception == -8) {  // EX_SERVICE_SPECIFIC
        std::string text = "error " + std::to_string(result.serviceSpecific);
        if (!result.message.empty()) text += " \"" + result.message + "\"";
        return text;
    }
    std::string text = "exception " + ExceptionName(result.exception);
    if (result.exception == -129) text += " (status " + std::to_string(result.status) + ")";
    if (!result.message.empty()) text += " \"" + result.message + "\"";
    return text;
}

}  // namespace aon_sim

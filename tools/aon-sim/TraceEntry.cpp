#include "tools/aon-sim/TraceEntry.h"

#include <utility>

#include "tools/common/ResultKeys.h"

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
    const char* name = aon_tools::ExceptionName(exception);
    return name != nullptr ? name : std::to_string(exception);
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

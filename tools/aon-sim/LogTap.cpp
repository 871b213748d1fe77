#include "tools/aon-sim/LogTap.h"

#include <atomic>
#include <cctype>
#include <utility>

#include "tools/aon-sim/ThreadName.h"

namespace aon_sim {
namespace {

std::atomic<LogTap*> gTap{nullptr};
thread_local LogTap::DropReason tDropReason;

bool EndsWith(const std::string& text, const std::string& suffix) {
    return text.size() >= suffix.size() &&
           text.compare(text.size() - suffix.size(), suffix.size(), suffix) == 0;
}

}  // namespace

LogTap::LogTap(Trace& trace, bool hidePointers) : mTrace(trace), mHidePointers(hidePointers) {
    gTap.store(this);
    __android_log_set_minimum_priority(ANDROID_LOG_VERBOSE);
    __android_log_set_logger(&LogTap::Logger);
}

LogTap::~LogTap() {
    __android_log_set_logger(__android_log_stderr_logger);
    gTap.store(nullptr);
}

LogTap::DropReason LogTap::TakeDropReason() {
    return std::exchange(tDropReason, DropReason{});
}

std::string LogTap::HidePointers(const std::string& text) {
    std::string out;
    size_t i = 0;
    while (i < text.size()) {
        if (text.compare(i, 2, "0x") == 0) {
            size_t end = i + 2;
            while (end < text.size() && std::isxdigit(static_cast<unsigned char>(text[end]))) {
                ++end;
            }
            if (end - i - 2 >= 9) {
                out += "0x<ptr>";
                i = end;
                continue;
            }
        }
        out += text[i++];
    }
    return out;
}

void LogTap::Logger(const struct __android_log_message* line) {
    LogTap* tap = gTap.load();
    if (tap == nullptr) return;
    LogEntry entry;
    entry.priority = line->priority;
    entry.tag = line->tag != nullptr ? line->tag : "";
    entry.text = line->message != nullptr ? line->message : "";
    entry.thread = CurrentThreadName();
    if (EndsWith(entry.text, "onCallback can not get lock")) {
        tDropReason = {DropCause::kManagerBusy,
                       "the manager was busy (onCallback can not get lock)"};
    } else if (EndsWith(entry.text, "OnAONEvent try_lock failed")) {
        tDropReason = {DropCause::kRegistryBusy,
                       "the callback registry was busy (OnAONEvent try_lock failed)"};
    }
    if (tap->mHidePointers) entry.text = HidePointers(entry.text);
    tap->mTrace.Append(std::move(entry));
}

}  // namespace aon_sim

#include "tests/support/LogCapture.h"

#include <algorithm>

namespace aon_test {
namespace {
LogCapture* gActive = nullptr;
std::mutex gActiveLock;
}  // namespace

std::ostream& operator<<(std::ostream& out, const LogLine& line) {
    return out << "{prio " << line.priority << ", " << line.tag << ", \"" << line.text << "\"}";
}

LogCapture::LogCapture() {
    {
        std::lock_guard<std::mutex> guard(gActiveLock);
        gActive = this;
    }
    __android_log_set_minimum_priority(ANDROID_LOG_VERBOSE);
    __android_log_set_logger(&LogCapture::Logger);
}

LogCapture::~LogCapture() {
    // There is no getter for the logger in force before; a test process's lines after the capture
    // are best on stderr, on a device as on the host.
    __android_log_set_logger(__android_log_stderr_logger);
    std::lock_guard<std::mutex> guard(gActiveLock);
    gActive = nullptr;
}

void LogCapture::Logger(const struct __android_log_message* line) {
    std::lock_guard<std::mutex> guard(gActiveLock);
    if (gActive == nullptr) return;
    std::lock_guard<std::mutex> lines(gActive->mLock);
    gActive->mLines.push_back(
            {line->priority, line->tag ? line->tag : "", line->message ? line->message : ""});
}

std::vector<LogLine> LogCapture::lines() const {
    std::lock_guard<std::mutex> guard(mLock);
    return mLines;
}

std::vector<LogLine> LogCapture::linesOf(const std::string& className) const {
    const std::string prefix = className + ": ";
    std::vector<LogLine> result;
    for (const LogLine& line : lines()) {
        if (line.tag == "AONLog_HAL" && line.text.compare(0, prefix.size(), prefix) == 0) {
            result.push_back(HalLine(line.priority, line.text.substr(prefix.size())));
        }
    }
    return result;
}

bool LogCapture::hasLine(int priority, const std::string& className,
                         const std::string& text) const {
    const std::vector<LogLine> all = lines();
    return std::find(all.begin(), all.end(), HalLine(priority, className + ": " + text)) !=
           all.end();
}

size_t LogCapture::count(const std::string& text) const {
    const std::vector<LogLine> all = lines();
    return std::count_if(all.begin(), all.end(), [&](const LogLine& l) { return l.text == text; });
}

void LogCapture::clear() {
    std::lock_guard<std::mutex> guard(mLock);
    mLines.clear();
}

}  // namespace aon_test

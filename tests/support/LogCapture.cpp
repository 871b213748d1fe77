#include "tests/support/LogCapture.h"

#include <ostream>

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
    __android_log_set_logger(__android_log_stderr_logger);
    std::lock_guard<std::mutex> guard(gActiveLock);
    gActive = nullptr;
}

void LogCapture::Logger(const struct __android_logger_data* data, const char* message) {
    std::lock_guard<std::mutex> guard(gActiveLock);
    if (gActive == nullptr) return;
    std::lock_guard<std::mutex> lines(gActive->mLock);
    gActive->mLines.push_back(
            {data->priority, data->tag ? data->tag : "", message ? message : ""});
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
            result.push_back({line.priority, line.tag, line.text.substr(prefix.size())});
        }
    }
    return result;
}

bool LogCapture::contains(int priority, const std::string& tag, const std::string& text) const {
    for (const LogLine& line : lines()) {
        if (line.priority == priority && line.tag == tag && line.text == text) return true;
    }
    return false;
}

size_t LogCapture::count(const std::string& text) const {
    size_t n = 0;
    for (const LogLine& line : lines()) n += line.text == text ? 1 : 0;
    return n;
}

void LogCapture::clear() {
    std::lock_guard<std::mutex> guard(mLock);
    mLines.clear();
}

}  // namespace aon_test

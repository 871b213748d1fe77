// Captures the lines written to the Android log while an instance is alive, for assertions on
// priority, tag and the exact formatted text.
#pragma once

#include <android/log.h>

#include <mutex>
#include <ostream>
#include <string>
#include <vector>

namespace aon_test {

struct LogLine {
    int priority;
    std::string tag;
    std::string text;

    bool operator==(const LogLine& other) const {
        return priority == other.priority && tag == other.tag && text == other.text;
    }
};

std::ostream& operator<<(std::ostream& out, const LogLine& line);

// A line of the product's tag "AONLog_HAL".
inline LogLine HalLine(int priority, std::string text) {
    return {priority, "AONLog_HAL", std::move(text)};
}

// Installs itself as liblog's logger (the logger API of Android 11 and later, minimum priority
// VERBOSE) and hands the process over to the stderr logger when destroyed. Only one may be alive
// at a time. It compiles against a device's liblog as it is: the device test links it.
class LogCapture {
  public:
    LogCapture();
    ~LogCapture();
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    std::vector<LogLine> lines() const;
    // Lines with tag "AONLog_HAL" whose text starts with "<className>: ", prefix removed.
    std::vector<LogLine> linesOf(const std::string& className) const;
    // Whether the line "<className>: <text>" was written with tag "AONLog_HAL" and `priority`.
    bool hasLine(int priority, const std::string& className, const std::string& text) const;
    size_t count(const std::string& text) const;  // lines whose text is exactly `text`
    void clear();

  private:
    static void Logger(const struct __android_log_message* line);
    mutable std::mutex mLock;
    std::vector<LogLine> mLines;
};

}  // namespace aon_test

#include <cutils/properties.h>

#include <cerrno>
#include <cinttypes>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <string_view>

#include "host/properties_control.h"

namespace {

// The map compares names with std::less<> so that a lookup by std::string_view builds no
// std::string and measures the name once: a property read allocates nothing, as on a device.
struct Store {
    std::mutex lock;
    std::map<std::string, std::string, std::less<>> values;
};

Store& store() {
    static Store* s = new Store();  // never destroyed: readable from static destructors too
    return *s;
}

intmax_t getIntInRange(const char* key, intmax_t lowest, intmax_t highest, intmax_t fallback) {
    char buffer[PROPERTY_VALUE_MAX] = {};
    if (property_get(key, buffer, "") <= 0) return fallback;
    const int savedErrno = errno;
    errno = 0;
    char* end = nullptr;
    const intmax_t parsed = strtoimax(buffer, &end, 0);
    const bool overflow = errno == ERANGE;
    errno = savedErrno;
    if (end == buffer || overflow || parsed < lowest || parsed > highest) return fallback;
    return parsed;
}

}  // namespace

extern "C" int property_get(const char* key, char* value, const char* default_value) {
    if (key != nullptr) {
        std::lock_guard<std::mutex> guard(store().lock);
        const auto it = store().values.find(std::string_view(key));
        if (it != store().values.end() && !it->second.empty()) {
            const std::string& found = it->second;
            memcpy(value, found.c_str(), found.size() + 1);
            return static_cast<int>(found.size());
        }
    }
    size_t length = 0;
    if (default_value != nullptr) {
        length = strnlen(default_value, PROPERTY_VALUE_MAX - 1);
        memcpy(value, default_value, length);
    }
    value[length] = '\0';
    return static_cast<int>(length);
}

extern "C" int8_t property_get_bool(const char* key, int8_t default_value) {
    char buffer[PROPERTY_VALUE_MAX] = {};
    if (key == nullptr || property_get(key, buffer, "") <= 0) return default_value;
    static const char* const kTrue[] = {"1", "y", "yes", "on", "true"};
    static const char* const kFalse[] = {"0", "n", "no", "off", "false"};
    for (const char* word : kTrue) {
        if (strcmp(buffer, word) == 0) return 1;
    }
    for (const char* word : kFalse) {
        if (strcmp(buffer, word) == 0) return 0;
    }
    return default_value;
}

extern "C" int64_t property_get_int64(const char* key, int64_t default_value) {
    if (key == nullptr) return default_value;
    return static_cast<int64_t>(getIntInRange(key, INT64_MIN, INT64_MAX, default_value));
}

extern "C" int32_t property_get_int32(const char* key, int32_t default_value) {
    if (key == nullptr) return default_value;
    return static_cast<int32_t>(getIntInRange(key, INT32_MIN, INT32_MAX, default_value));
}

extern "C" int property_set(const char* key, const char* value) {
    if (key == nullptr) return -1;
    if (value == nullptr) value = "";
    if (strlen(value) >= PROPERTY_VALUE_MAX) return -1;
    std::lock_guard<std::mutex> guard(store().lock);
    if (*value == '\0') {
        store().values.erase(key);
    } else {
        store().values[key] = value;
    }
    return 0;
}

namespace host {

std::map<std::string, std::string> ListProperties() {
    std::lock_guard<std::mutex> guard(store().lock);
    return {store().values.begin(), store().values.end()};
}

void ClearProperties() {
    std::lock_guard<std::mutex> guard(store().lock);
    store().values.clear();
}

}  // namespace host

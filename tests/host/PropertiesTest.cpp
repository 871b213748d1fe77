// The property stand-in parses values as libcutils does on a device.
#include <cutils/properties.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "host/properties_control.h"

namespace {

constexpr char kKey[] = "vendor.debug.test.value";

TEST(PropertiesTest, BoolsTakeOnlyTheExactWordsAndIntsParseInBaseZero) {
    const std::pair<int8_t, std::vector<const char*>> words[] = {
            // default -1
            {1, {"1", "y", "yes", "on", "true"}},
            {0, {"0", "n", "no", "off", "false"}},
            {-1, {"TRUE", "2", "true ", ""}}};
    for (const auto& [expected, values] : words) {
        for (const char* value : values) {
            ASSERT_EQ(0, property_set(kKey, value));
            EXPECT_EQ(expected, property_get_bool(kKey, -1)) << "\"" << value << "\"";
        }
    }
    const struct {
        const char* value;
        int64_t int32, int64;  // with default 7
    } cases[] = {{"-5", -5, -5},
                 {"0x1f", 31, 31},
                 {"017", 15, 15},
                 {"12abc", 12, 12},
                 {"  8", 8, 8},
                 {"-", 7, 7},
                 {"2147483647", INT32_MAX, INT32_MAX},
                 {"2147483648", 7, 2147483648LL},
                 {"9223372036854775808", 7, 7},
                 {"", 7, 7}};
    for (const auto& c : cases) {
        ASSERT_EQ(0, property_set(kKey, c.value));
        EXPECT_EQ(c.int32, property_get_int32(kKey, 7)) << c.value;
        EXPECT_EQ(c.int64, property_get_int64(kKey, 7)) << c.value;
    }
    EXPECT_TRUE(host::ListProperties().empty());  // the last value, "", unset it
    char value[PROPERTY_VALUE_MAX];
    EXPECT_EQ(3, property_get(kKey, value, "def"));
    EXPECT_STREQ("def", value);
    EXPECT_EQ(0, property_get(kKey, value, nullptr));
    EXPECT_STREQ("", value);
}

TEST(PropertiesTest, ValueOfMaximumLengthIsRejected) {
    const std::string longest(PROPERTY_VALUE_MAX - 1, 'a');
    ASSERT_EQ(0, property_set(kKey, longest.c_str()));
    EXPECT_EQ(-1, property_set(kKey, std::string(PROPERTY_VALUE_MAX, 'b').c_str()));
    char value[PROPERTY_VALUE_MAX];
    EXPECT_EQ(PROPERTY_VALUE_MAX - 1, property_get(kKey, value, ""));
    EXPECT_EQ(longest, value);
}

}  // namespace

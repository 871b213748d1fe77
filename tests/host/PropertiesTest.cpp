// The property stand-in parses values as libcutils does on a device.
#include <cutils/properties.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <string>

#include "host/properties_control.h"

namespace {

constexpr char kKey[] = "vendor.debug.test.value";

class PropertiesTest : public ::testing::Test {
  protected:
    void TearDown() override { host::ClearProperties(); }
};

struct BoolCase {
    const char* value;  // null: unset
    int8_t expected;    // with default -1
};

TEST_F(PropertiesTest, BoolAcceptsOnlyTheExactWords) {
    const BoolCase cases[] = {
            {"1", 1},   {"y", 1},    {"yes", 1},  {"on", 1},     {"true", 1},
            {"0", 0},   {"n", 0},    {"no", 0},   {"off", 0},    {"false", 0},
            {"TRUE", -1}, {"Yes", -1}, {"2", -1},  {"true ", -1}, {nullptr, -1},
    };
    for (const BoolCase& c : cases) {
        ASSERT_EQ(0, property_set(kKey, c.value == nullptr ? "" : c.value));
        EXPECT_EQ(c.expected, property_get_bool(kKey, -1)) << (c.value ? c.value : "(unset)");
    }
}

struct IntCase {
    const char* value;
    int64_t expected32;  // with default 7
    int64_t expected64;  // with default 7
};

TEST_F(PropertiesTest, IntsParseInBaseZeroAndFallBackOutOfRange) {
    const IntCase cases[] = {
            {"42", 42, 42},
            {"-5", -5, -5},
            {"0x1f", 31, 31},
            {"017", 15, 15},
            {"12abc", 12, 12},
            {"  8", 8, 8},
            {"abc", 7, 7},
            {"-", 7, 7},
            {"2147483647", INT32_MAX, INT32_MAX},
            {"-2147483648", INT32_MIN, INT32_MIN},
            {"2147483648", 7, 2147483648LL},
            {"-2147483649", 7, -2147483649LL},
            {"9223372036854775807", 7, INT64_MAX},
            {"9223372036854775808", 7, 7},
            {"-9223372036854775809", 7, 7},
    };
    for (const IntCase& c : cases) {
        ASSERT_EQ(0, property_set(kKey, c.value));
        EXPECT_EQ(c.expected32, property_get_int32(kKey, 7)) << c.value;
        EXPECT_EQ(c.expected64, property_get_int64(kKey, 7)) << c.value;
    }
}

TEST_F(PropertiesTest, UnsetAndEmptyGiveTheDefault) {
    char value[PROPERTY_VALUE_MAX];
    EXPECT_EQ(3, property_get(kKey, value, "def"));
    EXPECT_STREQ("def", value);
    EXPECT_EQ(0, property_get(kKey, value, nullptr));
    EXPECT_STREQ("", value);
    EXPECT_EQ(9, property_get_int32(kKey, 9));

    ASSERT_EQ(0, property_set(kKey, "5"));
    ASSERT_EQ(0, property_set(kKey, ""));  // unsets
    EXPECT_EQ(9, property_get_int32(kKey, 9));
    EXPECT_TRUE(host::ListProperties().empty());
}

TEST_F(PropertiesTest, ValueOfMaximumLengthIsRejected) {
    const std::string longest(PROPERTY_VALUE_MAX - 1, 'a');
    const std::string tooLong(PROPERTY_VALUE_MAX, 'b');
    ASSERT_EQ(0, property_set(kKey, longest.c_str()));
    EXPECT_EQ(-1, property_set(kKey, tooLong.c_str()));

    char value[PROPERTY_VALUE_MAX];
    EXPECT_EQ(PROPERTY_VALUE_MAX - 1, property_get(kKey, value, ""));
    EXPECT_EQ(longest, value);
}

}  // namespace

// The host platform's stand-ins behave as a device's do where the product can tell: binder's death
// links, their notification and its statuses; libcutils' property parsing. (Service registration
// and lookup are proven through RegisterIAonService, aon-client's lookup and the target test.)
#include <android/binder_auto_utils.h>
#include <android/binder_ibinder.h>
#include <android/binder_status.h>
#include <cutils/properties.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "host/binder_control.h"
#include "host/properties_control.h"

namespace {

using ::testing::UnorderedElementsAre;
using Delivery = std::pair<int, void*>;  // recipient, cookie

// Death notifications seen by the test's recipients 0 and 1, with the thread each ran on.
std::mutex gLock;
std::vector<std::pair<Delivery, std::thread::id>> gNotifications;

template <int kRecipient>
void Recipient(void* cookie) {
    std::lock_guard<std::mutex> guard(gLock);
    gNotifications.push_back({{kRecipient, cookie}, std::this_thread::get_id()});
}

std::vector<Delivery> Deliveries() {
    std::lock_guard<std::mutex> guard(gLock);
    std::vector<Delivery> deliveries;
    for (const auto& [delivery, thread] : gNotifications) {
        EXPECT_NE(std::this_thread::get_id(), thread);  // told on another thread
        deliveries.push_back(delivery);
    }
    return deliveries;
}

ndk::SpAIBinder NewBinder(int pid = 0) {
    static AIBinder_Class* clazz = AIBinder_Class_define(
            "test.IBinderTest", [](void* args) { return args; }, [](void*) {},
            [](AIBinder*, transaction_code_t, const AParcel*, AParcel*) -> binder_status_t {
                return STATUS_UNKNOWN_TRANSACTION;
            });
    ndk::SpAIBinder binder(AIBinder_new(clazz, nullptr));
    if (pid != 0) host::SetBinderProcess(binder.get(), pid);
    return binder;
}

void* Cookie(int n) {
    return reinterpret_cast<void*>(static_cast<uintptr_t>(n));
}

ndk::ScopedAIBinder_DeathRecipient NewRecipient(AIBinder_DeathRecipient_onBinderDied onDied) {
    return ndk::ScopedAIBinder_DeathRecipient(AIBinder_DeathRecipient_new(onDied));
}

TEST(BinderDeathTest, LinksOnlyRemoteBindersAndKillTellsEachLiveLinkOnceOnAnotherThread) {
    ndk::SpAIBinder first = NewBinder();
    ndk::SpAIBinder survivor = NewBinder(11);
    auto a = NewRecipient(Recipient<0>);
    auto b = NewRecipient(Recipient<1>);
    EXPECT_FALSE(AIBinder_isRemote(first.get()));
    EXPECT_EQ(STATUS_INVALID_OPERATION, AIBinder_linkToDeath(first.get(), a.get(), Cookie(1)));
    host::SetBinderProcess(first.get(), 10);
    EXPECT_TRUE(AIBinder_isRemote(first.get()));
    ASSERT_EQ(STATUS_OK, AIBinder_linkToDeath(first.get(), a.get(), Cookie(1)));
    ASSERT_EQ(STATUS_OK, AIBinder_linkToDeath(first.get(), b.get(), Cookie(2)));
    ASSERT_EQ(STATUS_OK, AIBinder_linkToDeath(survivor.get(), a.get(), Cookie(4)));
    // An unlinked recipient is not told.
    ASSERT_EQ(STATUS_OK, AIBinder_linkToDeath(first.get(), a.get(), Cookie(6)));
    EXPECT_EQ(STATUS_OK, AIBinder_unlinkToDeath(first.get(), a.get(), Cookie(6)));
    EXPECT_EQ(STATUS_NAME_NOT_FOUND, AIBinder_unlinkToDeath(first.get(), a.get(), Cookie(6)));
    EXPECT_EQ(2u, host::LinkedDeathRecipientCount(first.get()));

    host::KillProcess(10);

    EXPECT_THAT(Deliveries(), UnorderedElementsAre(Delivery(0, Cookie(1)), Delivery(1, Cookie(2))));
    EXPECT_FALSE(AIBinder_isAlive(first.get()));
    EXPECT_EQ(STATUS_DEAD_OBJECT, AIBinder_ping(first.get()));
    EXPECT_EQ(0u, host::LinkedDeathRecipientCount(first.get()));
    EXPECT_EQ(STATUS_DEAD_OBJECT, AIBinder_linkToDeath(first.get(), a.get(), Cookie(5)));
    EXPECT_TRUE(AIBinder_isAlive(survivor.get()));
    EXPECT_EQ(1u, host::LinkedDeathRecipientCount(survivor.get()));

    host::KillProcess(10);  // already dead: nobody is told twice
    EXPECT_EQ(2u, Deliveries().size());
}

// The service suites match every status they expect by exception, error and message; what none of
// them reaches is an exception code binder does not know, which a device turns into a failed
// transaction, and the transport status a service-specific error carries.
TEST(ScopedAStatusTest, AnUnknownExceptionIsAFailedTransaction) {
    const ndk::ScopedAStatus unknown = ndk::ScopedAStatus::fromExceptionCode(42);
    EXPECT_EQ(EX_TRANSACTION_FAILED, unknown.getExceptionCode());
    EXPECT_EQ(STATUS_FAILED_TRANSACTION, unknown.getStatus());
    EXPECT_EQ(STATUS_OK,
              ndk::ScopedAStatus::fromServiceSpecificErrorWithMessage(1, "x").getStatus());
}

TEST(PropertiesTest, BoolsTakeOnlyTheExactWordsAndIntsParseInBaseZero) {
    constexpr char kKey[] = "vendor.debug.test.value";
    const std::pair<int8_t, std::vector<const char*>> words[] = {
            {1, {"1", "y", "yes", "on", "true"}},
            {0, {"0", "n", "no", "off", "false"}},
            {-1, {"TRUE", "2", "true ", ""}}};  // the default
    for (const auto& [expected, values] : words) {
        for (const char* value : values) {
            ASSERT_EQ(0, property_set(kKey, value));
            EXPECT_EQ(expected, property_get_bool(kKey, -1)) << "\"" << value << "\"";
        }
    }
    const std::pair<const char*, int32_t> ints[] = {
            // with default 7
            {"-5", -5}, {"0x1f", 31}, {"017", 15}, {"12abc", 12}, {"2147483648", 7}, {"", 7}};
    for (const auto& [value, expected] : ints) {
        ASSERT_EQ(0, property_set(kKey, value));
        EXPECT_EQ(expected, property_get_int32(kKey, 7)) << value;
    }
    EXPECT_TRUE(host::ListProperties().empty());  // the last value, "", unset it
    EXPECT_EQ(-1, property_set(kKey, std::string(PROPERTY_VALUE_MAX, 'b').c_str()));
    ASSERT_EQ(0, property_set(kKey, std::string(PROPERTY_VALUE_MAX - 1, 'a').c_str()));
}

}  // namespace

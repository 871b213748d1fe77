// The service manager stand-in answers lookups as the platform's does: checkService never waits,
// waitForService waits for the registration, isDeclared answers for declared instances only.
#include <android/binder_auto_utils.h>
#include <android/binder_manager.h>
#include <gtest/gtest.h>

#include <chrono>
#include <future>

#include "host/binder_control.h"

namespace {

constexpr char kInstance[] = "test.IServiceManagerTest/default";

TEST(ServiceManagerTest, WaitForServiceReturnsOnceAddedAndOnlyDeclaredInstancesAreDeclared) {
    static AIBinder_Class* clazz = AIBinder_Class_define(
            "test.IServiceManagerTest", [](void* args) { return args; }, [](void*) {},
            [](AIBinder*, transaction_code_t, const AParcel*, AParcel*) -> binder_status_t {
                return STATUS_UNKNOWN_TRANSACTION;
            });
    EXPECT_EQ(ndk::SpAIBinder(AServiceManager_checkService(kInstance)).get(), nullptr);
    std::future<ndk::SpAIBinder> waiting = std::async(std::launch::async, [] {
        return ndk::SpAIBinder(AServiceManager_waitForService(kInstance));
    });
    const ndk::SpAIBinder binder(AIBinder_new(clazz, nullptr));
    ASSERT_EQ(AServiceManager_addService(binder.get(), kInstance), EX_NONE);
    ASSERT_EQ(waiting.wait_for(std::chrono::seconds(10)), std::future_status::ready);
    EXPECT_EQ(waiting.get().get(), binder.get());
    EXPECT_EQ(ndk::SpAIBinder(AServiceManager_checkService(kInstance)).get(), binder.get());

    EXPECT_FALSE(AServiceManager_isDeclared(kInstance));  // registered is not declared
    host::DeclareService(kInstance);
    EXPECT_TRUE(AServiceManager_isDeclared(kInstance));
    EXPECT_FALSE(AServiceManager_isDeclared("test.IServiceManagerTest/other"));
    EXPECT_FALSE(AServiceManager_isDeclared(nullptr));
}

}  // namespace

// The binder stand-in behaves as libbinder_ndk does where the product can tell: death links,
// their notification, pings, weak references, service registration and statuses.
#include <android/binder_auto_utils.h>
#include <android/binder_ibinder.h>
#include <android/binder_manager.h>
#include <android/binder_status.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

#include "host/binder_control.h"

namespace {

using ::testing::UnorderedElementsAre;

// Death notifications seen by the test's recipients: which recipient, which cookie, which thread.
struct Notification {
    int recipient;
    void* cookie;
    std::thread::id thread;
};

std::mutex gNotificationsLock;
std::vector<Notification> gNotifications;

void Record(int recipient, void* cookie) {
    std::lock_guard<std::mutex> guard(gNotificationsLock);
    gNotifications.push_back({recipient, cookie, std::this_thread::get_id()});
}
void RecipientA(void* cookie) { Record(0, cookie); }
void RecipientB(void* cookie) { Record(1, cookie); }

std::vector<Notification> Notifications() {
    std::lock_guard<std::mutex> guard(gNotificationsLock);
    return gNotifications;
}

std::vector<std::pair<int, void*>> Deliveries() {
    std::vector<std::pair<int, void*>> deliveries;
    for (const Notification& n : Notifications()) deliveries.emplace_back(n.recipient, n.cookie);
    return deliveries;
}

int gDestroyed = 0;
void* OnCreate(void* args) { return args; }
void OnDestroy(void* /*userData*/) { ++gDestroyed; }
binder_status_t OnTransact(AIBinder*, transaction_code_t, const AParcel*, AParcel*) {
    return STATUS_UNKNOWN_TRANSACTION;
}

ndk::SpAIBinder NewBinder() {
    static AIBinder_Class* clazz =
            AIBinder_Class_define("test.IBinderTest", OnCreate, OnDestroy, OnTransact);
    return ndk::SpAIBinder(AIBinder_new(clazz, nullptr));
}

ndk::SpAIBinder NewRemoteBinder(int pid) {
    ndk::SpAIBinder binder = NewBinder();
    host::SetBinderProcess(binder.get(), pid);
    return binder;
}

void* Cookie(int n) { return reinterpret_cast<void*>(static_cast<uintptr_t>(n)); }

class BinderDeathTest : public ::testing::Test {
  protected:
    void SetUp() override {
        std::lock_guard<std::mutex> guard(gNotificationsLock);
        gNotifications.clear();
    }
};

TEST_F(BinderDeathTest, LinkToDeathIsRefusedOnLocalBinders) {
    ndk::SpAIBinder binder = NewBinder();
    ndk::ScopedAIBinder_DeathRecipient recipient(AIBinder_DeathRecipient_new(RecipientA));

    EXPECT_FALSE(AIBinder_isRemote(binder.get()));
    EXPECT_EQ(STATUS_INVALID_OPERATION,
              AIBinder_linkToDeath(binder.get(), recipient.get(), Cookie(1)));
    EXPECT_EQ(0u, host::LinkedDeathRecipientCount(binder.get()));

    host::SetBinderProcess(binder.get(), 10);
    EXPECT_TRUE(AIBinder_isRemote(binder.get()));
    EXPECT_EQ(STATUS_OK, AIBinder_linkToDeath(binder.get(), recipient.get(), Cookie(1)));
    EXPECT_EQ(1u, host::LinkedDeathRecipientCount(binder.get()));
}

TEST_F(BinderDeathTest, KillTellsEachLinkOnceWithItsCookieOnAnotherThread) {
    ndk::SpAIBinder first = NewRemoteBinder(10);
    ndk::SpAIBinder second = NewRemoteBinder(10);
    ndk::SpAIBinder survivor = NewRemoteBinder(11);
    ndk::ScopedAIBinder_DeathRecipient a(AIBinder_DeathRecipient_new(RecipientA));
    ndk::ScopedAIBinder_DeathRecipient b(AIBinder_DeathRecipient_new(RecipientB));
    ASSERT_EQ(STATUS_OK, AIBinder_linkToDeath(first.get(), a.get(), Cookie(1)));
    ASSERT_EQ(STATUS_OK, AIBinder_linkToDeath(first.get(), b.get(), Cookie(2)));
    ASSERT_EQ(STATUS_OK, AIBinder_linkToDeath(second.get(), a.get(), Cookie(3)));
    ASSERT_EQ(STATUS_OK, AIBinder_linkToDeath(survivor.get(), a.get(), Cookie(4)));

    host::KillProcess(10);

    EXPECT_THAT(Deliveries(), UnorderedElementsAre(std::make_pair(0, Cookie(1)),
                                                   std::make_pair(1, Cookie(2)),
                                                   std::make_pair(0, Cookie(3))));
    for (const Notification& n : Notifications()) {
        EXPECT_NE(std::this_thread::get_id(), n.thread);
    }
    for (const ndk::SpAIBinder& dead : {first, second}) {
        EXPECT_FALSE(AIBinder_isAlive(dead.get()));
        EXPECT_EQ(STATUS_DEAD_OBJECT, AIBinder_ping(dead.get()));
        EXPECT_EQ(0u, host::LinkedDeathRecipientCount(dead.get()));
        EXPECT_EQ(STATUS_DEAD_OBJECT, AIBinder_linkToDeath(dead.get(), a.get(), Cookie(5)));
    }
    EXPECT_TRUE(AIBinder_isAlive(survivor.get()));
    EXPECT_EQ(STATUS_OK, AIBinder_ping(survivor.get()));
    EXPECT_EQ(1u, host::LinkedDeathRecipientCount(survivor.get()));

    host::KillProcess(10);  // already dead: nobody is told twice
    EXPECT_EQ(3u, Notifications().size());
}

TEST_F(BinderDeathTest, UnlinkedOrDeletedRecipientsAreNotTold) {
    ndk::SpAIBinder binder = NewRemoteBinder(10);
    ndk::ScopedAIBinder_DeathRecipient a(AIBinder_DeathRecipient_new(RecipientA));
    AIBinder_DeathRecipient* b = AIBinder_DeathRecipient_new(RecipientB);
    ASSERT_EQ(STATUS_OK, AIBinder_linkToDeath(binder.get(), a.get(), Cookie(1)));
    ASSERT_EQ(STATUS_OK, AIBinder_linkToDeath(binder.get(), a.get(), Cookie(2)));
    ASSERT_EQ(STATUS_OK, AIBinder_linkToDeath(binder.get(), b, Cookie(3)));

    EXPECT_EQ(STATUS_OK, AIBinder_unlinkToDeath(binder.get(), a.get(), Cookie(1)));
    EXPECT_EQ(STATUS_NAME_NOT_FOUND, AIBinder_unlinkToDeath(binder.get(), a.get(), Cookie(1)));
    EXPECT_EQ(STATUS_NAME_NOT_FOUND, AIBinder_unlinkToDeath(binder.get(), b, Cookie(2)));
    AIBinder_DeathRecipient_delete(b);
    EXPECT_EQ(1u, host::LinkedDeathRecipientCount(binder.get()));

    host::KillProcess(10);

    EXPECT_THAT(Deliveries(), UnorderedElementsAre(std::make_pair(0, Cookie(2))));
    EXPECT_EQ(STATUS_NAME_NOT_FOUND, AIBinder_unlinkToDeath(binder.get(), a.get(), Cookie(2)));
}

TEST(BinderPingTest, PingStatusControlAnswersWhileAlive) {
    ndk::SpAIBinder binder = NewRemoteBinder(10);
    EXPECT_EQ(STATUS_OK, AIBinder_ping(binder.get()));

    host::SetPingStatus(binder.get(), STATUS_DEAD_OBJECT);
    EXPECT_EQ(STATUS_DEAD_OBJECT, AIBinder_ping(binder.get()));
    EXPECT_TRUE(AIBinder_isAlive(binder.get()));

    host::SetPingStatus(binder.get(), STATUS_OK);
    EXPECT_EQ(STATUS_OK, AIBinder_ping(binder.get()));
}

TEST(BinderReferenceTest, LastStrongReferenceDestroysAndWeakCannotPromote) {
    gDestroyed = 0;
    ndk::SpAIBinder binder = NewBinder();
    ndk::ScopedAIBinder_Weak weak(AIBinder_Weak_new(binder.get()));
    {
        ndk::SpAIBinder promoted = weak.promote();
        EXPECT_EQ(binder.get(), promoted.get());
        EXPECT_EQ(2, AIBinder_debugGetRefCount(binder.get()));
    }
    ndk::SpAIBinder copy = binder;
    binder.set(nullptr);
    EXPECT_EQ(0, gDestroyed);
    copy.set(nullptr);
    EXPECT_EQ(1, gDestroyed);
    EXPECT_EQ(nullptr, weak.promote().get());
}

TEST(BinderReferenceTest, RacingPromotionsNeverRevive) {
    gDestroyed = 0;
    ndk::SpAIBinder binder = NewBinder();
    ndk::ScopedAIBinder_Weak weak(AIBinder_Weak_new(binder.get()));
    std::atomic<bool> released{false};
    std::atomic<int> revived{0};
    std::vector<std::thread> promoters;
    for (int i = 0; i < 4; ++i) {
        promoters.emplace_back([&]() {
            for (int n = 0; n < 2000; ++n) {
                const bool wasReleased = released.load();
                ndk::SpAIBinder promoted = weak.promote();
                if (wasReleased && promoted.get() != nullptr) ++revived;
            }
        });
    }
    binder.set(nullptr);
    released = true;
    for (std::thread& promoter : promoters) promoter.join();

    EXPECT_EQ(0, revived.load());
    EXPECT_EQ(1, gDestroyed);
    EXPECT_EQ(nullptr, weak.promote().get());
}

TEST(ServiceManagerTest, AddServiceFailureControlAndLookup) {
    constexpr char kInstance[] = "test.IBinderTest/default";
    ndk::SpAIBinder binder = NewBinder();

    host::SetAddServiceResult(STATUS_PERMISSION_DENIED);
    EXPECT_EQ(STATUS_PERMISSION_DENIED, AServiceManager_addService(binder.get(), kInstance));
    EXPECT_EQ(nullptr, host::LookupService(kInstance).get());
    EXPECT_EQ(nullptr, AServiceManager_checkService(kInstance));

    host::SetAddServiceResult(STATUS_OK);
    EXPECT_EQ(EX_NONE, AServiceManager_addService(binder.get(), kInstance));
    EXPECT_EQ(binder.get(), host::LookupService(kInstance).get());
    ndk::SpAIBinder checked(AServiceManager_checkService(kInstance));
    EXPECT_EQ(binder.get(), checked.get());
    EXPECT_EQ(nullptr, host::LookupService("test.IBinderTest/other").get());
    // The service manager keeps its own reference.
    EXPECT_EQ(3, AIBinder_debugGetRefCount(binder.get()));
}

struct StatusCase {
    const char* name;
    ndk::ScopedAStatus (*make)();
    binder_exception_t exception;
    int32_t serviceSpecific;
    binder_status_t status;
    const char* message;
    const char* description;
};

TEST(ScopedAStatusTest, CodesMessagesAndDescriptions) {
    const StatusCase cases[] = {
            {"ok", [] { return ndk::ScopedAStatus::ok(); }, EX_NONE, 0, STATUS_OK, "",
             "No error"},
            {"exception", [] { return ndk::ScopedAStatus::fromExceptionCode(EX_ILLEGAL_ARGUMENT); },
             EX_ILLEGAL_ARGUMENT, 0, STATUS_OK, "", "Status(-3, EX_ILLEGAL_ARGUMENT): ''"},
            {"exception with message",
             [] { return ndk::ScopedAStatus::fromExceptionCodeWithMessage(EX_ILLEGAL_STATE, "x"); },
             EX_ILLEGAL_STATE, 0, STATUS_OK, "x", "Status(-5, EX_ILLEGAL_STATE): 'x'"},
            {"unknown exception", [] { return ndk::ScopedAStatus::fromExceptionCode(42); },
             EX_TRANSACTION_FAILED, 0, STATUS_FAILED_TRANSACTION, "",
             "Status(-129, EX_TRANSACTION_FAILED): 'FAILED_TRANSACTION: '"},
            {"service specific", [] { return ndk::ScopedAStatus::fromServiceSpecificError(2); },
             EX_SERVICE_SPECIFIC, 2, STATUS_OK, "", "Status(-8, EX_SERVICE_SPECIFIC): '2: '"},
            {"service specific with message",
             [] {
                 return ndk::ScopedAStatus::fromServiceSpecificErrorWithMessage(
                         1, "aon manager is null");
             },
             EX_SERVICE_SPECIFIC, 1, STATUS_OK, "aon manager is null",
             "Status(-8, EX_SERVICE_SPECIFIC): '1: aon manager is null'"},
            {"dead object", [] { return ndk::ScopedAStatus::fromStatus(STATUS_DEAD_OBJECT); },
             EX_TRANSACTION_FAILED, 0, STATUS_DEAD_OBJECT, "",
             "Status(-129, EX_TRANSACTION_FAILED): 'DEAD_OBJECT: '"},
            {"status ok", [] { return ndk::ScopedAStatus::fromStatus(STATUS_OK); }, EX_NONE, 0,
             STATUS_OK, "", "No error"},
            {"unknown status", [] { return ndk::ScopedAStatus::fromStatus(-12345); },
             EX_TRANSACTION_FAILED, 0, STATUS_UNKNOWN_ERROR, "",
             "Status(-129, EX_TRANSACTION_FAILED): 'UNKNOWN_ERROR: '"},
    };
    for (const StatusCase& c : cases) {
        SCOPED_TRACE(c.name);
        const ndk::ScopedAStatus status = c.make();
        EXPECT_EQ(c.exception == EX_NONE, status.isOk());
        EXPECT_EQ(c.exception, status.getExceptionCode());
        EXPECT_EQ(c.serviceSpecific, status.getServiceSpecificError());
        EXPECT_EQ(c.status, status.getStatus());
        EXPECT_STREQ(c.message, status.getMessage());
        EXPECT_EQ(c.description, status.getDescription());
    }
}

}  // namespace

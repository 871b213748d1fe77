// The binary contracts with the vendor library and the camera stack: virtual slot positions.
// (Record sizes and offsets are fixed by static_asserts next to the records.)
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

#include "manager/AONManager.h"
#include "manager/IAONManagerCallback.h"
#include "manager/IAOVStream.h"
#include "manager/ModuleHelper.h"

namespace aon_test {
namespace {

// The slot a pointer to a virtual member function designates. Itanium C++ ABI: the pointer
// holds 1 + the byte offset of the slot; on ARM the offset itself, the virtual flag in `adj`.
template <typename MemberFunction>
size_t SlotOf(MemberFunction function) {
    struct {
        uintptr_t ptr;
        ptrdiff_t adj;
    } rep;
    static_assert(sizeof(rep) == sizeof(function));
    std::memcpy(&rep, &function, sizeof(rep));
#if defined(__arm__) || defined(__aarch64__)
    EXPECT_EQ(1, rep.adj & 1) << "not a virtual function";
    return rep.ptr / sizeof(void*);
#else
    EXPECT_EQ(1u, rep.ptr & 1) << "not a virtual function";
    return (rep.ptr - 1) / sizeof(void*);
#endif
}

// Reaches the protected virtual operations of the manager.
struct ManagerSlots : tarvo::aon::AONManager {
    static size_t InitAovStream() { return SlotOf(&ManagerSlots::InitAovStreamLocked); }
    static size_t StopService() { return SlotOf(&ManagerSlots::StopServiceLocked); }
    static size_t UninitAovStream() { return SlotOf(&ManagerSlots::UninitAovStreamLocked); }
};

TEST(VendorLayoutTest, VirtualSlotsOfTheBinaryContracts) {
    using tarvo::aon::AONManager;
    using tarvo::aon::IAONManagerCallback;
    using Slots = std::vector<size_t>;
    EXPECT_EQ((Slots{0, 1, 2, 3, 4, 5, 6}),
              (Slots{SlotOf(&IAOVStream::vendorSlot0), SlotOf(&IAOVStream::getSensorList),
                     SlotOf(&IAOVStream::getSensorInfo), SlotOf(&IAOVStream::getSensorMode),
                     SlotOf(&IAOVStream::init), SlotOf(&IAOVStream::notifySensorState),
                     SlotOf(&IAOVStream::uninit)}));
    EXPECT_EQ(2u, SlotOf(&IAOVStreamCallback::onCallback));  // after the two destructors
    EXPECT_EQ(12u, SlotOf(&HalLogicalDeviceList::getSensorId));
    EXPECT_EQ((Slots{2, 3, 4, 5, 6, 7}),
              (Slots{SlotOf(&AONManager::onCallback), SlotOf(&AONManager::NotifyOpen),
                     SlotOf(&AONManager::NotifyClose), ManagerSlots::InitAovStream(),
                     ManagerSlots::StopService(), ManagerSlots::UninitAovStream()}));
    EXPECT_EQ((Slots{2, 3, 4, 5, 6}), (Slots{SlotOf(&IAONManagerCallback::onCallback),
                                             SlotOf(&IAONManagerCallback::OnServiceStart),
                                             SlotOf(&IAONManagerCallback::OnServiceStop),
                                             SlotOf(&IAONManagerCallback::OnSensorIdle),
                                             SlotOf(&IAONManagerCallback::OnSensorBusy)}));
}

}  // namespace
}  // namespace aon_test

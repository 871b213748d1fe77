// The camera module helper (libmtkcam_modulehelper.so): module factories by id, and the HAL
// logical device list that maps a logical camera device to its physical sensors.
#pragma once

#include "manager/VendorAbi.h"

#include <cstdint>
#include <vector>

// Module id of the HAL logical device list.
constexpr uint32_t kMtkcamModuleIdLogicalDeviceList = 0x30001;

// The factory of a module: called with no arguments it yields the module's object (for the
// logical device list a HalLogicalDeviceList*) or null.
using MtkcamModuleFactory = void* (*)();

extern "C" MtkcamModuleFactory getMtkcamModuleFactory(uint32_t moduleId);

// The vendor object; only slot 12 is used here. The slots before it keep the vendor's table
// layout. Owned by the module helper, never freed by its users.
class HalLogicalDeviceList {
  public:
    virtual void vendorSlot0() = 0;
    virtual void vendorSlot1() = 0;
    virtual void vendorSlot2() = 0;
    virtual void vendorSlot3() = 0;
    virtual void vendorSlot4() = 0;
    virtual void vendorSlot5() = 0;
    virtual void vendorSlot6() = 0;
    virtual void vendorSlot7() = 0;
    virtual void vendorSlot8() = 0;
    virtual void vendorSlot9() = 0;
    virtual void vendorSlot10() = 0;
    virtual void vendorSlot11() = 0;
    // Ids of the physical sensors behind the logical camera device `instanceId`.
    virtual std::vector<int32_t> getSensorId(int32_t instanceId) = 0;

  protected:
    ~HalLogicalDeviceList() = default;
};

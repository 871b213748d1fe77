#include "host/FakeModuleHelper.h"

#include <map>
#include <mutex>
#include <utility>

#include "manager/ModuleHelper.h"

namespace host {
namespace {

struct State {
    std::mutex lock;
    bool factoryAvailable = true;
    bool listAvailable = true;
    std::map<int32_t, std::vector<int32_t>> sensorIds;
    std::vector<int32_t> requests;
};

State& GetState() {
    static State* const sState = new State();
    return *sState;
}

// The logical device list; only getSensorId answers, the other slots are never used.
class FakeLogicalDeviceList final : public HalLogicalDeviceList {
  public:
    void vendorSlot0() override {}
    void vendorSlot1() override {}
    void vendorSlot2() override {}
    void vendorSlot3() override {}
    void vendorSlot4() override {}
    void vendorSlot5() override {}
    void vendorSlot6() override {}
    void vendorSlot7() override {}
    void vendorSlot8() override {}
    void vendorSlot9() override {}
    void vendorSlot10() override {}
    void vendorSlot11() override {}

    std::vector<int32_t> getSensorId(int32_t instanceId) override {
        State& state = GetState();
        std::lock_guard<std::mutex> guard(state.lock);
        state.requests.push_back(instanceId);
        const auto found = state.sensorIds.find(instanceId);
        return found != state.sensorIds.end() ? found->second : std::vector<int32_t>{};
    }
};

void* CreateLogicalDeviceList() {
    static FakeLogicalDeviceList* const sList = new FakeLogicalDeviceList();
    State& state = GetState();
    std::lock_guard<std::mutex> guard(state.lock);
    return state.listAvailable ? static_cast<HalLogicalDeviceList*>(sList) : nullptr;
}

}  // namespace

void SetSensorIdsOfDevice(int32_t instanceId, std::vector<int32_t> sensorIds) {
    State& state = GetState();
    std::lock_guard<std::mutex> guard(state.lock);
    state.sensorIds[instanceId] = std::move(sensorIds);
}

void SetModuleFactoryAvailable(bool available) {
    State& state = GetState();
    std::lock_guard<std::mutex> guard(state.lock);
    state.factoryAvailable = available;
}

void SetLogicalDeviceListAvailable(bool available) {
    State& state = GetState();
    std::lock_guard<std::mutex> guard(state.lock);
    state.listAvailable = available;
}

std::vector<int32_t> SensorIdRequests() {
    State& state = GetState();
    std::lock_guard<std::mutex> guard(state.lock);
    return state.requests;
}

}  // namespace host

extern "C" MtkcamModuleFactory getMtkcamModuleFactory(uint32_t moduleId) {
    host::State& state = host::GetState();
    std::lock_guard<std::mutex> guard(state.lock);
    if (!state.factoryAvailable || moduleId != kMtkcamModuleIdLogicalDeviceList) return nullptr;
    return &host::CreateLogicalDeviceList;
}

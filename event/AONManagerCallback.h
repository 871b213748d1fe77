#pragma once

#include <memory>

#include "callback/IOutEventCallback.h"
#include "manager/IAONManagerCallback.h"

namespace tarvo::aon {

// Translates what the AON manager reports into client records: each stream event into one
// AONCallBackInfo (detector results in bit order, then the image, then frame id, width and
// height), each start, stop, busy or idle report into an AONSensorStateInfo, and hands them to the
// IOutEventCallback. Holds no lock: its one member is set at creation and only read afterwards;
// each call works on its own stack.
class AONManagerCallback final : public IAONManagerCallback,
                                 public std::enable_shared_from_this<AONManagerCallback> {
    struct PrivateTag {};

  public:
    // One allocation for the object and its reference count. `callback` may be null; records are
    // then dropped.
    static std::shared_ptr<AONManagerCallback> create(
            const std::shared_ptr<IOutEventCallback>& callback);

    AONManagerCallback(PrivateTag, const std::shared_ptr<IOutEventCallback>& callback);
    ~AONManagerCallback() override = default;

    void onCallback(aov_event* event) override;
    void OnServiceStart(int sensorId) override;
    void OnServiceStop(int sensorId) override;
    void OnSensorIdle(int sensorId) override;
    void OnSensorBusy(int sensorId) override;

  private:
    void SendSensorState(int sensorId, int state);

    const std::shared_ptr<IOutEventCallback> mOutEventCallback;
};

}  // namespace tarvo::aon

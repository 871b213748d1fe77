#pragma once

struct aov_event;

namespace tarvo::aon {

// The AON manager's one client: receives every stream event, unchanged and by pointer, on the
// vendor's thread, and the stream and sensor state changes. Never called with a manager lock held.
class IAONManagerCallback {
  public:
    virtual ~IAONManagerCallback() = default;
    virtual void onCallback(aov_event* event) = 0;
    virtual void OnServiceStart(int sensorId) = 0;  // the stream started on the sensor
    virtual void OnServiceStop(int sensorId) = 0;   // the stream on the sensor stopped
    virtual void OnSensorIdle(int sensorId) = 0;    // a camera device using the sensor closed
    virtual void OnSensorBusy(int sensorId) = 0;    // a camera device using the sensor opened
};

}  // namespace tarvo::aon

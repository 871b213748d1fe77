// The chip vendor's always-on vision stream (libmtkcam_aov.so). The virtual slots are a binary
// contract with the closed library: their order must not change. Results the vendor calls
// booleans are 32 bits wide; non-zero means success.
//
// The object comes from createInstance() and is never freed, hence no public destructor and no
// destructor slot in the table.
#pragma once

#include "manager/VendorAbi.h"

#include <cstdint>
#include <vector>

#include "manager/SensorInfo.h"
#include "manager/UserParam.h"

class IAOVStream {
  public:
    static IAOVStream* createInstance();

    virtual void vendorSlot0() = 0;  // the vendor's own; never called
    virtual std::vector<int32_t> getSensorList() = 0;
    virtual std::vector<sensor_info> getSensorInfo(int32_t sensorId) = 0;
    // 0 on success; `mode` receives the sensor's bit mask of supported modes.
    virtual int32_t getSensorMode(int32_t sensorId, uint32_t* mode) = 0;
    // Initialises and starts the stream with `param`.
    virtual int32_t init(user_param* param) = 0;
    // `opened` is 1 when a camera device using `sensorIds` opened, 0 when it closed.
    virtual int32_t notifySensorState(const std::vector<int32_t>& sensorIds, int32_t opened) = 0;
    // Stops and releases the stream.
    virtual int32_t uninit() = 0;

  protected:
    ~IAOVStream() = default;
};

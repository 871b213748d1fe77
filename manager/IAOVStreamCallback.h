// The chip vendor's always-on vision stream calls back through this interface, on its own
// thread, once per processed frame. The event record belongs to the stream and is valid only
// during the call.
#pragma once

#include "manager/VendorAbi.h"

struct aov_event;

class IAOVStreamCallback {
  public:
    virtual ~IAOVStreamCallback() = default;
    virtual void onCallback(aov_event* event) = 0;
};

#pragma once

#include <aidl/vendor/tarvo/hardware/camera/aon/IAONServiceCallBack.h>

#include <memory>

namespace tarvo::aon {

// Told by RemoteCallbackManager that a registered client's binder has died. The registry has
// already forgotten the client and released its lock when this is called, so an implementation may
// take its own locks and call back into the registry.
class IRemoteCallbackManagerListener {
  public:
    virtual ~IRemoteCallbackManagerListener() = default;
    virtual void OnRemoteCallbackDied(
            long clientHandle,
            const std::shared_ptr<::aidl::vendor::tarvo::hardware::camera::aon::IAONServiceCallBack>&
                    callback) = 0;
};

}  // namespace tarvo::aon

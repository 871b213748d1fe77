// Host stand-in for <aidl/Vintf.h> of the platform's VTS helper library: the AIDL HAL instances
// the device declares. On the host the declarations are those made with
// host::DeclareAidlHalInstance() (<host/vintf_control.h>).
#pragma once

#include <string>
#include <vector>

namespace android {

// "descriptor/instance" for every declared instance of the interface `descriptor`, in the order
// of declaration; empty when there is none.
std::vector<std::string> getAidlHalInstanceNames(const std::string& descriptor);

}  // namespace android

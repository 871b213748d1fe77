// Host-only control over the VINTF stand-in: what the host "device" declares. A process that
// registers a service in-process declares its instance before the tests enumerate the instances.
#pragma once

#include <string>

namespace host {

// Declares `instance` ("descriptor/instance"), as a device manifest fragment would.
void DeclareAidlHalInstance(const std::string& instance);

}  // namespace host

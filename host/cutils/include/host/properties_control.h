// Host-only controls over the property store, for tests and the simulator.
#pragma once

#include <map>
#include <string>

namespace host {

// Every property currently set, by name.
std::map<std::string, std::string> ListProperties();

// Unsets every property.
void ClearProperties();

}  // namespace host

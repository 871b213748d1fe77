// The system properties the library reads, and the slips in their names worth a warning.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace aon_sim {

// The six properties the library reads.
const std::vector<std::string>& LibraryProperties();

// The library's property `name` is one character away from (one changed, added or removed), or
// nullopt when it is one of them or further from all of them.
std::optional<std::string> NearPropertyName(const std::string& name);

// "property 'X' is not one the library reads; did you mean 'Y'?"
std::string NearPropertyWarning(const std::string& name, const std::string& meant);

}  // namespace aon_sim

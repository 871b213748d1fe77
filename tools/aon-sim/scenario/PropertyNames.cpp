#include "tools/aon-sim/scenario/PropertyNames.h"

#include <cstdlib>

namespace aon_sim {
namespace {

// Whether `a` becomes `b` by changing, adding or removing exactly one character.
bool OneEditApart(const std::string& a, const std::string& b) {
    const std::string& shorter = a.size() <= b.size() ? a : b;
    const std::string& longer = a.size() <= b.size() ? b : a;
    if (longer.size() - shorter.size() > 1) return false;
    size_t i = 0;
    while (i < shorter.size() && shorter[i] == longer[i]) ++i;
    if (i == shorter.size()) return longer.size() == shorter.size() + 1;  // one added at the end
    // Past the first difference the rest must match: shifted by one (added), or not (changed).
    const size_t skip = longer.size() == shorter.size() ? 1 : 0;
    return shorter.compare(i + skip, std::string::npos, longer, i + 1, std::string::npos) == 0;
}

}  // namespace

const std::vector<std::string>& LibraryProperties() {
    static const std::vector<std::string> kNames = {
            "tarvo.aon.hal.mtk_dump_apu",
            "vendor.debug.camera.utils.AovDebugBuffer",
            "vendor.debug.camera.utils.AovDebugMode",
            "vendor.debug.camera.utils.AovBitDepth.Main",
            "vendor.debug.camera.utils.AovBitDepth.Sub",
            "vendor.debug.cameralog.enable",
    };
    return kNames;
}

std::optional<std::string> NearPropertyName(const std::string& name) {
    for (const std::string& known : LibraryProperties()) {
        if (known == name) return std::nullopt;
    }
    for (const std::string& known : LibraryProperties()) {
        if (OneEditApart(name, known)) return known;
    }
    return std::nullopt;
}

std::string NearPropertyWarning(const std::string& name, const std::string& meant) {
    return "property '" + name + "' is not one the library reads; did you mean '" + meant + "'?";
}

}  // namespace aon_sim

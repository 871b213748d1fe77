// Turns the results of an AONCallBackInfo into trace items: key, union member, number of
// elements, and (when asked) the value as JSON. Arrays of more than 32 elements show as a digest
// ("fnv1a:<hex>") of their bytes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include <aidl/vendor/tarvo/hardware/camera/aon/AONResult.h>

namespace aon_tools {

// One AONResult: its key, the union member set, the number of elements, and the value rendered
// as JSON (only when values are shown; long arrays as a digest).
struct ResultItem {
    int32_t key = 0;
    std::string type;
    bool array = false;
    size_t size = 1;
    std::string value;
};

// How much of the values to render. The frame keys 0, 1 and 2 always carry theirs.
enum class ValueDetail {
    kNone,
    kShort,  // scalars and arrays of at most 32 elements; longer arrays carry no value
    kAll,    // everything, longer arrays as a digest
};

std::vector<ResultItem> DescribeResults(
        const std::vector<aidl::vendor::tarvo::hardware::camera::aon::AONResult>& results,
        ValueDetail detail);
// kAll with values, kNone without.
std::vector<ResultItem> DescribeResults(
        const std::vector<aidl::vendor::tarvo::hardware::camera::aon::AONResult>& results,
        bool withValues);

}  // namespace aon_tools

// Turns the results of an AONCallBackInfo into trace items: key, union member, number of
// elements, and (when asked) the value as JSON. Arrays of more than 32 elements show as a digest
// ("fnv1a:<hex>") of their bytes.
#pragma once

#include <vector>

#include <aidl/vendor/tarvo/hardware/camera/aon/AONResult.h>

#include "tools/aon-sim/TraceEntry.h"

namespace aon_sim {

std::vector<ResultItem> DescribeResults(
        const std::vector<aidl::vendor::tarvo::hardware::camera::aon::AONResult>& results,
        bool withValues);

}  // namespace aon_sim

// The benchmark executable replaces the global operator new and delete with ones that count every
// allocation and its size (process-wide, every thread, the product's libraries included) and then
// hand the request to malloc. A benchmark reads the totals before and after its timed loop.
#pragma once

#include <cstdint>

namespace aon_bench {

struct AllocationCount {
    uint64_t allocations = 0;
    uint64_t bytes = 0;

    AllocationCount operator-(const AllocationCount& earlier) const {
        return {allocations - earlier.allocations, bytes - earlier.bytes};
    }
};

// The totals since the process started.
AllocationCount CurrentAllocations();

}  // namespace aon_bench

// aon_test::InService and IsNestedCallRefusal: for harnesses that play clients calling the service
// back from inside its callbacks. A thread counts the service calls it is inside (its own binder
// calls and the death notifications it passes on): a call made from a callback while the count is
// not 0 is nested, and the service must refuse it with the nested-call status; any other must be
// served.
#pragma once

#include <android/binder_auto_utils.h>
#include <android/binder_status.h>

#include <cstring>

namespace aon_test {

inline thread_local int tServiceCalls = 0;

struct InService {
    InService() { ++tServiceCalls; }
    ~InService() { --tServiceCalls; }
    InService(const InService&) = delete;
    InService& operator=(const InService&) = delete;
};

inline bool IsNestedCallRefusal(const ::ndk::ScopedAStatus& status) {
    return status.get() != nullptr && status.getExceptionCode() == EX_SERVICE_SPECIFIC &&
           status.getServiceSpecificError() == 1 &&
           std::strcmp(status.getMessage(),
                       "nested call refused: do not call IAONService from inside its callbacks") ==
                   0;
}

}  // namespace aon_test

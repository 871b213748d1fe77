// gMock matchers for ndk::ScopedAStatus that print the status description when they fail:
//     EXPECT_THAT(service->startService(1, 1), IsOk());
//     EXPECT_THAT(status, ServiceSpecificErrorIs(1, "aon manager is null"));
#pragma once

#include <android/binder_auto_utils.h>
#include <android/binder_status.h>
#include <gmock/gmock.h>

#include <ostream>
#include <string>

namespace ndk {

// Lets gtest print a status in failure messages.
inline void PrintTo(const ScopedAStatus& status, std::ostream* out) {
    *out << (status.get() == nullptr ? std::string("(null status)") : status.getDescription());
}

}  // namespace ndk

namespace aon_test {

// Tells the listener what the status is; false for a null status, which matches nothing.
inline bool Explain(const ::ndk::ScopedAStatus& status, ::testing::MatchResultListener* listener) {
    *listener << "the status is " << ::testing::PrintToString(status);
    return status.get() != nullptr;
}

MATCHER(IsOk, negation ? "is not an ok status" : "is an ok status") {
    return Explain(arg, result_listener) && arg.isOk();
}

MATCHER_P2(ServiceSpecificErrorIs, code, message,
           std::string(negation ? "is not" : "is") + " service-specific error " +
                   std::to_string(code) + " with message \"" + std::string(message) + "\"") {
    return Explain(arg, result_listener) && arg.getExceptionCode() == EX_SERVICE_SPECIFIC &&
           arg.getServiceSpecificError() == code && std::string(arg.getMessage()) == message;
}

}  // namespace aon_test

// Fuzzes IAONService through its binder: the platform's service fuzzer sends random transactions
// (random codes, parcels, callback binders) to a fresh AONService in every run. Device build only;
// the service talks to the device's real AON manager and vendor stream.
#include <android/binder_interface_utils.h>
#include <fuzzbinder/libbinder_ndk_driver.h>
#include <fuzzer/FuzzedDataProvider.h>

#include <cstddef>
#include <cstdint>
#include <memory>

#include "service/AONService.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::shared_ptr<tarvo::aon::AONService> service =
            ndk::SharedRefBase::make<tarvo::aon::AONService>();
    android::fuzzService(service->asBinder().get(), FuzzedDataProvider(data, size));
    return 0;
}

package vendor.tarvo.hardware.camera.aon;

import vendor.tarvo.hardware.camera.aon.AONResult;

/** One detector event: the event's service-type bits and its results in a fixed order. */
@VintfStability
parcelable AONCallBackInfo {
    int serviceType;
    AONResult[] results;
}

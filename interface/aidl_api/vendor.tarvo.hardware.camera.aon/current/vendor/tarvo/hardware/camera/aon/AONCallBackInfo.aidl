///////////////////////////////////////////////////////////////////////////////
// THIS FILE IS IMMUTABLE. DO NOT EDIT IN ANY CASE.                          //
///////////////////////////////////////////////////////////////////////////////

package vendor.tarvo.hardware.camera.aon;

import vendor.tarvo.hardware.camera.aon.AONResult;

@VintfStability
parcelable AONCallBackInfo {
    int serviceType;
    AONResult[] results;
}

///////////////////////////////////////////////////////////////////////////////
// THIS FILE IS IMMUTABLE. DO NOT EDIT IN ANY CASE.                          //
///////////////////////////////////////////////////////////////////////////////

package vendor.tarvo.hardware.camera.aon;

import vendor.tarvo.hardware.camera.aon.AONResultValue;

@VintfStability
parcelable AONResult {
    int key;
    AONResultValue value;
}

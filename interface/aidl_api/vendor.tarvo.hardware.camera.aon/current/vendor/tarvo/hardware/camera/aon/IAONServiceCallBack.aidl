///////////////////////////////////////////////////////////////////////////////
// THIS FILE IS IMMUTABLE. DO NOT EDIT IN ANY CASE.                          //
///////////////////////////////////////////////////////////////////////////////

package vendor.tarvo.hardware.camera.aon;

import vendor.tarvo.hardware.camera.aon.AONCallBackInfo;
import vendor.tarvo.hardware.camera.aon.AONSensorStateInfo;

@VintfStability
interface IAONServiceCallBack {
    void onAONEvent(long clientHandle, in AONCallBackInfo info);
    void onAONSensorEvent(long clientHandle, in AONSensorStateInfo info);
}

package vendor.tarvo.hardware.camera.aon;

import vendor.tarvo.hardware.camera.aon.AONCallBackInfo;
import vendor.tarvo.hardware.camera.aon.AONSensorStateInfo;

/** Implemented by clients. Calls are synchronous; the service ignores their status. */
@VintfStability
interface IAONServiceCallBack {
    void onAONEvent(long clientHandle, in AONCallBackInfo info);
    void onAONSensorEvent(long clientHandle, in AONSensorStateInfo info);
}

///////////////////////////////////////////////////////////////////////////////
// THIS FILE IS IMMUTABLE. DO NOT EDIT IN ANY CASE.                          //
///////////////////////////////////////////////////////////////////////////////

package vendor.tarvo.hardware.camera.aon;

import vendor.tarvo.hardware.camera.aon.FrameInfo;

@VintfStability
parcelable AONSensorInfo {
    int sensorId;
    int sensorParam1;
    int sensorParam2;
    int supportServiceType;
    FrameInfo[] frameInfos;
}

package vendor.tarvo.hardware.camera.aon;

import vendor.tarvo.hardware.camera.aon.FrameInfo;

/** A sensor the always-on stream can run on. */
@VintfStability
parcelable AONSensorInfo {
    int sensorId;
    int sensorParam1;
    int sensorParam2;
    int supportServiceType;
    FrameInfo[] frameInfos;
}

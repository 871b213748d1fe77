package vendor.tarvo.hardware.camera.aon;

/** A sensor state change: 0 idle or stopped, 1 service started, 2 busy (taken by the camera). */
@VintfStability
parcelable AONSensorStateInfo {
    int sensorId;
    int state;
}

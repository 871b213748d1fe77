package vendor.tarvo.hardware.camera.aon;

/** One client's requested stream configuration, the argument of subscribeSensor. */
@VintfStability
parcelable SensorConfigInfo {
    int sensorId;
    int frameWidth;
    int frameHeight;
    int fps;
    int extraParam0;
    int extraParam1;
    int serviceType;
    /** 1 is TIME_BASED. */
    int deliveryMode;
}

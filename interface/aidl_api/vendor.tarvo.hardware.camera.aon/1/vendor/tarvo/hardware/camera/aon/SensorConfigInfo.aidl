///////////////////////////////////////////////////////////////////////////////
// THIS FILE IS IMMUTABLE. DO NOT EDIT IN ANY CASE.                          //
///////////////////////////////////////////////////////////////////////////////

package vendor.tarvo.hardware.camera.aon;

@VintfStability
parcelable SensorConfigInfo {
    int sensorId;
    int frameWidth;
    int frameHeight;
    int fps;
    int extraParam0;
    int extraParam1;
    int serviceType;
    int deliveryMode;
}

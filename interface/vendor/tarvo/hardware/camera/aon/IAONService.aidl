package vendor.tarvo.hardware.camera.aon;

import vendor.tarvo.hardware.camera.aon.AONSensorInfo;
import vendor.tarvo.hardware.camera.aon.IAONServiceCallBack;
import vendor.tarvo.hardware.camera.aon.SensorConfigInfo;

/**
 * The always-on camera service. Service-type masks: 1 fusion, 2 face angle, 4 gaze,
 * 8 face feature. Failures are service-specific errors: 1 for any failure, 2 for a service type
 * outside what the client may use; a null callback is EX_ILLEGAL_ARGUMENT.
 */
@VintfStability
interface IAONService {
    long registerClient(IAONServiceCallBack callback, int serviceType);
    AONSensorInfo[] getAonSensorInfoList();
    void subscribeSensor(long clientHandle, in SensorConfigInfo config);
    void startService(long clientHandle, int serviceType);
    void stopService(long clientHandle, int serviceType);
    void unsubscribeSensor(long clientHandle);
    void unregisterClient(long clientHandle);
}

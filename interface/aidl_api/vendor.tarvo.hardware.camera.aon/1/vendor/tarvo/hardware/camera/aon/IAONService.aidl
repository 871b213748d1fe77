///////////////////////////////////////////////////////////////////////////////
// THIS FILE IS IMMUTABLE. DO NOT EDIT IN ANY CASE.                          //
///////////////////////////////////////////////////////////////////////////////

package vendor.tarvo.hardware.camera.aon;

import vendor.tarvo.hardware.camera.aon.AONSensorInfo;
import vendor.tarvo.hardware.camera.aon.IAONServiceCallBack;
import vendor.tarvo.hardware.camera.aon.SensorConfigInfo;

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

///////////////////////////////////////////////////////////////////////////////
// THIS FILE IS IMMUTABLE. DO NOT EDIT IN ANY CASE.                          //
///////////////////////////////////////////////////////////////////////////////

package vendor.tarvo.hardware.camera.aon;

@VintfStability
union AONResultValue {
    byte byteValue;
    byte[] byteArray;
    int intValue;
    int[] intArray;
    String stringValue;
    float floatValue;
    float[] floatArray;
    double doubleValue;
    double[] doubleArray;
    boolean booleanValue;
}

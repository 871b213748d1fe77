package vendor.tarvo.hardware.camera.aon;

/** One typed value of a detector result. The tag is what crosses the wire: keep the order. */
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

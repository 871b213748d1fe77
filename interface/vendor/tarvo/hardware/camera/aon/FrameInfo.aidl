package vendor.tarvo.hardware.camera.aon;

/** One frame size a sensor supports, with the frame rates offered at that size. */
@VintfStability
parcelable FrameInfo {
    int width;
    int height;
    int[] fpsList;
}

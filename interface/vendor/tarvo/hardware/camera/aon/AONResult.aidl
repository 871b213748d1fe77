package vendor.tarvo.hardware.camera.aon;

import vendor.tarvo.hardware.camera.aon.AONResultValue;

/** One keyed value: 0 frame id, 1 width, 2 height, 100-103 fusion, 200 face angle, 300 gaze,
 *  400 face feature, 700-703 image. */
@VintfStability
parcelable AONResult {
    int key;
    AONResultValue value;
}

// libtcam_hal_aon is linked from the subsystem libraries as whole archives; CMake wants one source.

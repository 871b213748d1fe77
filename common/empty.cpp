// libtcam_hal_aon.so is linked from the subsystem archives; CMake wants one source of its own.

// The chip vendor's libraries are 64-bit only, and their stream contract is a 64-bit binary
// layout: user_param and sensor_info hold a std::shared_ptr and a std::vector at fixed offsets,
// and IAOVStream, IAOVStreamCallback and HalLogicalDeviceList are called through vendor virtual
// tables of 8-byte slots. Every contract header includes this one first, so that a 32-bit build
// (Soong's second variant on a device with 32-bit support) stops with this one message instead
// of failing layout checks further on.
#pragma once

#if !defined(__LP64__)
#error "libtcam_hal_aon: the chip vendor's stream contract (user_param, sensor_info, IAOVStream) is a 64-bit layout; build this module 64-bit only (compile_multilib: \"64\" in Android.bp)"
#endif

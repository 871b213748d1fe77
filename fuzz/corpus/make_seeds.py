#!/usr/bin/env python3
"""Writes the hand-made seed inputs of the fuzz targets (seed-*), in the byte encoding that
fuzz/event/EventFuzzer.cpp and fuzz/service/ServiceFuzzer.cpp read. Run from anywhere.

The other files of each corpus came from fuzzing: those named by their SHA-1 are a minimal set
(libFuzzer's -set_cover_merge=1) covering what the targets reached in 10-minute runs, and a
reproducer of a finding is kept under a name that says what it found.
"""
import os
import struct

HERE = os.path.dirname(os.path.abspath(__file__))


def u32(value):
    return struct.pack('<I', value & 0xFFFFFFFF)


def u16(value):
    return struct.pack('<H', value & 0xFFFF)


# ---- event: flags, frame id, width, height, type, size, count, angle, 4 dimensions, patches ----
ROUTE_DIRECT, ROUTE_REGISTRY = 0, 1
BUFFER_UNSET, BUFFER_1, BUFFER_2, BUFFER_ODD = 0, 1, 2, 3
VERBOSE, RAW_TYPE, RAW_COUNT = 0x10, 0x20, 0x40
SIZES = [0, 202088, 202089, 209176, 209177, 214840, 214841, 227968, 227969, 0xFFFFFFFF]
FUSION, GAZE, ANGLE, FEATURE = 0x30C00, 0x33100, 0x34700, 0x37A00


def dimension(value, raw=False):
    return bytes([1]) + u32(value) if raw or value > 255 else bytes([0, value])


def event(route=ROUTE_DIRECT, buffer=BUFFER_UNSET, flags=0, frame=(1, 640, 480), type_=0xF,
          size=227969, count=2, angle=0.5, image=(64, 16), debug_image=(0, 0), raw_dims=False,
          patches=()):
    out = bytes([route | (buffer << 2) | flags])
    out += u32(frame[0]) + u32(frame[1]) + u32(frame[2])
    out += u32(type_) if flags & RAW_TYPE else bytes([type_ & 0xFF])
    out += bytes([SIZES.index(size)]) if size in SIZES else bytes([len(SIZES)]) + u32(size)
    out += u32(count) if flags & RAW_COUNT else bytes([count])
    out += struct.pack('<f', angle)
    for stride, height in (image, debug_image):
        out += dimension(stride, raw_dims) + dimension(height, raw_dims)
    for offset, data in patches:
        # Aimed at one of the four parsed blocks: bool, block index, distance, length, bytes.
        block = [FUSION, GAZE, ANGLE, FEATURE].index(offset[0])
        out += bytes([1, block]) + u16(offset[1]) + bytes([len(data)]) + data
    return out


EVENT_SEEDS = {
    'seed-all-detectors': event(count=2, patches=[((FUSION, 8), u32(3) + struct.pack('<f', 1.5)),
                                                   ((GAZE, 0), struct.pack('<6f', *range(6)))]),
    'seed-registry-debug-image': event(route=ROUTE_REGISTRY, buffer=BUFFER_2, image=(0, 0),
                                       debug_image=(1280, 720)),
    'seed-registry-wild-words': event(route=ROUTE_REGISTRY, flags=RAW_TYPE | RAW_COUNT,
                                      type_=0xFFFFFFFF, size=0xFFFFFFFF, count=0xFFFFFFFF,
                                      image=(0xFFFFFFFF, 0xFFFFFFFF), raw_dims=True),
    'seed-boundary-sizes': event(route=ROUTE_REGISTRY, type_=0x5, size=202088, count=30),
    'seed-empty-output': event(type_=0, size=0, image=(0, 480)),
    'seed-verbose-nan': event(flags=VERBOSE, buffer=BUFFER_ODD, angle=float('nan'),
                              patches=[((ANGLE, 0), b'\xff' * 56), ((FEATURE, 0), b'\x80' * 128)]),
}


# ---- service: one step is an op byte, a slot byte, then the op's own arguments ----
MASKS = [0, 1, 2, 3, 4, 5, 8, 0xF, 0x10, 0x3F, 0x40, -1]
HANDLES = [1, 1, 1, 0, 2, -1, 2**63 - 1]
DEVICES = [10, 11, 12, 13, 14, 15, 99, -1]


def mask(value):
    return bytes([MASKS.index(value)]) if value in MASKS else bytes([len(MASKS)]) + u32(value)


def handle(value=1):
    return bytes([HANDLES.index(value)]) if value in HANDLES else bytes([len(HANDLES)]) + u32(value)


def register(slot=0, types=0xF, who='slot'):
    return bytes([0, 0, slot]) + mask(types) + bytes([{'null': 0, 'slot': 1}[who]])


def sensor_list():
    return bytes([2, 0])


def subscribe(sensor=0, size=0, fps=10, types=0xF, mode=1, h=1):
    sensors = [0, 0, 1, 2, 3, -1]
    rates = [10, 15, 30, 2, 0]
    modes = [1, 1, 2, 3, 0, -1]
    return (bytes([3, 0]) + handle(h) + bytes([sensors.index(sensor), size, rates.index(fps)]) +
            mask(types) + bytes([modes.index(mode), 1]))


def start(types, h=1):
    return bytes([5, 0]) + handle(h) + mask(types)


def stop(types, h=1):
    return bytes([6, 0]) + handle(h) + mask(types)


def unsubscribe(h=1):
    return bytes([7, 0]) + handle(h)


def unregister(h=1):
    return bytes([8, 0]) + handle(h)


def kill(slot):
    return bytes([9, slot])


def camera(open_, device):
    return bytes([11 if open_ else 12, 0, DEVICES.index(device)])


def vendor(which, ok):
    kinds = ['init', 'uninit', 'notify', 'factory', 'list']
    return bytes([13, 0, kinds.index(which), 1 if ok else 0])


def prop(index, value):
    values = ['0', '1', '2', '8', '10', '12', 'true', '']
    return bytes([14, 0, index, 0, values.index(value)])


def frame(types=0xF, frame_id=1):
    return bytes([15, 0, types]) + u32(frame_id)


# The interleavings take op bytes 240 to 255: a burst (240 to 244), a death followed by a
# registration (245 to 255).
def burst(device, cycles=1):
    return bytes([240, 0, DEVICES.index(device), cycles - 1])


def death_then_registration(slot, types=0xF, set_up='start', sensor=0):
    return bytes([245, slot, [1, 3, 0xF].index(types),
                  ['register', 'subscribe', 'start'].index(set_up), sensor])


SERVICE_SEEDS = {
    'seed-typical-client': b''.join([
        register(), sensor_list(), subscribe(), start(0xF), frame(), camera(True, 10), frame(),
        camera(False, 10), start(0x3), frame(0x3, 2), stop(0x3), unsubscribe(), unregister()]),
    'seed-second-client-replaces': b''.join([
        register(0), subscribe(), start(0x5), register(1, 0x3), frame(), subscribe(types=0x3),
        start(0x1), kill(0), frame(), kill(1), frame()]),
    'seed-death-after-refused-uninit': b''.join([
        register(0), subscribe(fps=30), start(0xF), vendor('uninit', False), kill(0), frame(),
        register(1), subscribe(), start(0x1), frame(), vendor('uninit', True), stop(0x1),
        unsubscribe(), unregister()]),
    'seed-dead-clients': b''.join([
        register(0), kill(0), register(1, who='null'), frame(), register(2), subscribe(),
        start(0x2), frame(), kill(2), frame(), unregister()]),
    'seed-camera-and-vendor-failures': b''.join([
        register(0), subscribe(sensor=1, size=1, fps=15), vendor('factory', False),
        camera(True, 11), start(0x1), vendor('factory', True), camera(True, 12), start(0x1),
        vendor('notify', False), camera(False, 12), camera(False, 11), vendor('init', False),
        start(0x1), vendor('init', True), start(0x0), frame(), start(0x1), camera(True, 14),
        prop(0, '1'), prop(1, '10'), prop(2, '12'), start(0x1)]),
    'seed-camera-reopen-burst': b''.join([
        register(), subscribe(), start(0xF), frame(), burst(10, 2), start(0x1), frame(),
        burst(12, 3), camera(False, 12), start(0x1), camera(False, 10), start(0x1), frame(),
        burst(14), burst(13), stop(0x1), unsubscribe(), unregister()]),
    'seed-death-then-registration': b''.join([
        register(0), subscribe(), start(0x5), frame(),
        death_then_registration(0, 0xF, 'start', 0), frame(),
        death_then_registration(1, 0x1, 'register', 1),
        death_then_registration(2, 0x3, 'subscribe', 0), frame(), camera(True, 11),
        death_then_registration(1, 0xF, 'start', 0), frame(),
        camera(True, 10), death_then_registration(0, 0xF, 'start', 0), camera(False, 10)]),
}


def write(folder, seeds):
    os.makedirs(folder, exist_ok=True)
    for name, data in seeds.items():
        with open(os.path.join(folder, name), 'wb') as out:
            out.write(data)


if __name__ == '__main__':
    write(os.path.join(HERE, 'event'), EVENT_SEEDS)
    write(os.path.join(HERE, 'service'), SERVICE_SEEDS)

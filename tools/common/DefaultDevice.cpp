#include "tools/common/DefaultDevice.h"

#include "host/FakeModuleHelper.h"

namespace aon_tools {

std::vector<host::FakeSensor> DefaultSensors() {
    host::FakeSensor main;
    main.id = 0;
    main.infos = {host::MakeSensorInfo(640, 480, 1, {5, 10, 15, 30}),
                  host::MakeSensorInfo(320, 240, 1, {5, 10, 15, 30})};
    main.mode = 0x3;
    host::FakeSensor front;
    front.id = 2;
    front.infos = {host::MakeSensorInfo(640, 480, 2, {5, 10, 15})};
    front.mode = 0x1;
    return {main, front};
}

void ApplyDefaultCameraDevices() {
    host::SetSensorIdsOfDevice(0, {0});
    host::SetSensorIdsOfDevice(1, {2});
}

host::SimulatedAovStream* InstallSimulatedStream(host::SimulatedAovStream::Delivery delivery,
                                                 host::AovStreamObserver* observer) {
    host::FakeAovStream& vendor = host::FakeAovStream::Get();
    vendor.SetSensors(DefaultSensors());
    auto* stream = new host::SimulatedAovStream(vendor, delivery, observer);
    host::SetAovStreamInstance(stream);  // the library never frees its stream
    return stream;
}

}  // namespace aon_tools

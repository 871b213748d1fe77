// The library's entry: publication under "<descriptor>/default", its two lines with tag
// "AonService", and its plain C symbol in the shared library.
#include <aidl/vendor/tarvo/hardware/camera/aon/IAONService.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <host/FakeAovStream.h>
#include <host/binder_control.h>

#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "service/RegisterIAonService.h"
#include "tests/support/LogCapture.h"
#include "tests/support/StatusMatchers.h"

namespace aon_test {
namespace {

using ::aidl::vendor::tarvo::hardware::camera::aon::AONSensorInfo;
using ::aidl::vendor::tarvo::hardware::camera::aon::IAONService;
using ::testing::ElementsAre;
using ::testing::SizeIs;

constexpr char kInstance[] = "vendor.tarvo.hardware.camera.aon.IAONService/default";

std::vector<LogLine> EntryLines(const LogCapture& log) {
    std::vector<LogLine> lines;
    for (const LogLine& line : log.lines()) {
        if (line.tag == "AonService") lines.push_back(line);
    }
    return lines;
}

TEST(RegisterIAonServiceTest, FailingServiceManagerIsLoggedOnce) {
    LogCapture log;
    host::SetAddServiceResult(STATUS_PERMISSION_DENIED);
    RegisterIAonService();
    EXPECT_THAT(EntryLines(log), ElementsAre(LogLine{ANDROID_LOG_ERROR, "AonService",
                                                     "RegisterIAonService register failed"}));
    EXPECT_EQ(host::LookupService(kInstance).get(), nullptr);
}

TEST(RegisterIAonServiceTest, PublishesServiceWiredToManager) {
    host::FakeSensor sensor;
    sensor.infos = {host::MakeSensorInfo(640, 480, 0, {30})};
    host::FakeAovStream::Get().SetSensors({sensor});
    LogCapture log;
    RegisterIAonService();
    EXPECT_THAT(EntryLines(log), ElementsAre(LogLine{ANDROID_LOG_INFO, "AonService",
                                                     "RegisterIAonService register successfully"}));
    EXPECT_TRUE(log.hasLine(ANDROID_LOG_INFO, "AONService", "Create AON Service"));

    std::shared_ptr<IAONService> service = IAONService::fromBinder(host::LookupService(kInstance));
    ASSERT_NE(service, nullptr);
    std::vector<AONSensorInfo> sensors;
    EXPECT_THAT(service->getAonSensorInfoList(&sensors), IsOk());
    EXPECT_THAT(sensors, SizeIs(1));
}

TEST(RegisterIAonServiceTest, EntryIsExportedUnmangled) {
    std::unique_ptr<FILE, int (*)(FILE*)> nm(
            popen("nm -D --defined-only " AON_LIBRARY_PATH, "r"), pclose);
    ASSERT_NE(nm, nullptr);
    const std::string entry = " T RegisterIAonService\n";
    bool found = false;
    char buffer[512];
    while (fgets(buffer, sizeof(buffer), nm.get()) != nullptr) {
        std::string line(buffer);
        found = found || (line.size() > entry.size() &&
                          line.compare(line.size() - entry.size(), entry.size(), entry) == 0);
    }
    EXPECT_TRUE(found) << "no defined text symbol RegisterIAonService in " AON_LIBRARY_PATH;
}

}  // namespace
}  // namespace aon_test

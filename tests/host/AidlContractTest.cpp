// Ties the hand-written interface code to the declarations in interface/: method names and order
// against the transaction codes, and the frozen hash. (Records and union members are tied to the
// wire by their parcel sizes, in TransportTest; the version and hash a proxy answers, in the
// target test.)
#include <gtest/gtest.h>

#include <fstream>
#include <regex>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include <aidl/vendor/tarvo/hardware/camera/aon/AONResultValue.h>
#include <aidl/vendor/tarvo/hardware/camera/aon/IAONService.h>
#include <aidl/vendor/tarvo/hardware/camera/aon/IAONServiceCallBack.h>

namespace {

using namespace ::aidl::vendor::tarvo::hardware::camera::aon;

std::string ReadFile(const std::string& path) {
    std::ifstream in(path);
    std::stringstream content;
    content << in.rdbuf();
    EXPECT_FALSE(content.str().empty()) << "cannot read " << path;
    return content.str();
}

// The methods `file` declares, in order, each with its transaction code.
void ExpectMethodsInOrder(const char* file, const std::vector<std::pair<std::string, int>>& codes) {
    const std::string text =
            std::regex_replace(ReadFile(std::string(AON_INTERFACE_DIR) + "/" + file),
                               std::regex(R"(/\*[\s\S]*?\*/|//[^\n]*)"), " ");
    const std::string body = text.substr(text.find('{'));
    std::vector<std::pair<std::string, int>> declared;
    const std::regex method(R"((\w+)\s*\()");
    for (auto it = std::sregex_iterator(body.begin(), body.end(), method);
         it != std::sregex_iterator(); ++it) {
        declared.emplace_back((*it)[1], FIRST_CALL_TRANSACTION + declared.size());
    }
    EXPECT_EQ(codes, declared) << file;
}

TEST(AidlContractTest, MethodsMatchTransactionCodesInDeclarationOrder) {
    ExpectMethodsInOrder("IAONService.aidl",
                         {{"registerClient", IAONService::TRANSACTION_registerClient},
                          {"getAonSensorInfoList", IAONService::TRANSACTION_getAonSensorInfoList},
                          {"subscribeSensor", IAONService::TRANSACTION_subscribeSensor},
                          {"startService", IAONService::TRANSACTION_startService},
                          {"stopService", IAONService::TRANSACTION_stopService},
                          {"unsubscribeSensor", IAONService::TRANSACTION_unsubscribeSensor},
                          {"unregisterClient", IAONService::TRANSACTION_unregisterClient}});
    ExpectMethodsInOrder("IAONServiceCallBack.aidl",
                         {{"onAONEvent", IAONServiceCallBack::TRANSACTION_onAONEvent},
                          {"onAONSensorEvent", IAONServiceCallBack::TRANSACTION_onAONSensorEvent}});
}

TEST(AidlContractTest, FrozenHashAndDescriptors) {
    std::string frozen = ReadFile(AON_FROZEN_HASH_FILE);
    frozen.erase(frozen.find_last_not_of(" \n") + 1);
    EXPECT_EQ(frozen, IAONService::hash);
    EXPECT_EQ(frozen, IAONServiceCallBack::hash);
    EXPECT_STREQ("vendor.tarvo.hardware.camera.aon.IAONService", IAONService::descriptor);
    EXPECT_STREQ("vendor.tarvo.hardware.camera.aon.IAONServiceCallBack",
                 IAONServiceCallBack::descriptor);
}

}  // namespace

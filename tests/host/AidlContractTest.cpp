// Ties the hand-written interface code to the declarations in interface/: method names and order
// against the transaction codes, union members against the Tag enumerators, and the frozen hash.
// (Record fields are tied to the wire by their parcel sizes, in TransportTest.)
#include <gtest/gtest.h>

#include <fstream>
#include <map>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include <aidl/vendor/tarvo/hardware/camera/aon/AONResultValue.h>
#include <aidl/vendor/tarvo/hardware/camera/aon/IAONService.h>
#include <aidl/vendor/tarvo/hardware/camera/aon/IAONServiceCallBack.h>

#include "tests/support/FakeServiceCallback.h"

namespace {

using namespace ::aidl::vendor::tarvo::hardware::camera::aon;

// The declaration of a .aidl file: its kind ("interface", "parcelable" or "union"), its name and
// its member names in order.
struct Declaration {
    std::string kind, name;
    std::vector<std::string> members;
};

// The first group of every match of `pattern` in `text`.
std::vector<std::string> Matches(const std::string& text, const std::regex& pattern) {
    std::vector<std::string> found;
    for (auto it = std::sregex_iterator(text.begin(), text.end(), pattern);
         it != std::sregex_iterator(); ++it) {
        found.push_back((*it)[1]);
    }
    return found;
}

std::string ReadFile(const std::string& path) {
    std::ifstream in(path);
    std::stringstream content;
    content << in.rdbuf();
    EXPECT_FALSE(content.str().empty()) << "cannot read " << path;
    return content.str();
}

Declaration Parse(const std::string& fileName) {
    const std::string text =
            std::regex_replace(ReadFile(std::string(AON_INTERFACE_DIR) + "/" + fileName),
                               std::regex(R"(/\*[\s\S]*?\*/|//[^\n]*)"), " ");
    std::smatch match;
    if (!std::regex_search(text, match,
                           std::regex(R"((interface|parcelable|union)\s+(\w+)\s*\{([^}]*)\})"))) {
        ADD_FAILURE() << "no declaration in " << fileName;
        return {};
    }
    // A method is "<type> name(...)"; a field or union member is "<type> name [= value];".
    const std::regex member(match[1] == "interface" ? R"((\w+)\s*\()" : R"((\w+)\s*(=[^;]*)?;)");
    return {match[1], match[2], Matches(match[3].str(), member)};
}

// Each declared member of `file` (a `kind`) is in `numbers`, numbered by its position + `first`.
void ExpectNumberedInOrder(const char* file, const char* kind,
                           const std::map<std::string, int64_t>& numbers, int64_t first) {
    SCOPED_TRACE(file);
    const Declaration declaration = Parse(file);
    ASSERT_EQ(kind, declaration.kind);
    ASSERT_EQ(numbers.size(), declaration.members.size());
    for (size_t i = 0; i < declaration.members.size(); ++i) {
        const auto number = numbers.find(declaration.members[i]);
        ASSERT_NE(numbers.end(), number) << declaration.members[i];
        EXPECT_EQ(first + static_cast<int64_t>(i), number->second) << declaration.members[i];
    }
}

TEST(AidlContractTest, MethodsMatchTransactionCodesInDeclarationOrder) {
    ExpectNumberedInOrder("IAONService.aidl", "interface",
                          {{"registerClient", IAONService::TRANSACTION_registerClient},
                           {"getAonSensorInfoList", IAONService::TRANSACTION_getAonSensorInfoList},
                           {"subscribeSensor", IAONService::TRANSACTION_subscribeSensor},
                           {"startService", IAONService::TRANSACTION_startService},
                           {"stopService", IAONService::TRANSACTION_stopService},
                           {"unsubscribeSensor", IAONService::TRANSACTION_unsubscribeSensor},
                           {"unregisterClient", IAONService::TRANSACTION_unregisterClient}},
                          FIRST_CALL_TRANSACTION);
    ExpectNumberedInOrder("IAONServiceCallBack.aidl", "interface",
                          {{"onAONEvent", IAONServiceCallBack::TRANSACTION_onAONEvent},
                           {"onAONSensorEvent", IAONServiceCallBack::TRANSACTION_onAONSensorEvent}},
                          FIRST_CALL_TRANSACTION);
}

TEST(AidlContractTest, UnionMembersMatchTagEnumeratorsInOrder) {
    using Tag = AONResultValue::Tag;
    auto number = [](Tag tag) { return static_cast<int64_t>(tag); };
    ExpectNumberedInOrder("AONResultValue.aidl", "union",
                          {{"byteValue", number(Tag::byteValue)},
                           {"byteArray", number(Tag::byteArray)},
                           {"intValue", number(Tag::intValue)},
                           {"intArray", number(Tag::intArray)},
                           {"stringValue", number(Tag::stringValue)},
                           {"floatValue", number(Tag::floatValue)},
                           {"floatArray", number(Tag::floatArray)},
                           {"doubleValue", number(Tag::doubleValue)},
                           {"doubleArray", number(Tag::doubleArray)},
                           {"booleanValue", number(Tag::booleanValue)}},
                          0);
    // The default value is the first declared member, zero.
    EXPECT_EQ(Tag::byteValue, AONResultValue{}.getTag());
    EXPECT_EQ(0, AONResultValue{}.get<Tag::byteValue>());
}

TEST(AidlContractTest, VersionFrozenHashAndDescriptorsAreAnsweredLocallyAndThroughProxies) {
    std::string frozen = ReadFile(AON_FROZEN_HASH_FILE);
    frozen.erase(frozen.find_last_not_of(" \n") + 1);
    EXPECT_EQ(frozen, IAONService::hash);
    EXPECT_EQ(frozen, IAONServiceCallBack::hash);
    EXPECT_STREQ("vendor.tarvo.hardware.camera.aon.IAONService", IAONService::descriptor);
    EXPECT_STREQ("vendor.tarvo.hardware.camera.aon.IAONServiceCallBack",
                 IAONServiceCallBack::descriptor);
    const aon_test::RemoteCallback client = aon_test::MakeRemoteCallback();
    for (const std::shared_ptr<IAONServiceCallBack>& object :
         {std::shared_ptr<IAONServiceCallBack>(client.fake), client.proxy}) {
        int32_t version = 0;
        std::string hash;
        ASSERT_TRUE(object->getInterfaceVersion(&version).isOk());
        ASSERT_TRUE(object->getInterfaceHash(&hash).isOk());
        EXPECT_EQ(1, version);
        EXPECT_EQ(frozen, hash);
    }
}

}  // namespace

// Ties the hand-written interface code to the declarations in interface/: method names and order
// against the transaction codes, record fields and order against the C++ records, union members
// against the Tag enumerators, and the frozen hash.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <map>
#include <regex>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include <aidl/vendor/tarvo/hardware/camera/aon/AONCallBackInfo.h>
#include <aidl/vendor/tarvo/hardware/camera/aon/AONResult.h>
#include <aidl/vendor/tarvo/hardware/camera/aon/AONResultValue.h>
#include <aidl/vendor/tarvo/hardware/camera/aon/AONSensorInfo.h>
#include <aidl/vendor/tarvo/hardware/camera/aon/AONSensorStateInfo.h>
#include <aidl/vendor/tarvo/hardware/camera/aon/FrameInfo.h>
#include <aidl/vendor/tarvo/hardware/camera/aon/IAONService.h>
#include <aidl/vendor/tarvo/hardware/camera/aon/IAONServiceCallBack.h>
#include <aidl/vendor/tarvo/hardware/camera/aon/SensorConfigInfo.h>

namespace {

using namespace ::aidl::vendor::tarvo::hardware::camera::aon;

// One declaration of a .aidl file: its kind, name and member names in order.
struct Declaration {
    std::string kind;  // "interface", "parcelable" or "union"
    std::string name;
    std::vector<std::string> members;
};

std::string ReadFile(const std::string& path) {
    std::ifstream in(path);
    std::stringstream content;
    content << in.rdbuf();
    EXPECT_FALSE(content.str().empty()) << "cannot read " << path;
    return content.str();
}

std::string StripComments(const std::string& text) {
    static const std::regex kComments(R"(/\*[\s\S]*?\*/|//[^\n]*)");
    return std::regex_replace(text, kComments, " ");
}

Declaration Parse(const std::string& fileName) {
    const std::string path = std::string(AON_INTERFACE_DIR) + "/" + fileName;
    const std::string text = StripComments(ReadFile(path));
    static const std::regex kDeclaration(R"((interface|parcelable|union)\s+(\w+)\s*\{([^}]*)\})");
    std::smatch match;
    if (!std::regex_search(text, match, kDeclaration)) return {};
    Declaration declaration{match[1], match[2], {}};
    const std::string body = match[3];
    // A method is "<type> name(...)"; a field or union member is "<type> name [= value];".
    static const std::regex kMethod(R"((\w+)\s*\()");
    static const std::regex kField(R"((\w+)\s*(=[^;]*)?;)");
    const std::regex& member = declaration.kind == "interface" ? kMethod : kField;
    for (auto it = std::sregex_iterator(body.begin(), body.end(), member);
         it != std::sregex_iterator(); ++it) {
        declaration.members.push_back((*it)[1]);
    }
    return declaration;
}

// The field names of toString() output, top level only: "R{a: 1, b: [x, y], c: V{d: 0}}".
std::vector<std::string> FieldNames(const std::string& text) {
    std::vector<std::string> names;
    const size_t open = text.find('{');
    int depth = 0;
    bool atName = true;
    std::string current;
    for (size_t i = open + 1; i + 1 < text.size(); ++i) {
        const char c = text[i];
        if (c == '{' || c == '[') ++depth;
        if (c == '}' || c == ']') --depth;
        if (depth == 0 && atName && c == ':') {
            names.push_back(current);
            atName = false;
        } else if (depth == 0 && c == ',') {
            atName = true;
            current.clear();
        } else if (atName && c != ' ') {
            current += c;
        }
    }
    return names;
}

TEST(AidlContractTest, MethodsMatchTransactionCodesInDeclarationOrder) {
    const std::map<std::string, uint32_t> service = {
            {"registerClient", IAONService::TRANSACTION_registerClient},
            {"getAonSensorInfoList", IAONService::TRANSACTION_getAonSensorInfoList},
            {"subscribeSensor", IAONService::TRANSACTION_subscribeSensor},
            {"startService", IAONService::TRANSACTION_startService},
            {"stopService", IAONService::TRANSACTION_stopService},
            {"unsubscribeSensor", IAONService::TRANSACTION_unsubscribeSensor},
            {"unregisterClient", IAONService::TRANSACTION_unregisterClient},
    };
    const std::map<std::string, uint32_t> callback = {
            {"onAONEvent", IAONServiceCallBack::TRANSACTION_onAONEvent},
            {"onAONSensorEvent", IAONServiceCallBack::TRANSACTION_onAONSensorEvent},
    };
    const std::pair<const char*, const std::map<std::string, uint32_t>*> interfaces[] = {
            {"IAONService.aidl", &service}, {"IAONServiceCallBack.aidl", &callback}};
    for (const auto& [file, codes] : interfaces) {
        SCOPED_TRACE(file);
        const Declaration declaration = Parse(file);
        ASSERT_EQ("interface", declaration.kind);
        ASSERT_EQ(codes->size(), declaration.members.size());
        for (size_t i = 0; i < declaration.members.size(); ++i) {
            const auto code = codes->find(declaration.members[i]);
            ASSERT_NE(codes->end(), code) << declaration.members[i];
            EXPECT_EQ(FIRST_CALL_TRANSACTION + i, code->second) << declaration.members[i];
        }
    }
}

TEST(AidlContractTest, RecordFieldsMatchDeclarationOrder) {
    const std::pair<const char*, std::string> records[] = {
            {"SensorConfigInfo.aidl", SensorConfigInfo{}.toString()},
            {"AONSensorInfo.aidl", AONSensorInfo{}.toString()},
            {"FrameInfo.aidl", FrameInfo{}.toString()},
            {"AONCallBackInfo.aidl", AONCallBackInfo{}.toString()},
            {"AONResult.aidl", AONResult{}.toString()},
            {"AONSensorStateInfo.aidl", AONSensorStateInfo{}.toString()},
    };
    for (const auto& [file, printed] : records) {
        SCOPED_TRACE(file);
        const Declaration declaration = Parse(file);
        EXPECT_EQ("parcelable", declaration.kind);
        EXPECT_EQ(declaration.name + "{", printed.substr(0, declaration.name.size() + 1));
        EXPECT_EQ(declaration.members, FieldNames(printed)) << printed;
    }
}

TEST(AidlContractTest, UnionMembersMatchTagEnumeratorsInOrder) {
    using Tag = AONResultValue::Tag;
    const std::map<std::string, Tag> tags = {
            {"byteValue", Tag::byteValue},     {"byteArray", Tag::byteArray},
            {"intValue", Tag::intValue},       {"intArray", Tag::intArray},
            {"stringValue", Tag::stringValue}, {"floatValue", Tag::floatValue},
            {"floatArray", Tag::floatArray},   {"doubleValue", Tag::doubleValue},
            {"doubleArray", Tag::doubleArray}, {"booleanValue", Tag::booleanValue},
    };
    const Declaration declaration = Parse("AONResultValue.aidl");
    ASSERT_EQ("union", declaration.kind);
    ASSERT_EQ(tags.size(), declaration.members.size());
    for (size_t i = 0; i < declaration.members.size(); ++i) {
        const auto tag = tags.find(declaration.members[i]);
        ASSERT_NE(tags.end(), tag) << declaration.members[i];
        EXPECT_EQ(static_cast<int32_t>(i), static_cast<int32_t>(tag->second))
                << declaration.members[i];
    }
    // The default value prints as the first declared member.
    EXPECT_EQ(declaration.members[0], FieldNames(AONResultValue{}.toString()).at(0));
}

TEST(AidlContractTest, FrozenHashIsTheInterfaceHash) {
    std::string frozen = ReadFile(AON_FROZEN_HASH_FILE);
    frozen.erase(frozen.find_last_not_of(" \n") + 1);
    EXPECT_EQ(frozen, IAONService::hash);
    EXPECT_EQ(frozen, IAONServiceCallBack::hash);
}

}  // namespace

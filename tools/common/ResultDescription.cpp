#include "tools/common/ResultDescription.h"

#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <string>

#include "tools/common/JsonWriter.h"

namespace aon_tools {
namespace {

using aidl::vendor::tarvo::hardware::camera::aon::AONResult;
using aidl::vendor::tarvo::hardware::camera::aon::AONResultValue;
using Tag = AONResultValue::Tag;

constexpr size_t kMaxShownElements = 32;

const char* MemberName(Tag tag) {
    static const char* const kNames[] = {"byteValue",   "byteArray",   "intValue",   "intArray",
                                         "stringValue", "floatValue",  "floatArray", "doubleValue",
                                         "doubleArray", "booleanValue"};
    const size_t index = static_cast<size_t>(tag);
    return index < sizeof(kNames) / sizeof(kNames[0]) ? kNames[index] : "?";
}

template <typename T>
std::string Digest(const std::vector<T>& values) {
    uint32_t hash = 2166136261u;
    const auto* bytes = reinterpret_cast<const uint8_t*>(values.data());
    for (size_t i = 0; i < values.size() * sizeof(T); ++i) {
        hash = (hash ^ bytes[i]) * 16777619u;
    }
    char text[32];
    std::snprintf(text, sizeof(text), "\"fnv1a:%08" PRIx32 "\"", hash);
    return text;
}

template <typename T, typename Render>
std::string ArrayValue(const std::vector<T>& values, ValueDetail detail, Render render) {
    if (values.size() > kMaxShownElements) {
        return detail == ValueDetail::kAll ? Digest(values) : std::string();
    }
    std::string out = "[";
    for (size_t i = 0; i < values.size(); ++i) out += (i ? "," : "") + render(values[i]);
    return out + "]";
}

std::string Integer(int64_t value) {
    return std::to_string(value);
}

std::string Real(double value) {
    return JsonWriter::Number(value);
}

std::string Single(float value) {
    return JsonWriter::FloatNumber(value);
}

// The frame keys 0, 1 and 2 always show their values: they name the frame in the timeline.
void Describe(const AONResultValue& value, ValueDetail detail, bool frameKey, ResultItem* item) {
    const bool withValues = detail != ValueDetail::kNone;
    item->type = MemberName(value.getTag());
    switch (value.getTag()) {
        case Tag::byteValue:
            if (withValues) item->value = Integer(value.get<Tag::byteValue>());
            break;
        case Tag::byteArray: {
            const auto& array = value.get<Tag::byteArray>();
            item->array = true;
            item->size = array.size();
            if (withValues)
                item->value = ArrayValue(array, detail, [](uint8_t v) { return Integer(v); });
            break;
        }
        case Tag::intValue:
            if (withValues || frameKey) item->value = Integer(value.get<Tag::intValue>());
            break;
        case Tag::intArray: {
            const auto& array = value.get<Tag::intArray>();
            item->array = true;
            item->size = array.size();
            if (withValues)
                item->value = ArrayValue(array, detail, [](int32_t v) { return Integer(v); });
            break;
        }
        case Tag::stringValue:
            if (withValues) item->value = JsonWriter::Quote(value.get<Tag::stringValue>());
            break;
        case Tag::floatValue:
            if (withValues) item->value = Single(value.get<Tag::floatValue>());
            break;
        case Tag::floatArray: {
            const auto& array = value.get<Tag::floatArray>();
            item->array = true;
            item->size = array.size();
            if (withValues)
                item->value = ArrayValue(array, detail, [](float v) { return Single(v); });
            break;
        }
        case Tag::doubleValue:
            if (withValues) item->value = Real(value.get<Tag::doubleValue>());
            break;
        case Tag::doubleArray: {
            const auto& array = value.get<Tag::doubleArray>();
            item->array = true;
            item->size = array.size();
            if (withValues)
                item->value = ArrayValue(array, detail, [](double v) { return Real(v); });
            break;
        }
        case Tag::booleanValue:
            if (withValues) item->value = value.get<Tag::booleanValue>() ? "true" : "false";
            break;
    }
}

}  // namespace

std::vector<ResultItem> DescribeResults(const std::vector<AONResult>& results, bool withValues) {
    return DescribeResults(results, withValues ? ValueDetail::kAll : ValueDetail::kNone);
}

std::vector<ResultItem> DescribeResults(const std::vector<AONResult>& results, ValueDetail detail) {
    std::vector<ResultItem> items;
    items.reserve(results.size());
    for (const AONResult& result : results) {
        ResultItem item;
        item.key = result.key;
        Describe(result.value, detail, result.key >= 0 && result.key <= 2, &item);
        items.push_back(std::move(item));
    }
    return items;
}

}  // namespace aon_tools

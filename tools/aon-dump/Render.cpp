#include "tools/aon-dump/Render.h"

#include <algorithm>
#include <cinttypes>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <nlohmann/json.hpp>

#include "tools/common/JsonWriter.h"
#include "tools/common/ResultDescription.h"
#include "tools/common/ResultKeys.h"

namespace aon_dump {
namespace {

using aidl::vendor::tarvo::hardware::camera::aon::AONResult;
using aidl::vendor::tarvo::hardware::camera::aon::AONResultValue;
using Json = nlohmann::ordered_json;
using tarvo::aon::kDumpBlockCount;
using tarvo::aon::kDumpBlocks;
using Tag = AONResultValue::Tag;

constexpr char kNotDumped[] =
        "not dumped: the fusion block, the images, the frame size and apu_output_size";

constexpr size_t kElementsPerRow = 16;

// The detector values the library parses from dumped blocks, in its key order.
const struct {
    int32_t key;
    const char* csvName;
    const char* jsonName;
    size_t count;
} kDecoded[] = {
        {200, "face_angle", "faceAngle", tarvo::aon::kFaceAngleResultFloats},
        {300, "gaze", "gaze", tarvo::aon::kGazeResultFloats},
        {400, "face_feature", "faceFeature", tarvo::aon::kFaceFeatureResultBytes},
};

std::string Hex(uint64_t value, int digits = 0) {
    char text[24];
    std::snprintf(text, sizeof(text), "0x%0*" PRIx64, digits, value);
    return text;
}

std::string ServiceTypeText(uint32_t mask) {
    return Hex(mask) + " (" + aon_tools::ServiceTypeNames(mask) + ")";
}

std::string Float(float value) {
    if (std::isnan(value)) return "nan";
    if (std::isinf(value)) return value > 0 ? "inf" : "-inf";
    return aon_tools::JsonWriter::FloatNumber(value);
}

const AONResult* FindResult(const FrameReplay& replay, int32_t key) {
    for (const AONResult& result : replay.results) {
        if (result.key == key) return &result;
    }
    return nullptr;
}

// A decoded detector value, every element as text.
std::vector<std::string> Elements(const AONResult& result) {
    std::vector<std::string> out;
    if (result.value.getTag() == Tag::floatArray) {
        for (float value : result.value.get<Tag::floatArray>()) out.push_back(Float(value));
    } else if (result.value.getTag() == Tag::byteArray) {
        for (uint8_t value : result.value.get<Tag::byteArray>())
            out.push_back(std::to_string(value));
    }
    return out;
}

std::string Join(const std::vector<std::string>& parts, const char* separator) {
    std::string out;
    for (size_t i = 0; i < parts.size(); ++i) out += (i ? separator : "") + parts[i];
    return out;
}

// "missing", "20 bytes, not 56", or empty when the file is there and whole.
std::string RowProblem(const FrameFiles& frame, size_t row) {
    if (!frame.blocks[row]) return "missing";
    if (frame.blocks[row]->bytes != kDumpBlocks[row].bytes) {
        return std::to_string(frame.blocks[row]->bytes) + " bytes, not " +
               std::to_string(kDumpBlocks[row].bytes);
    }
    return "";
}

std::vector<std::string> FrameProblems(const FrameFiles& frame) {
    std::vector<std::string> problems, missing;
    for (size_t row : frame.MissingRows()) missing.push_back(kDumpBlocks[row].name);
    if (!missing.empty()) problems.push_back("missing " + Join(missing, ", "));
    for (size_t row : frame.WrongSizeRows()) {
        problems.push_back(std::string(kDumpBlocks[row].name) + " " + RowProblem(frame, row));
    }
    return problems;
}

Json ResultsJson(const std::vector<AONResult>& results) {
    Json array = Json::array();
    for (const aon_tools::ResultItem& item : aon_tools::DescribeResults(results, true)) {
        Json entry = {
                {"key", item.key}, {"name", aon_tools::KeyName(item.key)}, {"type", item.type}};
        if (item.array) entry["size"] = item.size;
        entry["value"] = Json::parse(item.value);
        array.push_back(std::move(entry));
    }
    return array;
}

}  // namespace

std::string ListingText(const DumpDirectory& directory) {
    size_t files = 0;
    for (const FrameFiles& frame : directory.frames) files += frame.FileCount();
    std::string out = directory.path + ": " + std::to_string(directory.frames.size()) +
                      (directory.frames.size() == 1 ? " frame, " : " frames, ") +
                      std::to_string(files) + " dump files";
    if (!directory.skipped.empty()) {
        out += ", " + std::to_string(directory.skipped.size()) + " other files skipped";
    }
    out += "\n";
    char line[160];
    std::snprintf(line, sizeof(line), "%11s  %-40s %s\n", "frame", "service types (implied)",
                  "files");
    out += line;
    for (const FrameFiles& frame : directory.frames) {
        const std::string counts = std::to_string(frame.FileCount()) + "/" +
                                   std::to_string(frame.ExpectedRows().size());
        std::snprintf(line, sizeof(line), "%11d  %-40s %-6s", frame.frameId,
                      ServiceTypeText(frame.ImpliedServiceType()).c_str(), counts.c_str());
        out += line;
        const std::string problems = Join(FrameProblems(frame), "; ");
        out += problems.empty() ? "\n" : " " + problems + "\n";
        while (out.size() > 1 && out[out.size() - 2] == ' ') out.erase(out.size() - 2, 1);
    }
    return out + kNotDumped + "\n";
}

std::string ListingJson(const DumpDirectory& directory) {
    std::string out;
    for (const FrameFiles& frame : directory.frames) {
        Json missing = Json::array(), wrongSize = Json::array();
        for (size_t row : frame.MissingRows()) missing.push_back(kDumpBlocks[row].name);
        for (size_t row : frame.WrongSizeRows()) {
            wrongSize.push_back({{"name", kDumpBlocks[row].name},
                                 {"bytes", frame.blocks[row]->bytes},
                                 {"expected", kDumpBlocks[row].bytes}});
        }
        const Json line = {
                {"frameId", frame.frameId},   {"serviceType", frame.ImpliedServiceType()},
                {"files", frame.FileCount()}, {"expectedFiles", frame.ExpectedRows().size()},
                {"missing", missing},         {"wrongSize", wrongSize}};
        out += line.dump() + "\n";
    }
    return out;
}

std::string FrameText(const FrameFiles& frame, const FrameReplay& replay,
                      const std::vector<size_t>& hexRows) {
    std::string out = "frame " + std::to_string(frame.frameId) + ": service types " +
                      ServiceTypeText(frame.ImpliedServiceType()) + " implied by its files, " +
                      std::to_string(frame.FileCount()) + " of " +
                      std::to_string(frame.ExpectedRows().size()) + " files\n";
    char line[160];
    std::snprintf(line, sizeof(line), "  %-30s %-9s %8s %8s\n", "block", "offset", "bytes",
                  "expected");
    out += line;
    const std::vector<size_t> expectedRows = frame.ExpectedRows();
    for (size_t row = 0; row < kDumpBlockCount; ++row) {
        const auto& file = frame.blocks[row];
        const std::string expected = std::to_string(kDumpBlocks[row].bytes);
        std::snprintf(line, sizeof(line), "  %-30s %-9s %8s %8s", kDumpBlocks[row].name,
                      Hex(static_cast<uint64_t>(kDumpBlocks[row].offset), 5).c_str(),
                      file ? std::to_string(file->bytes).c_str() : "-", expected.c_str());
        const bool wanted =
                std::find(expectedRows.begin(), expectedRows.end(), row) != expectedRows.end();
        const std::string problem = file || wanted ? RowProblem(frame, row) : "";
        out += line + (problem.empty() ? "" : "  " + problem) + "\n";
    }
    out += "decoded as the library parses them:\n";
    for (const auto& decoded : kDecoded) {
        const AONResult* result = FindResult(replay, decoded.key);
        out += "  " + aon_tools::KeyName(decoded.key) + ":";
        if (result == nullptr) {
            out += " -\n";
            continue;
        }
        // Long arrays (the face feature) in rows of 16.
        const std::vector<std::string> elements = Elements(*result);
        for (size_t at = 0; at < elements.size(); at += kElementsPerRow) {
            const auto first = elements.begin() + static_cast<ptrdiff_t>(at);
            const auto last = elements.begin() + static_cast<ptrdiff_t>(std::min(
                                                         elements.size(), at + kElementsPerRow));
            out += (at == 0 ? " " : "\n    ") + Join({first, last}, ", ");
        }
        out += "\n";
    }
    for (const std::string& note : replay.notes) out += "note: " + note + "\n";
    out += std::string(kNotDumped) + "\n";
    for (size_t row : hexRows) {
        const std::vector<uint8_t>& bytes = replay.blocks[row];
        out += "\n" + std::string(kDumpBlocks[row].name) + ", apu_output + " +
               Hex(static_cast<uint64_t>(kDumpBlocks[row].offset)) + ":\n";
        out += bytes.empty() ? "  (not read)\n" : HexLines(bytes);
    }
    return out;
}

std::string FrameJson(const FrameFiles& frame, const FrameReplay& replay,
                      const std::vector<size_t>& hexRows) {
    Json blocks = Json::array();
    for (size_t row = 0; row < kDumpBlockCount; ++row) {
        Json block = {{"name", kDumpBlocks[row].name},
                      {"offset", kDumpBlocks[row].offset},
                      {"expected", kDumpBlocks[row].bytes}};
        block["bytes"] = frame.blocks[row] ? Json(frame.blocks[row]->bytes) : Json(nullptr);
        blocks.push_back(std::move(block));
    }
    Json decoded = Json::object();
    for (const auto& value : kDecoded) {
        const AONResult* result = FindResult(replay, value.key);
        decoded[value.jsonName] = result != nullptr ? ResultsJson({*result})[0]["value"] : Json();
    }
    Json line = {{"frameId", frame.frameId},
                 {"serviceType", frame.ImpliedServiceType()},
                 {"blocks", blocks},
                 {"decoded", decoded},
                 {"notes", replay.notes}};
    if (!hexRows.empty()) {
        Json hex = Json::object();
        for (size_t row : hexRows) {
            std::string text;
            char digits[3];
            for (uint8_t byte : replay.blocks[row]) {
                std::snprintf(digits, sizeof(digits), "%02x", byte);
                text += digits;
            }
            hex[kDumpBlocks[row].name] = text;
        }
        line["hex"] = hex;
    }
    return line.dump() + "\n";
}

std::string ReplayText(const FrameReplay& replay) {
    std::string out = "frame " + std::to_string(replay.frameId) + ", replayed with service type " +
                      ServiceTypeText(replay.serviceType) + ": " +
                      std::to_string(replay.results.size()) + " results\n";
    for (const aon_tools::ResultItem& item : aon_tools::DescribeResults(replay.results, true)) {
        char line[96];
        std::snprintf(
                line, sizeof(line), "  %5d %-22s %-16s ", item.key,
                aon_tools::KeyName(item.key).c_str(),
                (item.type + (item.array ? "[" + std::to_string(item.size) + "]" : "")).c_str());
        out += line + item.value + "\n";
    }
    for (const std::string& line : replay.log) out += "  log " + line + "\n";
    for (const std::string& note : replay.notes) out += "  note: " + note + "\n";
    return out;
}

std::string ReplayJson(const FrameReplay& replay) {
    const Json line = {{"frameId", replay.frameId},
                       {"serviceType", replay.serviceType},
                       {"notes", replay.notes},
                       {"log", replay.log},
                       {"results", ResultsJson(replay.results)}};
    return line.dump() + "\n";
}

std::string CsvHeader() {
    std::string out = "frame,service_type";
    for (const auto& decoded : kDecoded) {
        for (size_t i = 0; i < decoded.count; ++i) {
            out += std::string(",") + decoded.csvName + "_" + std::to_string(i);
        }
    }
    return out + "\n";
}

std::string CsvRow(const FrameReplay& replay) {
    std::string out = std::to_string(replay.frameId) + "," + Hex(replay.serviceType);
    for (const auto& decoded : kDecoded) {
        const AONResult* result = FindResult(replay, decoded.key);
        std::vector<std::string> elements;
        if (result != nullptr) elements = Elements(*result);
        elements.resize(decoded.count);  // empty cells for a value the frame lacks
        out += "," + Join(elements, ",");
    }
    return out + "\n";
}

std::string HexLines(const std::vector<uint8_t>& bytes) {
    constexpr size_t kPerLine = 16;
    std::string out;
    bool folded = false;
    for (size_t at = 0; at < bytes.size(); at += kPerLine) {
        const size_t count = std::min(kPerLine, bytes.size() - at);
        const bool repeat = at > 0 && count == kPerLine &&
                            std::memcmp(&bytes[at], &bytes[at - kPerLine], kPerLine) == 0 &&
                            at + kPerLine < bytes.size();
        if (repeat) {
            if (!folded) out += "  *\n";
            folded = true;
            continue;
        }
        folded = false;
        char line[16 + kPerLine * 3];
        int used = std::snprintf(line, sizeof(line), "  +%05zx ", at);
        for (size_t i = 0; i < count; ++i) {
            used += std::snprintf(line + used, sizeof(line) - static_cast<size_t>(used), " %02x",
                                  bytes[at + i]);
        }
        out += std::string(line) + "\n";
    }
    return out;
}

}  // namespace aon_dump

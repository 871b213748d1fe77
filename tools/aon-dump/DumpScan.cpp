#include "tools/aon-dump/DumpScan.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <map>
#include <system_error>

namespace aon_dump {
namespace {

namespace fs = std::filesystem;
using tarvo::aon::kDumpBlockCount;
using tarvo::aon::kDumpBlocks;
using tarvo::aon::kDumpFilePrefix;
using tarvo::aon::kDumpFileSuffix;

bool StartsWith(const std::string& text, const std::string& prefix) {
    return text.compare(0, prefix.size(), prefix) == 0;
}

bool EndsWith(const std::string& text, const std::string& suffix) {
    return text.size() >= suffix.size() &&
           text.compare(text.size() - suffix.size(), suffix.size(), suffix) == 0;
}

// The id only when %d gives exactly this text back: no sign but '-', no leading zero, in range.
bool ParseFrameId(const std::string& text, int32_t* id) {
    if (text.empty() || text.size() > 11) return false;
    errno = 0;
    char* end = nullptr;
    const long long value = std::strtoll(text.c_str(), &end, 10);
    if (errno != 0 || *end != '\0' || value < INT32_MIN || value > INT32_MAX) return false;
    if (std::to_string(value) != text) return false;
    *id = static_cast<int32_t>(value);
    return true;
}

}  // namespace

uint32_t FrameFiles::ImpliedServiceType() const {
    uint32_t bits = 0;
    for (size_t row = 0; row < kDumpBlockCount; ++row) {
        if (blocks[row]) bits |= kDumpBlocks[row].requiredBit;
    }
    return bits;
}

std::vector<size_t> FrameFiles::ExpectedRows() const {
    const uint32_t bits = ImpliedServiceType();
    std::vector<size_t> rows;
    for (size_t row = 0; row < kDumpBlockCount; ++row) {
        const uint32_t required = kDumpBlocks[row].requiredBit;
        if (required == 0 || (bits & required) != 0) rows.push_back(row);
    }
    return rows;
}

std::vector<size_t> FrameFiles::MissingRows() const {
    std::vector<size_t> rows;
    for (size_t row : ExpectedRows()) {
        if (!blocks[row]) rows.push_back(row);
    }
    return rows;
}

std::vector<size_t> FrameFiles::WrongSizeRows() const {
    std::vector<size_t> rows;
    for (size_t row = 0; row < kDumpBlockCount; ++row) {
        if (blocks[row] && blocks[row]->bytes != kDumpBlocks[row].bytes) rows.push_back(row);
    }
    return rows;
}

size_t FrameFiles::FileCount() const {
    return static_cast<size_t>(std::count_if(blocks.begin(), blocks.end(),
                                             [](const auto& file) { return file.has_value(); }));
}

std::optional<size_t> FindBlockRow(const std::string& name) {
    for (size_t row = 0; row < kDumpBlockCount; ++row) {
        if (name == kDumpBlocks[row].name) return row;
    }
    return std::nullopt;
}

bool ParseDumpFileName(const std::string& name, int32_t* frameId, size_t* row, std::string* why) {
    std::string ignored;
    if (why == nullptr) why = &ignored;
    const size_t idStart = std::strlen(kDumpFilePrefix);
    const size_t separator = name.find('_', idStart);
    const size_t suffix = name.size() - std::strlen(kDumpFileSuffix);
    if (!StartsWith(name, kDumpFilePrefix) || !EndsWith(name, kDumpFileSuffix) ||
        separator == std::string::npos || separator >= suffix) {
        *why = "not named frame_<id>_<block>.dump";
        return false;
    }
    const std::string block = name.substr(separator + 1, suffix - separator - 1);
    const std::optional<size_t> found = FindBlockRow(block);
    if (!found) {
        *why = "the library writes no block '" + block + "'";
        return false;
    }
    const std::string id = name.substr(idStart, separator - idStart);
    if (!ParseFrameId(id, frameId)) {
        *why = "'" + id + "' is not a frame number as the library writes it";
        return false;
    }
    *row = *found;
    return true;
}

bool ScanDumpDirectory(const std::string& path, DumpDirectory* directory, std::string* error) {
    std::error_code code;
    fs::directory_iterator it(path, code);
    if (code) {
        *error = path + ": " + code.message();
        return false;
    }
    std::map<int32_t, FrameFiles> frames;
    std::vector<std::string> subdirectories;
    for (; it != fs::directory_iterator(); it.increment(code)) {
        const fs::directory_entry& entry = *it;
        const std::string name = entry.path().filename().string();
        int32_t frameId = 0;
        size_t row = 0;
        std::string why;
        if (!ParseDumpFileName(name, &frameId, &row, &why)) {
            if (entry.is_directory(code)) {
                subdirectories.push_back(name);
                why = "a directory";
            }
            directory->skipped.push_back({name, why});
            continue;
        }
        if (!entry.is_regular_file(code)) {
            directory->skipped.push_back({name, "not a regular file"});
            continue;
        }
        const uintmax_t bytes = entry.file_size(code);
        if (code) {
            directory->skipped.push_back({name, code.message()});
            continue;
        }
        FrameFiles& frame = frames[frameId];
        frame.frameId = frameId;
        frame.blocks[row] = BlockFile{entry.path().string(), bytes};
    }
    if (code) {
        *error = path + ": " + code.message();
        return false;
    }
    std::sort(directory->skipped.begin(), directory->skipped.end(),
              [](const SkippedFile& a, const SkippedFile& b) { return a.name < b.name; });
    if (frames.empty()) {
        *error = path + ": no dump files (frame_<id>_<block>.dump)";
        if (std::find(subdirectories.begin(), subdirectories.end(), "aon") !=
            subdirectories.end()) {
            *error +=
                    "; its folder aon/ may hold them (adb pull into an existing folder puts "
                    "the pulled folder inside it)";
        }
        return false;
    }
    directory->path = path;
    for (auto& [id, frame] : frames) directory->frames.push_back(std::move(frame));
    return true;
}

}  // namespace aon_dump

// What a directory of debug dumps holds: its files sorted into frames by the names the library
// gives them, each file matched to its block of the library's dump table, and the files that are
// not dumps. Only names and sizes are looked at here; no file is opened.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "event/DebugDumps.h"

namespace aon_dump {

// One dump file.
struct BlockFile {
    std::string path;
    uint64_t bytes = 0;  // its size on disk
};

// The dump files of one frame, by row of the library's dump table (tarvo::aon::kDumpBlocks).
struct FrameFiles {
    int32_t frameId = 0;  // as the file names give it (the library formats frame_id with %d)
    std::array<std::optional<BlockFile>, tarvo::aon::kDumpBlockCount> blocks;

    // The detector bits whose files are there (at least one file of the group).
    uint32_t ImpliedServiceType() const;
    // Rows the frame should have, given the always-written group and the implied bits.
    std::vector<size_t> ExpectedRows() const;
    // Expected rows without a file.
    std::vector<size_t> MissingRows() const;
    // Rows whose file is not the size the table gives.
    std::vector<size_t> WrongSizeRows() const;
    size_t FileCount() const;
};

// A file of the directory that is not a dump file.
struct SkippedFile {
    std::string name;
    std::string reason;
};

struct DumpDirectory {
    std::string path;
    std::vector<FrameFiles> frames;  // by frame id
    std::vector<SkippedFile> skipped;
};

// "frame_<id>_<block>.dump" with <id> written as %d writes it and <block> a name of the table:
// the frame id and the table row. False for any other name, with `why` (if not null) set.
bool ParseDumpFileName(const std::string& name, int32_t* frameId, size_t* row,
                       std::string* why = nullptr);

// Lists the directory. False with `error` set when it cannot be listed or holds no dump file.
bool ScanDumpDirectory(const std::string& path, DumpDirectory* directory, std::string* error);

// The table row of a block name, or nullopt.
std::optional<size_t> FindBlockRow(const std::string& name);

}  // namespace aon_dump

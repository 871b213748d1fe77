// What aon-dump prints: the listing of a dump directory, one frame's blocks and decoded values,
// the replay of a frame, as readable text or as JSON lines; and the CSV of the decoded values.
#pragma once

#include <string>
#include <vector>

#include "tools/aon-dump/DumpScan.h"
#include "tools/aon-dump/FrameReplay.h"

namespace aon_dump {

// The listing: a heading, then one line (text) or one object (JSON) per frame.
std::string ListingText(const DumpDirectory& directory);
std::string ListingJson(const DumpDirectory& directory);

// One frame: its blocks with sizes against the table's, the values the library parses from them
// and, for the rows in `hexRows`, the bytes read.
std::string FrameText(const FrameFiles& frame, const FrameReplay& replay,
                      const std::vector<size_t>& hexRows);
std::string FrameJson(const FrameFiles& frame, const FrameReplay& replay,
                      const std::vector<size_t>& hexRows);

// What a client would have received for the frame, with the notes on what the record lacked.
// Values as aon-sim --values shows them (arrays of more than 32 elements as a digest).
std::string ReplayText(const FrameReplay& replay);
std::string ReplayJson(const FrameReplay& replay);

// The decoded values over the frames: a header line, then a row per frame.
std::string CsvHeader();
std::string CsvRow(const FrameReplay& replay);

// Classic hex lines ("+0010  00 01 ..."), 16 bytes a line, repeated lines folded into "*".
std::string HexLines(const std::vector<uint8_t>& bytes);

}  // namespace aon_dump

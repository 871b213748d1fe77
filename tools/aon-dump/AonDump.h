// aon-dump: reads the debug dumps a device wrote under "/data/aon/" (pulled to a desk): lists the
// frames and their blocks, decodes one frame, replays frames through the library's own event
// translation, writes the decoded values as CSV.
#pragma once

#include <cstdio>

namespace aon_dump {

// Exit statuses.
inline constexpr int kExitOk = 0;          // done; every dump file looked at was whole
inline constexpr int kExitIncomplete = 1;  // done; some files were missing, of the wrong size,
                                           // unreadable or not dump files (all reported)
inline constexpr int kExitBadInput = 2;    // nothing done: the command line, the directory, the
                                           // frame asked for or the CSV file is wrong

// The whole program: output on `out`, complaints on `err`.
int RunAonDump(int argc, char** argv, FILE* out, FILE* err);

}  // namespace aon_dump

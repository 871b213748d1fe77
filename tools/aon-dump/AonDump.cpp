#include "tools/aon-dump/AonDump.h"

#include <CLI/CLI.hpp>

#include <cerrno>
#include <cstring>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include "tools/aon-dump/DumpScan.h"
#include "tools/aon-dump/FrameReplay.h"
#include "tools/aon-dump/Render.h"

namespace aon_dump {
namespace {

using tarvo::aon::kDumpBlockCount;
using tarvo::aon::kDumpBlocks;

constexpr size_t kMaxSkippedShown = 20;

struct Options {
    std::string directory;
    std::optional<int32_t> frame;
    bool replay = false;
    bool json = false;
    std::vector<std::string> hex;
    std::string csv;
};

std::string BlockNames() {
    std::string names;
    for (const auto& block : kDumpBlocks) {
        names += std::string(names.empty() ? "" : ", ") + block.name;
    }
    return names;
}

constexpr char kFooter[] =
        "Without --frame, --replay or --csv, lists the frames: their blocks against the sizes the\n"
        "library writes, what is missing or of the wrong size, the service types the files imply.\n"
        "See docs/AON-DUMP.md.\n"
        "\n"
        "Exit status: 0 done, every file whole; 1 done, but some files were missing, of the wrong\n"
        "size, unreadable or not dump files (each reported); 2 nothing done (the command line,\n"
        "the directory, the frame asked for or the CSV file is wrong).";

// Returns the exit status when the run ends here (help, a mistake), nullopt to go on.
std::optional<int> ParseOptions(int argc, char** argv, Options* options, FILE* out, FILE* err) {
    CLI::App app(
            "Reads a device's \"/data/aon/\" debug dumps and replays them through the library.",
            "aon-dump");
    app.footer(kFooter);
    app.add_option("DIR", options->directory, "the pulled dump directory")->required();
    int64_t frame = 0;
    CLI::Option* frameOption =
            app.add_option("--frame", frame, "one frame: its blocks and decoded values")
                    ->type_name("N");
    app.add_flag("--replay", options->replay,
                 "the results a client would have received for each frame (or for --frame N)");
    app.add_flag("--json", options->json, "JSON lines instead of text");
    app.add_option("--hex", options->hex,
                   "with --frame: the bytes of blocks as hex (names separated by commas, or "
                   "'all'; repeatable)")
            ->type_name("BLOCK[,BLOCK]")
            ->allow_extra_args(false)
            ->delimiter(',')
            ->needs(frameOption);
    app.add_option("--csv", options->csv, "write the decoded values of the frames to FILE")
            ->type_name("FILE")
            ->check([](const std::string& file) {
                return file.empty() ? "needs a file name" : "";
            });
    try {
        app.parse(argc, argv);
    } catch (const CLI::CallForHelp&) {
        std::fputs(app.help().c_str(), out);
        return kExitOk;
    } catch (const CLI::ParseError& error) {
        std::fprintf(err, "aon-dump: %s\nRun with --help for more information.\n", error.what());
        return kExitBadInput;
    }
    if (frameOption->count() > 0) {
        if (frame < INT32_MIN || frame > INT32_MAX) {
            std::fprintf(err,
                         "aon-dump: --frame %lld: frame numbers are 32-bit (%%d in the names)\n",
                         static_cast<long long>(frame));
            return kExitBadInput;
        }
        options->frame = static_cast<int32_t>(frame);
    }
    return std::nullopt;
}

// The rows --hex names, or false with `error`.
bool HexRows(const std::vector<std::string>& names, std::vector<size_t>* rows, std::string* error) {
    for (const std::string& name : names) {
        if (name == "all") {
            rows->clear();
            for (size_t row = 0; row < kDumpBlockCount; ++row) rows->push_back(row);
            return true;
        }
        const std::optional<size_t> row = FindBlockRow(name);
        if (!row) {
            *error = "--hex: no block '" + name + "'; the blocks are " + BlockNames() + ", or all";
            return false;
        }
        rows->push_back(*row);
    }
    return true;
}

void ReportSkipped(const DumpDirectory& directory, FILE* err) {
    if (directory.skipped.empty()) return;
    std::fprintf(err, "aon-dump: %zu files of %s are not dump files and were skipped:\n",
                 directory.skipped.size(), directory.path.c_str());
    for (size_t i = 0; i < directory.skipped.size() && i < kMaxSkippedShown; ++i) {
        std::fprintf(err, "  %s: %s\n", directory.skipped[i].name.c_str(),
                     directory.skipped[i].reason.c_str());
    }
    if (directory.skipped.size() > kMaxSkippedShown) {
        std::fprintf(err, "  ... and %zu more\n", directory.skipped.size() - kMaxSkippedShown);
    }
}

}  // namespace

int RunAonDump(int argc, char** argv, FILE* out, FILE* err) {
    Options options;
    if (const std::optional<int> status = ParseOptions(argc, argv, &options, out, err)) {
        return *status;
    }
    std::string error;
    std::vector<size_t> hexRows;
    if (!HexRows(options.hex, &hexRows, &error)) {
        std::fprintf(err, "aon-dump: %s\n", error.c_str());
        return kExitBadInput;
    }
    DumpDirectory directory;
    if (!ScanDumpDirectory(options.directory, &directory, &error)) {
        std::fprintf(err, "aon-dump: %s\n", error.c_str());
        return kExitBadInput;
    }
    std::vector<const FrameFiles*> frames;
    for (const FrameFiles& frame : directory.frames) {
        if (!options.frame || frame.frameId == *options.frame) frames.push_back(&frame);
    }
    if (frames.empty()) {
        std::fprintf(err, "aon-dump: %s has no frame %d (its %zu frames run from %d to %d)\n",
                     directory.path.c_str(), *options.frame, directory.frames.size(),
                     directory.frames.front().frameId, directory.frames.back().frameId);
        return kExitBadInput;
    }
    FILE* csv = nullptr;
    if (!options.csv.empty()) {
        csv = std::fopen(options.csv.c_str(), "w");
        if (csv == nullptr) {
            std::fprintf(err, "aon-dump: --csv %s: %s\n", options.csv.c_str(),
                         std::strerror(errno));
            return kExitBadInput;
        }
        std::fputs(CsvHeader().c_str(), csv);
    }
    ReportSkipped(directory, err);
    bool incomplete = !directory.skipped.empty();

    const bool details = options.frame && !options.replay;
    if (!details && !options.replay && csv == nullptr) {
        std::fputs((options.json ? ListingJson(directory) : ListingText(directory)).c_str(), out);
        for (const FrameFiles& frame : directory.frames) {
            incomplete |= !frame.MissingRows().empty() || !frame.WrongSizeRows().empty();
        }
        return incomplete ? kExitIncomplete : kExitOk;
    }

    Replayer replayer;
    size_t withNotes = 0;
    for (const FrameFiles* frame : frames) {
        const FrameReplay replay = replayer.Replay(*frame);
        if (!replay.notes.empty()) ++withNotes;
        if (details) {
            std::fputs((options.json ? FrameJson(*frame, replay, hexRows)
                                     : FrameText(*frame, replay, hexRows))
                               .c_str(),
                       out);
        } else if (options.replay) {
            std::fputs((options.json ? ReplayJson(replay) : ReplayText(replay)).c_str(), out);
        }
        if (csv != nullptr) std::fputs(CsvRow(replay).c_str(), csv);
    }
    incomplete |= withNotes > 0;
    if (options.replay && !options.json) {
        std::fprintf(out, "%zu %s replayed, %s\n", frames.size(),
                     frames.size() == 1 ? "frame" : "frames",
                     withNotes == 0 ? "all whole"
                                    : (std::to_string(withNotes) + " of them incomplete (see their "
                                                                   "notes)")
                                              .c_str());
    }
    if (csv != nullptr) {
        const bool failed = std::ferror(csv) != 0;
        if (std::fclose(csv) != 0 || failed) {
            std::fprintf(err, "aon-dump: --csv %s: %s (removed)\n", options.csv.c_str(),
                         std::strerror(errno));
            std::remove(options.csv.c_str());  // no half-written table
            return kExitBadInput;
        }
        if (!options.replay && !details) {
            std::fprintf(out, "%s: %zu %s\n", options.csv.c_str(), frames.size(),
                         frames.size() == 1 ? "frame" : "frames");
        }
    }
    return incomplete ? kExitIncomplete : kExitOk;
}

}  // namespace aon_dump

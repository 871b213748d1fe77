// Reads a scenario file whole and checks it before anything runs: every line is parsed, every
// client name resolved, every use of a client checked against its declaration and its death.
// A mistake is reported as "<file>:<line>: expected <what>, got <what was there>".
//
// Not thread-safe; one parser per file.
#pragma once

#include <istream>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "tools/aon-sim/scenario/LineCursor.h"
#include "tools/aon-sim/scenario/ScenarioCommand.h"

namespace aon_sim {

class ScenarioParser final {
  public:
    // `path` is the name the errors and the trace show.
    explicit ScenarioParser(std::string path);

    // Parses the whole text. On any mistake returns false with every error in errors() (at most
    // one per line) and leaves `scenario` untouched.
    bool Parse(std::istream& in, Scenario* scenario);
    const std::vector<std::string>& errors() const { return mErrors; }
    // Lines that parse but look like a slip ("<file>:<line>: warning: ..."): a property name one
    // character away from one the library reads.
    const std::vector<std::string>& warnings() const { return mWarnings; }

  private:
    struct ClientInfo {
        int declaredLine = 0;
        int diedLine = 0;  // 0 while alive
    };

    std::optional<CommandBody> ParseCommand(LineCursor& cursor, int line);
    std::optional<CommandBody> ParseProperty(LineCursor& cursor, int line);
    std::optional<CommandBody> ParseVendor(LineCursor& cursor);
    std::optional<CommandBody> ParseClientDeclare(LineCursor& cursor, int line);
    std::optional<CommandBody> ParseClientCommand(LineCursor& cursor, const std::string& client,
                                                  int line);
    std::optional<CommandBody> ParseReaction(LineCursor& cursor, const std::string& client);
    // A call as "NAME VERB ..." writes it, after the verb.
    std::optional<CommandBody> ParseCall(LineCursor& cursor, const std::string& client,
                                         const std::string& verb);
    std::optional<CommandBody> ParseSubscribe(LineCursor& cursor, ClientCall call);
    bool ParseCallTail(LineCursor& cursor, ClientCall* call, bool takesHandle);
    std::optional<CommandBody> ParseCamera(LineCursor& cursor, int line);
    std::optional<CommandBody> ParseFrame(LineCursor& cursor, bool several, int line);
    std::optional<CommandBody> ParseWait(LineCursor& cursor);
    std::optional<CommandBody> ParseNote(LineCursor& cursor);

    // Expectations (ScenarioParserExpect.cpp).
    std::optional<CommandBody> ParseExpect(LineCursor& cursor);
    std::optional<CommandBody> ParseExpectClient(LineCursor& cursor, const std::string& client);
    std::optional<CommandBody> ParseExpectVendor(LineCursor& cursor);
    std::optional<CommandBody> ParseExpectLog(LineCursor& cursor, bool present);

    // Reads a client name that must be declared, and alive unless `deadAllowed`.
    bool ReadClient(LineCursor& cursor, std::string* name, bool deadAllowed);
    bool CheckClientUsable(LineCursor& cursor, const std::string& name, bool deadAllowed);
    void NeedsService(int line);

    std::string mPath;
    std::vector<std::string> mErrors;
    std::vector<std::string> mWarnings;
    std::map<std::string, ClientInfo> mClients;
    std::map<int32_t, std::string> mPids;
    int mFirstServiceLine = 0;  // first line that needs the running service
};

// Reads and parses a file. On failure the errors are in `errors`: a file that cannot be read (with
// the reason), a binary file, a file without a single command, or the mistakes of its lines. The
// warnings of a file that parses go to `warnings`.
bool ParseScenarioFile(const std::string& path, Scenario* scenario,
                       std::vector<std::string>* errors, std::vector<std::string>* warnings);

}  // namespace aon_sim

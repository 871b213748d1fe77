// The terminal side of the readable timeline: whole lines, and on a terminal a status line kept at
// the bottom while frames flow (cleared before each line and drawn again after it).
//
// Thread-safety: every function may be called from any thread; mLock serialises the output.
#pragma once

#include <android-base/thread_annotations.h>

#include <cstdio>
#include <mutex>
#include <string>

namespace aon_tools {

class Console final {
  public:
    // The status line is shown only when `out` is a terminal.
    explicit Console(FILE* out);

    void PrintLine(const std::string& line) EXCLUDES(mLock);
    void SetStatus(const std::string& status) EXCLUDES(mLock);
    void ClearStatus() EXCLUDES(mLock);
    bool interactive() const { return mInteractive; }

  private:
    void EraseStatusLocked() REQUIRES(mLock);
    void DrawStatusLocked() REQUIRES(mLock);

    FILE* const mOut;
    const bool mInteractive;
    std::mutex mLock;
    std::string mStatus GUARDED_BY(mLock);
};

}  // namespace aon_tools

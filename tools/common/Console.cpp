#include "tools/common/Console.h"

#include <unistd.h>

namespace aon_tools {

Console::Console(FILE* out) : mOut(out), mInteractive(isatty(fileno(out)) == 1) {}

void Console::EraseStatusLocked() {
    if (mInteractive && !mStatus.empty()) std::fputs("\r\033[K", mOut);
}

void Console::DrawStatusLocked() {
    if (mInteractive && !mStatus.empty()) std::fputs(mStatus.c_str(), mOut);
    std::fflush(mOut);
}

void Console::PrintLine(const std::string& line) {
    std::lock_guard<std::mutex> guard(mLock);
    EraseStatusLocked();
    std::fputs(line.c_str(), mOut);
    std::fputc('\n', mOut);
    DrawStatusLocked();
}

void Console::SetStatus(const std::string& status) {
    if (!mInteractive) return;
    std::lock_guard<std::mutex> guard(mLock);
    EraseStatusLocked();
    mStatus = status;
    DrawStatusLocked();
}

void Console::ClearStatus() {
    std::lock_guard<std::mutex> guard(mLock);
    EraseStatusLocked();
    mStatus.clear();
    std::fflush(mOut);
}

}  // namespace aon_tools

// The program's standard output and its frame files, written by a thread of their own. The
// threads that hand over lines and frames are the service's calls into this process: the service
// delivers each frame synchronously from its frame thread, so a terminal, a pipe or a file system
// that falls behind must not hold them up (it would slow the service's frames and falsify the rate
// this program measures).
//
// Lines and frames come out in the order they were handed over. Frames waiting to be written are
// held in memory up to kMaxPendingFrameBytes; a frame beyond that is counted as skipped.
//
// Thread-safety: every function may be called from any thread; mLock guards the queue and the
// counters and is never held while writing.
#pragma once

#include <android-base/thread_annotations.h>

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <deque>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

#include "tools/aon-client/FrameFile.h"

namespace aon_client {

class Output final {
  public:
    static constexpr size_t kMaxPendingFrameBytes = 64 << 20;

    struct FrameCounts {
        int64_t saved = 0;
        int64_t skipped = 0;  // the writer was behind
        int64_t failed = 0;
    };

    // Frames go to `directory` in `format`; an empty directory saves none.
    Output(FILE* out, std::string directory, FrameFormat format);
    // Writes what is queued and ends the writer.
    ~Output();
    Output(const Output&) = delete;
    Output& operator=(const Output&) = delete;

    void Line(std::string line) EXCLUDES(mLock);
    void Frame(FrameImage image) EXCLUDES(mLock);
    // Returns once everything handed over so far is written.
    void Drain() EXCLUDES(mLock);
    // Writes what is queued and ends the writer; later lines are written at once.
    void Close() EXCLUDES(mLock);
    FrameCounts frameCounts() const EXCLUDES(mLock);

  private:
    struct Item {
        std::string line;
        std::optional<FrameImage> frame;
    };

    void Push(Item item) EXCLUDES(mLock);
    void Write(const Item& item) EXCLUDES(mLock);
    void Run() EXCLUDES(mLock);
    // The next item to write, waiting for one; null once closing with nothing left. `last` tells
    // whether the queue is empty after it.
    std::optional<Item> Take(bool* last) EXCLUDES(mLock);

    FILE* const mOut;
    const std::string mDirectory;
    const FrameFormat mFormat;

    mutable std::mutex mLock;
    std::condition_variable mWake;
    std::condition_variable mIdle;
    std::deque<Item> mQueue GUARDED_BY(mLock);
    bool mWriting GUARDED_BY(mLock) = false;
    size_t mPendingFrameBytes GUARDED_BY(mLock) = 0;
    FrameCounts mCounts GUARDED_BY(mLock);
    bool mFirstFailureShown GUARDED_BY(mLock) = false;
    bool mClosing GUARDED_BY(mLock) = false;
    std::thread mThread;  // last: started once the rest is built
};

}  // namespace aon_client

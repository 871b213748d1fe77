#include "tools/aon-client/Output.h"

#include <utility>

namespace aon_client {

Output::Output(FILE* out, std::string directory, FrameFormat format)
    : mOut(out), mDirectory(std::move(directory)), mFormat(format), mThread([this] { Run(); }) {}

Output::~Output() {
    Close();
}

void Output::Line(std::string line) {
    Item item;
    item.line = std::move(line);
    Push(std::move(item));
}

void Output::Frame(FrameImage image) {
    if (mDirectory.empty()) return;
    {
        std::lock_guard<std::mutex> guard(mLock);
        if (mPendingFrameBytes + image.bytes.size() > kMaxPendingFrameBytes) {
            ++mCounts.skipped;
            return;
        }
        mPendingFrameBytes += image.bytes.size();
    }
    Item item;
    item.frame = std::move(image);
    Push(std::move(item));
}

void Output::Push(Item item) {
    {
        std::lock_guard<std::mutex> guard(mLock);
        if (!mClosing) {
            mQueue.push_back(std::move(item));
            mWake.notify_one();
            return;
        }
    }
    Write(item);  // after Close: no writer any more
    std::fflush(mOut);
}

void Output::Close() {
    {
        std::lock_guard<std::mutex> guard(mLock);
        mClosing = true;
    }
    mWake.notify_one();
    if (mThread.joinable()) mThread.join();
    std::fflush(mOut);
}

void Output::Drain() {
    std::unique_lock<std::mutex> lock(mLock);
    android::base::ScopedLockAssertion held(mLock);
    mIdle.wait(lock, [this] {
        android::base::ScopedLockAssertion waitHeld(mLock);
        return mQueue.empty() && !mWriting;
    });
}

Output::FrameCounts Output::frameCounts() const {
    std::lock_guard<std::mutex> guard(mLock);
    return mCounts;
}

void Output::Write(const Item& item) {
    if (!item.line.empty()) std::fputs((item.line + "\n").c_str(), mOut);
    if (!item.frame) return;
    std::string path;
    std::string error;
    const bool saved = WriteFrame(mDirectory, mFormat, *item.frame, &path, &error);
    bool show = false;
    {
        std::lock_guard<std::mutex> guard(mLock);
        mPendingFrameBytes -= item.frame->bytes.size();
        ++(saved ? mCounts.saved : mCounts.failed);
        show = !saved && !mFirstFailureShown;
        if (show) mFirstFailureShown = true;
    }
    if (show) std::fprintf(stderr, "aon-client: cannot save frames: %s\n", error.c_str());
}

void Output::Run() {
    bool last = false;
    while (std::optional<Item> item = Take(&last)) {
        Write(*item);
        if (last) std::fflush(mOut);  // a reader sees each burst as soon as it is written
    }
}

std::optional<Output::Item> Output::Take(bool* last) {
    std::unique_lock<std::mutex> lock(mLock);
    android::base::ScopedLockAssertion held(mLock);
    mWriting = false;  // the item taken before is written
    if (mQueue.empty()) mIdle.notify_all();
    mWake.wait(lock, [this] {
        android::base::ScopedLockAssertion waitHeld(mLock);
        return mClosing || !mQueue.empty();
    });
    if (mQueue.empty()) return std::nullopt;  // closing, and everything is written
    Item item = std::move(mQueue.front());
    mQueue.pop_front();
    *last = mQueue.empty();
    mWriting = true;
    return item;
}

}  // namespace aon_client

// Writes the image a client received (result key 703, with its stride 702 and height 701; the
// frame width, key 1, crops the rows) as a PNG file: the Y plane as grayscale, or the whole
// 4:2:0 frame converted to RGB for the chosen chroma layout.
//
// Thread-safety: holds only its configuration; Save may be called from any thread.
#pragma once

#include <atomic>
#include <cstdint>
#include <string>

#include <aidl/vendor/tarvo/hardware/camera/aon/AONCallBackInfo.h>

namespace aon_tools {

enum class FrameColor { kGray, kNv12, kNv21, kI420 };

class FrameSaver final {
  public:
    FrameSaver(std::string directory, FrameColor color);

    // Writes "<directory>/<client>-frame<id>.png". Returns false without writing when the event
    // carries no image; false with `error` set when the file cannot be written.
    bool Save(const std::string& client,
              const aidl::vendor::tarvo::hardware::camera::aon::AONCallBackInfo& info,
              std::string* path, std::string* error) const;

    const std::string& directory() const { return mDirectory; }
    // The number of files written so far.
    int64_t saved() const { return mSaved.load(); }

    // Parses "gray", "nv12", "nv21" or "i420".
    static bool ParseColor(const std::string& text, FrameColor* color);

  private:
    // Counts a file written; returns `written`.
    bool Written(bool written) const;

    const std::string mDirectory;
    const FrameColor mColor;
    mutable std::atomic<int64_t> mSaved{0};
};

}  // namespace aon_tools

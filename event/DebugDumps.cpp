#include "event/DebugDumps.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "common/AonLog.h"
#include "event/AovEvent.h"

namespace tarvo::aon {
namespace {

constexpr char kLogClass[] = "AONManagerCallback";

constexpr size_t kPathBytes = 80;

// Every block lies inside the fixed output area, whatever apu_output_size says.
constexpr bool BlocksFitOutputArea() {
    for (const DumpBlock& block : kDumpBlocks) {
        if (block.offset + block.bytes > sizeof(aov_event::apu_output)) return false;
    }
    return true;
}
static_assert(BlocksFitOutputArea());

}  // namespace

void dumpOutput(aov_event* event) {
    if (event == nullptr) return;
    const uint32_t serviceType = event->service_type;
    const int frameId = static_cast<int>(event->frame_id);
    for (const DumpBlock& block : kDumpBlocks) {
        if (block.requiredBit != 0 && (serviceType & block.requiredBit) == 0) continue;
        char path[kPathBytes];
        snprintf(path, sizeof(path), "%s%s%d_%s%s", kDumpDirectory, kDumpFilePrefix, frameId,
                 block.name, kDumpFileSuffix);
        writeByteToFile(event->apu_output, block.offset, block.bytes, path);
    }
}

void writeByteToFile(const uint8_t* data, int offset, unsigned long size, const char* path) {
    FILE* file = fopen(path, "wb+");
    if (file == nullptr) {
        const int error = errno;
        AON_LOGE("open output file %s fail, file %s.\n", path, strerror(error));
        return;
    }
    AON_LOGD_GATED("dump aon output in %s file.\n", path);
    fwrite(data + offset, 1, size, file);
    fclose(file);
}

}  // namespace tarvo::aon

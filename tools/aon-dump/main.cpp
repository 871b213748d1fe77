// aon-dump: reads a device's "/data/aon/" debug dumps on a desk and replays them through the
// library's own event translation. See docs/AON-DUMP.md.
#include <cstdio>

#include "tools/aon-dump/AonDump.h"

int main(int argc, char** argv) {
    return aon_dump::RunAonDump(argc, argv, stdout, stderr);
}

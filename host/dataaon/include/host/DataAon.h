// Host-only: where the process's opens of "/data/aon/..." go. The library writes its debug dumps
// there; on a desk that directory is missing, or not the one the developer wants filled.
//
// Linking host_data_aon puts an fopen in front of the C library's for the whole process, the
// library's shared object included: a path under "/data/aon/" is opened where the last call below
// says; every other path is opened as usual. At start the real directory is used.
//
// Thread-safety: every function may be called from any thread, also while other threads open files.
#pragma once

#include <string>

namespace host {

// "/data/aon/NAME" opens DIRECTORY/NAME.
void RedirectDataAon(const std::string& directory);

// Opens under "/data/aon/" fail with EACCES: nothing is written anywhere.
void RefuseDataAon();

// Opens under "/data/aon/" reach the real directory again.
void UseRealDataAon();

// Called for every open under "/data/aon/" with the path as asked and the mode, before the open is
// made, on the opening thread and outside any lock of this library. Null: none.
using DataAonObserver = void (*)(const char* path, const char* mode);
void SetDataAonObserver(DataAonObserver observer);

}  // namespace host

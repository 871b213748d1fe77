// The library's entry for its hosting process: creates the AON service and publishes it with the
// service manager as "<IAONService descriptor>/default". Called once; the caller runs the binder
// thread pool.
#pragma once

extern "C" __attribute__((visibility("default"))) void RegisterIAonService();

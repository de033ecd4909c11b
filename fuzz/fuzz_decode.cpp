// The whole decoder chain over arbitrary bytes: PNG, JPEG, JPEG XR, DDS, TGA.
#include <pthread.h>
#include <sanitizer/common_interface_defs.h>

#include <csignal>
#include <initializer_list>

#include "readers.h"

// The JPEG XR stage decodes in a child process, because the library behind it can crash on
// damaged data; a child that dies gives null. Such a death is the stage working as meant, not a
// fault of the engine, so the child leaves the fuzzer's crash handling behind.
extern "C" int LLVMFuzzerInitialize(int*, char***) {
  pthread_atfork(nullptr, nullptr, [] {
    __sanitizer_set_death_callback(nullptr);
    for (int s : {SIGSEGV, SIGBUS, SIGABRT, SIGILL, SIGFPE}) std::signal(s, SIG_DFL);
  });
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  quorin_fuzz::decode(data, size);
  return 0;
}

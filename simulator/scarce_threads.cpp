// Preloaded into the program, it makes threads hard to come by:
//   ELVANTRIS_THREADS=3          the first three can be had, and no more
//   ELVANTRIS_NO_THREADS=FILE    none while that file exists
#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <dlfcn.h>
#include <pthread.h>
#include <unistd.h>

namespace {

using create_function = int (*)(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*);

bool refused() {
    static std::atomic<long> made = 0;
    const char* const most = std::getenv("ELVANTRIS_THREADS");
    const char* const file = std::getenv("ELVANTRIS_NO_THREADS");
    return (most != nullptr && made++ >= std::atol(most)) ||
           (file != nullptr && ::access(file, F_OK) == 0);
}

} // namespace

extern "C" int pthread_create(pthread_t* thread, const pthread_attr_t* attributes,
                              void* (*body)(void*), void* argument) {
    static const auto create =
        reinterpret_cast<create_function>(::dlsym(RTLD_NEXT, "pthread_create"));
    return refused() ? EAGAIN : create(thread, attributes, body, argument);
}

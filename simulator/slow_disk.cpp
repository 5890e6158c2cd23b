// Preloaded into the program, it makes the disk slow:
//   ELVANTRIS_SLOW_DISK=FILE     each flush takes 1.5 s while that file exists
#include <chrono>
#include <cstdlib>
#include <dlfcn.h>
#include <thread>
#include <unistd.h>

extern "C" int fsync(int descriptor) {
    static const auto flush = reinterpret_cast<int (*)(int)>(::dlsym(RTLD_NEXT, "fsync"));
    const char* const file = std::getenv("ELVANTRIS_SLOW_DISK");
    if (file != nullptr && ::access(file, F_OK) == 0)
        std::this_thread::sleep_for(std::chrono::milliseconds(1500));
    return flush(descriptor);
}

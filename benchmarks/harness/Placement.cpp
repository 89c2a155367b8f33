#include "benchmarks/harness/Placement.h"

#include <cerrno>
#include <sched.h>
#include <system_error>

namespace velm::bench {

namespace {

Cores findCores() {
    cpu_set_t usable;
    CPU_ZERO(&usable);
    ::sched_getaffinity(0, sizeof usable, &usable);
    Cores found{-1, -1};
    for (int core = 0; core < CPU_SETSIZE && found.second < 0; ++core) {
        if (CPU_ISSET(core, &usable)) {
            (found.first < 0 ? found.first : found.second) = core;
        }
    }
    if (found.first < 0) {
        found.first = 0;
    }
    return {found.first, found.second < 0 ? found.first : found.second};
}

}  // namespace

Cores cores() {
    static const Cores found = findCores();
    return found;
}

void pinThread(int core) {
    cpu_set_t one;
    CPU_ZERO(&one);
    CPU_SET(core, &one);
    if (::sched_setaffinity(0, sizeof one, &one) != 0) {
        throw std::system_error(errno, std::generic_category(), "sched_setaffinity");
    }
}

}  // namespace velm::bench

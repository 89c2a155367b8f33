#pragma once

#include <sys/resource.h>

namespace velm::bench {

/// Seconds of processor time that this process has taken, in all its threads, user and system.
inline double processTime() {
    rusage usage{};
    ::getrusage(RUSAGE_SELF, &usage);
    const auto seconds = [](const timeval& time) {
        return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
    };
    return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

}  // namespace velm::bench

#include "velmd/daemon/ServiceManager.h"

#include <cstdint>
#include <ctime>

#include <systemd/sd-daemon.h>

namespace velm {

void tellReady(const std::string& status) {
    sd_notify(0, ("READY=1\nSTATUS=" + status).c_str());
}

void tellReloading() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    const auto microseconds = static_cast<std::int64_t>(now.tv_sec) * 1'000'000 + now.tv_nsec / 1000;
    sd_notify(0, ("RELOADING=1\nMONOTONIC_USEC=" + std::to_string(microseconds)).c_str());
}

void tellStopping(std::chrono::milliseconds longest) {
    const auto microseconds = std::chrono::microseconds(longest).count();
    sd_notify(0, ("STOPPING=1\nEXTEND_TIMEOUT_USEC=" + std::to_string(microseconds)).c_str());
}

void tellAlive() {
    sd_notify(0, "WATCHDOG=1");
}

std::chrono::milliseconds watchdogInterval() {
    std::uint64_t limit = 0;
    return sd_watchdog_enabled(0, &limit) > 0
               ? std::chrono::ceil<std::chrono::milliseconds>(std::chrono::microseconds(limit / 4))
               : std::chrono::milliseconds(0);
}

}  // namespace velm

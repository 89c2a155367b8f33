#pragma once

#include <chrono>
#include <string>

/// What the service manager that started the daemon is told (sd_notify(3)). Without one, nothing happens.
/// Any thread may call it.
namespace velm {

void tellReady(const std::string& status);
void tellReloading();
/// `longest` is how long it may take: more than the service manager would wait by itself, perhaps.
void tellStopping(std::chrono::milliseconds longest);
void tellAlive();

/// How often tellAlive() should be called; zero when nobody waits for it. There are several calls in the time
/// that the service manager allows, so that one may be left out.
std::chrono::milliseconds watchdogInterval();

}  // namespace velm

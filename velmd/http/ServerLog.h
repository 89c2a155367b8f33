#pragma once

#include <functional>
#include <string_view>

/// How the HTTP server says in the log what happens to it. Any thread.
namespace velm {

/// A client was told why it is not served.
void logRefused(std::string_view peer, unsigned int status, std::string_view reason);
/// A client's connection was reset, because "it ...".
void logReset(std::string_view peer, std::string_view reason);
/// For the operator: "<action>: <cause>".
void logServerFailure(std::string_view action, std::string_view cause);

/// Runs `task`, and logs what it throws. False when it threw.
bool runServerTask(std::string_view action, const std::function<void()>& task);

}  // namespace velm

#pragma once

#include "velmd/status/ServerStatus.h"

#include <cstddef>
#include <string>

namespace velm::status {

/// So many subscribers have series of their own: those that are failing first, then those with most
/// indications. A gauge tells how many are left out.
inline constexpr std::size_t mostDestinations = 50;

inline constexpr const char* metricsContentType = "text/plain; version=0.0.4; charset=utf-8";

/// The status in the text format that Prometheus scrapes. Every metric has help text and type, and the number
/// of series does not grow with the number of clients beyond `mostDestinations`.
std::string metricsText(const ServerStatus& status);

}  // namespace velm::status

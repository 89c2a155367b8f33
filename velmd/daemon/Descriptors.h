#pragma once

#include <cstddef>

namespace velm {

/// Raises this process' limit of open files as far as the system allows, so that connections do not run into
/// the low limit that most shells start with. Returns the limit that is in effect then.
std::size_t raiseDescriptorLimit() noexcept;

/// Of `wanted` connections, as many as leave descriptors to the rest of the process, deliveries above all,
/// where it may have `limit` of them (0: not known).
std::size_t connectionsWithin(std::size_t limit, std::size_t wanted) noexcept;

}  // namespace velm

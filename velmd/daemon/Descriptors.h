#pragma once

#include <cstddef>

namespace velm {

/// Raises this process' limit of open files as far as the system allows, so that connections do not run into
/// the low limit that most shells start with. Returns the limit that is in effect then.
std::size_t raiseDescriptorLimit() noexcept;

}  // namespace velm

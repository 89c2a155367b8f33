#pragma once

#include <string_view>

namespace velm {

/// The class declarations (CIM-XML) that a new repository starts with.
std::string_view shippedSchema() noexcept;

}  // namespace velm

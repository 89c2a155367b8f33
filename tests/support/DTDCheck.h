#pragma once

#include <string>

namespace velm::test {

/// What keeps `document` from being valid by the DTD of DSP0203; the empty string when it is valid, and where
/// a workplace does not keep the DTD. Any thread may call it.
std::string dtdProblem(const std::string& document);

/// Whether the DTD is there.
bool hasDTD();

}  // namespace velm::test

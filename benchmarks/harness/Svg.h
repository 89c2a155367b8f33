#pragma once

#include "benchmarks/harness/Row.h"

#include <filesystem>
#include <vector>

namespace velm::bench {

/// Draws the curves of each row, cost over size on logarithmic axes, into a file "growth-<row>.svg" of the
/// folder. The drawings can be read on light and on dark ground.
void drawCurves(const std::vector<Curve>& curves, const std::filesystem::path& folder);

}  // namespace velm::bench

#pragma once

#include <chrono>
#include <string>
#include <string_view>
#include <vector>

namespace velm::faces {

/// A quantity over the last minutes as a small drawing (SVG) with its axes named, and the same in a sentence
/// for who does not see it.
struct Curve {
    /// "Delivered"; becomes part of the text unescaped.
    std::string_view what;
    /// Per second, the oldest first, one for each step.
    std::vector<double> values;
    std::chrono::seconds step{1};

    /// "Delivered per second over the last 10 min: 12 now, 40 at the most, 9 on average."
    std::string sentence() const;
    /// An <svg> element; a paragraph while there are fewer than two values.
    std::string drawing() const;
};

/// 1, 2 or 5 times a power of ten: the smallest that is not below `value`; 1 where nothing is above 0.
double axisEnd(double value);

}  // namespace velm::faces

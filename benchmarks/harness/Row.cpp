#include "benchmarks/harness/Row.h"

#include <cmath>

#include <fmt/format.h>

namespace velm::bench {

std::optional<bool> Row::isMet() const {
    if (!failure.empty()) {
        return false;
    }
    if (target.sense == Target::Sense::none) {
        return std::nullopt;
    }
    const double median = ratio.median();
    return target.sense == Target::Sense::atLeast ? median >= target.wanted : median <= target.wanted;
}

std::string formatCount(double count) {
    std::string digits = fmt::format("{:.0f}", count);
    for (std::size_t place = digits.size(); place > 3;) {
        place -= 3;
        digits.insert(place, ",");
    }
    return digits;
}

std::string formatNanoseconds(double nanoseconds) {
    if (nanoseconds < 1000) {
        return fmt::format("{:.{}f} ns", nanoseconds, nanoseconds < 100 ? 1 : 0);
    }
    if (nanoseconds < 1'000'000) {
        return fmt::format("{:.2f} us", nanoseconds / 1000);
    }
    return fmt::format("{:.2f} ms", nanoseconds / 1'000'000);
}

std::string formatRate(double perSecond) {
    return formatCount(perSecond) + "/s";
}

std::string formatBytes(double bytes) {
    return formatCount(bytes) + " B";
}

}  // namespace velm::bench

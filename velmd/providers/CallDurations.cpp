#include "velmd/providers/CallDurations.h"

#include <algorithm>

namespace velm {

void CallDurations::note(std::chrono::nanoseconds duration) noexcept {
    const auto* const bound = std::ranges::lower_bound(bounds, duration);
    _counts[static_cast<std::size_t>(bound - bounds.begin())].fetch_add(1, std::memory_order_relaxed);
    _sum.fetch_add(duration.count(), std::memory_order_relaxed);
}

CallDurations::Figures CallDurations::figures() const noexcept {
    Figures figures;
    for (std::size_t index = 0; index < _counts.size(); ++index) {
        figures.counts[index] = _counts[index].load(std::memory_order_relaxed);
    }
    figures.sum = std::chrono::nanoseconds(_sum.load(std::memory_order_relaxed));
    return figures;
}

}  // namespace velm

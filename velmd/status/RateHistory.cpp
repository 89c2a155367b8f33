#include "velmd/status/RateHistory.h"

#include <algorithm>

namespace velm::status {

namespace {

std::uint64_t sumOf(const std::map<std::string, std::uint64_t>& counts) {
    std::uint64_t sum = 0;
    for (const auto& [name, count] : counts) {
        sum += count;
    }
    return sum;
}

double rateOf(std::uint64_t before, std::uint64_t now, double seconds) {
    return static_cast<double>(now - std::min(before, now)) / seconds;
}

}  // namespace

bool RateHistory::isDue(Clock::time_point now) const {
    const std::lock_guard guard(_lock);
    return now - _lastTime >= step;
}

void RateHistory::add(const Counters& counters, Clock::time_point now) {
    const Totals totals = _totalsOf(counters);
    const std::lock_guard guard(_lock);
    const std::chrono::duration<double> passed = now - _lastTime;
    if (passed.count() <= 0) {
        return;
    }
    const Rate rate{rateOf(_last.reported, totals.reported, passed.count()),
                    rateOf(_last.delivered, totals.delivered, passed.count()),
                    rateOf(_last.failed, totals.failed, passed.count()),
                    rateOf(_last.dropped, totals.dropped, passed.count())};
    const auto covered = static_cast<std::size_t>(std::max<long>(1, (now - _lastTime) / step));
    for (std::size_t count = std::min(covered, steps); count > 0; --count) {
        _rates.push_back(rate);
    }
    while (_rates.size() > steps) {
        _rates.pop_front();
    }
    _lastTime = now;
    _last = totals;
}

std::vector<Rate> RateHistory::rates() const {
    const std::lock_guard guard(_lock);
    return {_rates.begin(), _rates.end()};
}

RateHistory::Totals RateHistory::_totalsOf(const Counters& counters) {
    return {counters.reported, counters.delivered, sumOf(counters.failed), sumOf(counters.dropped)};
}

}  // namespace velm::status

#include "server/services/LogRepeats.h"

#include <functional>
#include <utility>

namespace velm {

std::size_t LogRepeats::Hash::operator()(const Key& key) const noexcept {
    const std::hash<std::string_view> hash;
    return (hash(key.component) * 31 + hash(key.message)) * 31 + key.number;
}

LogRepeats::Key LogRepeats::_keyOf(const LogLine& line) noexcept {
    return {line.component.view(), line.message.view(), line.number};
}

bool LogRepeats::admit(const LogLine& line, Time now, std::vector<Repeat>& ended) {
    while (!_windows.empty() && now - _windows.front().start >= window) {
        _endOldest(ended);
    }
    const Key key = _keyOf(line);
    const auto found = _index.find(key);
    if (found != _index.end()) {
        ++found->second->repeat.count;
        return false;
    }
    if (_windows.size() == capacity) {
        _endOldest(ended);
    }
    _windows.push_back({{line, 0}, now});
    try {
        _index.emplace(key, std::prev(_windows.end()));
    } catch (...) {
        _windows.pop_back();
        throw;
    }
    return true;
}

std::vector<LogRepeats::Repeat> LogRepeats::takeCounts() {
    std::vector<Repeat> counts;
    for (Window& open : _windows) {
        if (open.repeat.count != 0) {
            counts.push_back(open.repeat);
            open.repeat.count = 0;
        }
    }
    return counts;
}

void LogRepeats::clear() noexcept {
    _index.clear();
    _windows.clear();
}

void LogRepeats::_endOldest(std::vector<Repeat>& ended) {
    const Repeat& repeat = _windows.front().repeat;
    if (repeat.count != 0) {
        ended.push_back(repeat);
    }
    _index.erase(_keyOf(repeat.line));
    _windows.pop_front();
}

}  // namespace velm

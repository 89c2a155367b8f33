#include "server/services/LogRepeats.h"

#include <functional>
#include <utility>

namespace velm {

std::size_t LogRepeats::Hash::operator()(const Key& key) const noexcept {
    const std::hash<std::string_view> hash;
    return hash(key.component) * 31 + hash(key.message);
}

bool LogRepeats::admit(const ORVString& component, const ORVString& message, OrvoTraceLog::Severity severity,
                       Time now, std::vector<Repeat>& ended) {
    while (!_windows.empty() && now - _windows.front().start >= window) {
        _endOldest(ended);
    }
    const Key key{component.view(), message.view()};
    const auto found = _index.find(key);
    if (found != _index.end()) {
        ++found->second->repeat.count;
        return false;
    }
    if (_windows.size() == capacity) {
        _endOldest(ended);
    }
    _windows.push_back({{component, message, severity, 0}, now});
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
    _index.erase(Key{repeat.component.view(), repeat.message.view()});
    _windows.pop_front();
}

}  // namespace velm

#include "velmd/providers/FailureRecord.h"

#include <algorithm>
#include <new>
#include <utility>

namespace velm {

void FailureRecord::note(std::string_view what, std::string_view text) noexcept {
    try {
        std::string kept(what);
        kept.append(text.substr(0, longestText));
        kept.resize(std::min(kept.size(), longestText));
        const auto now = std::chrono::system_clock::now();
        const std::lock_guard guard(_lock);
        if (!_last) {
            _last = Failure{{}, now, now, 0};
        }
        _last->text = std::move(kept);
        _last->last = now;
        ++_last->count;
    } catch (const std::bad_alloc&) {
    }
}

std::optional<FailureRecord::Failure> FailureRecord::last() const {
    const std::lock_guard guard(_lock);
    return _last;
}

}  // namespace velm

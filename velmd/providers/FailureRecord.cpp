#include "velmd/providers/FailureRecord.h"

#include <new>
#include <utility>

namespace velm {

void FailureRecord::note(const std::string& text) noexcept {
    try {
        std::string kept = text.substr(0, longestText);
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

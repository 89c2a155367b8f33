#include "server/services/TimedTransaction.h"

#include "foundation/services/ORVLog.h"

#include <algorithm>
#include <string>
#include <utility>

#include <fmt/format.h>

namespace velm {

TimedTransaction::TimedTransaction(Call call, std::chrono::seconds timeout, Clock clock)
    : _call(std::move(call)), _timeout(timeout), _clock(clock), _start(clock()) {
}

TimedTransaction::~TimedTransaction() = default;

std::chrono::milliseconds TimedTransaction::getTimeLeft() const {
    using std::chrono::milliseconds;
    if (isReleased()) {
        return milliseconds::zero();
    }
    if (!_hasTimeout()) {
        return milliseconds::max();
    }
    const auto left = std::chrono::ceil<milliseconds>(_start + _timeout - _clock());
    return std::max(left, milliseconds::zero());
}

void TimedTransaction::release() {
    const bool wasReleased = _isReleased.exchange(true, std::memory_order_acq_rel);
    const auto taken = _clock() - _start;
    if (!wasReleased && _hasTimeout() && taken > _timeout) {
        _warn(taken);
    }
}

void TimedTransaction::_warn(std::chrono::steady_clock::duration taken) const {
    const double seconds = std::chrono::duration<double>(taken).count();
    std::string text =
        fmt::format("{} for class {} took {:.3f} s, longer than its time-out of {} s",
                    _call.methodName.view(), _call.className.view(), seconds, _timeout.count());
    if (_call.namespaceName.length() != 0) {
        text += fmt::format("; namespace {}", _call.namespaceName.view());
    }
    if (_call.clientName.length() != 0 || _call.clientAddress.length() != 0) {
        text += fmt::format("; client {}@{}", _call.clientName.view(), _call.clientAddress.view());
    }
    ORVLog::log("CIMOMTransaction::release", std::string_view(text), OrvoTraceLog::SeverityWarning,
                OrvoTraceLog::VerbosityNormal, 0, ORVLog::CIMOMLOG);
}

}  // namespace velm

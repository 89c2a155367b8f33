#include "tests/support/LogCapture.h"

#include <algorithm>
#include <ostream>

void PrintTo(const ORVLogRecord& record, std::ostream* out) {
    *out << (record.isTrace ? "trace " : "log ") << record.severity << "/" << record.verbosity << "/"
         << record.number << "/" << record.category << " [" << record.component << "] \"" << record.message
         << "\"";
}

namespace velm::test {

LogCapture::LogCapture(Traces traces) {
    ORVLog::setThreshold(OrvoTraceLog::SeverityDetail);
    ORVLog::setTraceThreshold(traces == tracesOn ? OrvoTraceLog::SeverityDetail
                                                 : OrvoTraceLog::SeverityInformation);
    ORVLog::setObserver(this);
}

LogCapture::~LogCapture() {
    ORVLog::setObserver(nullptr);
    ORVLog::setTraceThreshold(OrvoTraceLog::SeverityInformation);
}

void LogCapture::onLog(const ORVLogRecord& record) noexcept {
    const std::lock_guard lock(_mutex);
    _records.push_back(record);
    _changed.notify_all();
}

LogCapture::Records LogCapture::records() const {
    const std::lock_guard lock(_mutex);
    return _records;
}

std::size_t LogCapture::count(const std::string& message) const {
    const std::lock_guard lock(_mutex);
    return static_cast<std::size_t>(std::ranges::count_if(
        _records, [&](const ORVLogRecord& record) { return record.message.view() == message; }));
}

void LogCapture::clear() {
    const std::lock_guard lock(_mutex);
    _records.clear();
}

bool LogCapture::waitFor(const std::function<bool(const Records&)>& predicate,
                         std::chrono::milliseconds deadline) const {
    std::unique_lock lock(_mutex);
    return _changed.wait_for(lock, deadline, [&] { return predicate(_records); });
}

bool LogCapture::waitForMessage(const std::string& message, std::chrono::milliseconds deadline) const {
    return waitFor(
        [&](const Records& records) {
            return std::ranges::any_of(records,
                                       [&](const ORVLogRecord& r) { return r.message.view() == message; });
        },
        deadline);
}

}  // namespace velm::test

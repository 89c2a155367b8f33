#pragma once

#include "foundation/services/ORVLog.h"

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

#include <gmock/gmock.h>

void PrintTo(const ORVLogRecord& record, std::ostream* out);

namespace velm::test {

/// Records what is logged from its construction to its destruction.
///
/// Threads: every operation on any thread. One capture at a time: the log knows one observer.
class LogCapture : public IORVLogObserver {
public:
    using Records = std::vector<ORVLogRecord>;

    /// With `traces` on, trace lines of every severity are recorded too; the log's usual thresholds come back
    /// at the end.
    enum Traces { tracesOff, tracesOn };
    explicit LogCapture(Traces traces = tracesOff);
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;
    ~LogCapture() override;

    void onLog(const ORVLogRecord& record) noexcept override;

    Records records() const;
    /// How many lines have exactly this message.
    std::size_t count(const std::string& message) const;
    void clear();

    /// Waits until `predicate` holds for the records, for `deadline` at the most; answers whether it came to
    /// hold.
    bool waitFor(const std::function<bool(const Records&)>& predicate,
                 std::chrono::milliseconds deadline = std::chrono::seconds(10)) const;
    /// The same for a line with exactly this message.
    bool waitForMessage(const std::string& message,
                        std::chrono::milliseconds deadline = std::chrono::seconds(10)) const;

private:
    mutable std::mutex _mutex;
    mutable std::condition_variable _changed;
    Records _records;
};

/// A line of the server log, with the verbosity, number and category that all lines of the indication
/// subsystem have.
MATCHER_P3(IsLogLine, component, message, severity, "") {
    return arg.component == ORVString(component) && arg.message == ORVString(message) &&
           static_cast<int>(arg.severity) == static_cast<int>(severity) &&
           arg.verbosity == OrvoTraceLog::VerbosityNormal && arg.number == 0 &&
           arg.category == ORVLog::CIMOMLOG && !arg.isTrace;
}

/// A trace line.
MATCHER_P3(IsTraceLine, component, message, severity, "") {
    return arg.component == ORVString(component) && arg.message == ORVString(message) &&
           static_cast<int>(arg.severity) == static_cast<int>(severity) && arg.category == ORVLog::CIMOMLOG &&
           arg.isTrace;
}

}  // namespace velm::test

#pragma once

#include "foundation/services/OrvoTraceLog.h"
#include "foundation/utilities/ORVCriticalSection.h"
#include "foundation/utilities/ORVString.h"
#include "foundation/utilities/ThreadAnnotations.h"
#include "server/services/LogRepeats.h"

#include <cstddef>
#include <memory>
#include <string>

namespace spdlog {
class logger;
}

namespace velm {

/// Writes the lines of the server log: time with offset from UTC, severity, thread, component and message,
/// one line each.
///
/// Threads: any. Failure: operations may throw std::bad_alloc; a line that the disk refuses is reported on
/// standard error and lost. A line is in the file when write() returns.
class LogWriter {
public:
    using Clock = LogRepeats::Time (*)();

    /// Longer messages are cut, and say so.
    static constexpr std::size_t maxMessageBytes = 8192;

    /// Starts on standard error. `clock` times the windows of repeats.
    explicit LogWriter(Clock clock);
    LogWriter(const LogWriter&) = delete;
    LogWriter& operator=(const LogWriter&) = delete;
    ~LogWriter();

    /// As ORVLog::open. Counts of repeats go to the former place; every line is news in the new one.
    bool open(const ORVString& path, std::size_t maxBytes, std::size_t maxFiles);

    void write(const ORVString& component, const ORVString& message, OrvoTraceLog::Severity severity);

    /// Writes out the counts of repeats so far.
    void flush();

private:
    void _writeCounts() VELM_REQUIRES(_lock);
    void _writeLine(const ORVString& component, const ORVString& message, OrvoTraceLog::Severity severity,
                    const std::string& suffix) VELM_REQUIRES(_lock);
    void _writeCount(const LogRepeats::Repeat& repeat) VELM_REQUIRES(_lock);

    const Clock _clock;
    ORVCriticalSection _lock;
    std::unique_ptr<spdlog::logger> _logger VELM_GUARDED_BY(_lock);
    LogRepeats _repeats VELM_GUARDED_BY(_lock);
};

}  // namespace velm

#pragma once

#include "foundation/services/ORVLog.h"
#include "foundation/utilities/ORVCriticalSection.h"
#include "foundation/utilities/ORVString.h"
#include "foundation/utilities/ThreadAnnotations.h"
#include "server/services/LogLine.h"
#include "server/services/LogRepeats.h"

#include <cstddef>
#include <memory>

namespace spdlog {
class logger;
}

namespace velm {

/// Writes the lines of the server log to a file or to standard error, in either format of ORVLog.
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

    /// As ORVLog::reopen; the rest as in open().
    bool reopen();

    void setFormat(ORVLog::Format format);

    void write(const LogLine& line);

    /// Writes out the counts of repeats so far.
    void flush();

private:
    struct Target {
        /// Empty: standard error.
        ORVString path;
        std::size_t maxBytes;
        std::size_t maxFiles;
    };

    bool _open(const Target& target) VELM_REQUIRES(_lock);
    void _writeCounts() VELM_REQUIRES(_lock);
    void _writeLine(const LogLine& line, unsigned long repeats) VELM_REQUIRES(_lock);

    const Clock _clock;
    ORVCriticalSection _lock;
    Target _target VELM_GUARDED_BY(_lock){};
    ORVLog::Format _format VELM_GUARDED_BY(_lock) = ORVLog::Format::text;
    std::unique_ptr<spdlog::logger> _logger VELM_GUARDED_BY(_lock);
    LogRepeats _repeats VELM_GUARDED_BY(_lock);
};

}  // namespace velm

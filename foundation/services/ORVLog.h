#pragma once

#include "foundation/Export.h"
#include "foundation/services/OrvoTraceLog.h"
#include "foundation/utilities/ORVString.h"

/// One line of the server log, as it was given to ORVLog::log or CIMUtil::Log.
struct ORVLogRecord {
    /// The component or operation that speaks.
    ORVString component;
    ORVString message;
    OrvoTraceLog::Severity severity;
    /// VerbosityNormal for trace lines, which have none of their own.
    OrvoTraceLog::Verbosity verbosity;
    unsigned int number;
    unsigned int category;
    /// Whether the line came through CIMUtil::Log.
    bool isTrace;
};

/// Receives every line whose severity is on, before repeats are collapsed. Called on the thread that logs.
class VELM_EXPORT IORVLogObserver {
public:
    virtual ~IORVLogObserver();
    virtual void onLog(const ORVLogRecord& record) noexcept = 0;
};

/// The server log. Every operation may be called on any thread, also while the process ends; none throws.
///
/// Lines go to standard error until open() names a file. Repeats of one line from one component within 30
/// seconds are collapsed into a count, so that one odd listener cannot flood the log. The count is written
/// before the first line after that time, at flush(), and when the process exits. Control characters are
/// written escaped, and messages above 8 KiB are cut, so that no text from outside can forge or flood lines.
///
/// In Format::text a line is time with offset from UTC, severity, thread, component and message. In
/// Format::json it is an object with members time, severity, component, thread, number where there is one,
/// message, and repeats in a line that says how often an earlier one came again; message is escaped as in
/// text, so that what matches one form matches the other.
class VELM_EXPORT ORVLog {
public:
    /// Categories, one bit each.
    static constexpr unsigned int CIMOMLOG = 0x1;

    enum class Format { text, json };

    /// Writes one line. `location` names the operation, `number` is 0 where there is none to tell.
    static void log(const ORVString& location, const ORVString& message, OrvoTraceLog::Severity severity,
                    OrvoTraceLog::Verbosity verbosity, unsigned int number, unsigned int category);

    /// Writes to `path` from now on, rotating at `maxBytes` with `maxFiles` kept; an empty path means
    /// standard error. Answers false, and stays where it was, when the file cannot be opened or `maxBytes` is
    /// 0.
    static bool open(const ORVString& path, unsigned long maxBytes = 10'000'000, unsigned int maxFiles = 5);

    /// Closes the present file and opens it anew under its name, for whoever moved it away; a line is in one
    /// of the two. Answers false, and goes on in the file as it is, when that cannot be opened; true on
    /// standard error.
    static bool reopen();

    /// How lines look from the next one on. Starts as text.
    static void setFormat(Format format);

    /// Lines of a higher number are dropped; 0 shows none. Starts at 4 for the log and at 3 for traces; the
    /// configuration's "Log"/"Severity" and "Log"/"TraceSeverity" are applied by VELMConfigManager::load.
    static void setThreshold(OrvoTraceLog::Severity severity) noexcept;
    static void setTraceThreshold(OrvoTraceLog::Severity severity) noexcept;
    static bool isTraceOn(OrvoTraceLog::Severity severity, unsigned int category) noexcept;

    /// Registers the one observer, or none with null. Returns after the last call into the former observer
    /// has ended. What an observer logs itself is not reported to it. Requires: not called from inside
    /// onLog().
    static void setObserver(IORVLogObserver* observer);

    /// Writes out what is buffered, counts of collapsed repeats included.
    static void flush();

    /// The way in for CIMUtil::Log.
    static void trace(const ORVString& component, const ORVString& message, OrvoTraceLog::Severity severity,
                      unsigned int category);
};

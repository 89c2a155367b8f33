#include "server/services/LogWriter.h"

#include "server/services/LogText.h"

#include <utility>
#include <vector>

#include <spdlog/logger.h>
#include <spdlog/sinks/rotating_file_sink.h>
#include <spdlog/sinks/stdout_sinks.h>

namespace velm {

namespace {

std::unique_ptr<spdlog::logger> makeLogger(spdlog::sink_ptr sink) {
    auto logger = std::make_unique<spdlog::logger>("velm", std::move(sink));
    logger->set_pattern("%Y-%m-%dT%H:%M:%S.%e%z [%l] [%t] %v");
    logger->set_level(spdlog::level::trace);
    logger->flush_on(spdlog::level::trace);
    return logger;
}

spdlog::level::level_enum levelOf(OrvoTraceLog::Severity severity) noexcept {
    if (severity <= OrvoTraceLog::SeverityError) {
        return spdlog::level::err;
    }
    if (severity == OrvoTraceLog::SeverityWarning) {
        return spdlog::level::warn;
    }
    return severity == OrvoTraceLog::SeverityInformation ? spdlog::level::info : spdlog::level::debug;
}

ORVString cut(const ORVString& message) {
    const std::string_view head = message.view().substr(0, LogWriter::maxMessageBytes);
    const std::size_t rest = message.length() - head.size();
    return rest == 0 ? message
                     : ORVString(std::string(head) + " ... (" + std::to_string(rest) + " more bytes)");
}

}  // namespace

LogWriter::LogWriter(Clock clock)
    : _clock(clock), _logger(makeLogger(std::make_shared<spdlog::sinks::stderr_sink_st>())) {
}

LogWriter::~LogWriter() = default;

bool LogWriter::open(const ORVString& path, std::size_t maxBytes, std::size_t maxFiles) {
    spdlog::sink_ptr sink;
    if (path.length() == 0) {
        sink = std::make_shared<spdlog::sinks::stderr_sink_st>();
    } else {
        try {
            sink = std::make_shared<spdlog::sinks::rotating_file_sink_st>(path.data(), maxBytes, maxFiles);
        } catch (const spdlog::spdlog_ex&) {
            return false;
        }
    }
    auto logger = makeLogger(std::move(sink));
    const ORVCriticalSectionGuard guard(_lock, true);
    _writeCounts();
    _repeats.clear();
    _logger.swap(logger);
    return true;
}

void LogWriter::write(const ORVString& component, const ORVString& message, OrvoTraceLog::Severity severity) {
    const ORVString text = cut(message);
    std::vector<LogRepeats::Repeat> ended;
    const ORVCriticalSectionGuard guard(_lock, true);
    const bool isNews = _repeats.admit(component, text, severity, _clock(), ended);
    for (const LogRepeats::Repeat& repeat : ended) {
        _writeCount(repeat);
    }
    if (isNews) {
        _writeLine(component, text, severity, {});
    }
}

void LogWriter::flush() {
    const ORVCriticalSectionGuard guard(_lock, true);
    _writeCounts();
    _logger->flush();
}

void LogWriter::_writeCounts() {
    for (const LogRepeats::Repeat& repeat : _repeats.takeCounts()) {
        _writeCount(repeat);
    }
}

void LogWriter::_writeLine(const ORVString& component, const ORVString& message,
                           OrvoTraceLog::Severity severity, const std::string& suffix) {
    std::string line;
    line.reserve(component.length() + message.length() + suffix.size() + 2);
    appendLogText(line, component.view());
    line += ": ";
    appendLogText(line, message.view());
    line += suffix;
    _logger->log(levelOf(severity), spdlog::string_view_t(line));
}

void LogWriter::_writeCount(const LogRepeats::Repeat& repeat) {
    const char* times = repeat.count == 1 ? " more time)" : " more times)";
    _writeLine(repeat.component, repeat.message, repeat.severity,
               " (" + std::to_string(repeat.count) + times);
}

}  // namespace velm

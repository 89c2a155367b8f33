#include "server/services/LogWriter.h"

#include <string>
#include <utility>
#include <vector>

#include <spdlog/logger.h>
#include <spdlog/sinks/rotating_file_sink.h>
#include <spdlog/sinks/stdout_sinks.h>

namespace velm {

namespace {

std::unique_ptr<spdlog::logger> makeLogger(spdlog::sink_ptr sink) {
    auto logger = std::make_unique<spdlog::logger>("velm", std::move(sink));
    logger->set_pattern("%v");
    logger->flush_on(spdlog::level::info);
    return logger;
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
    const ORVCriticalSectionGuard guard(_lock, true);
    return _open({path, maxBytes, maxFiles});
}

bool LogWriter::reopen() {
    const ORVCriticalSectionGuard guard(_lock, true);
    return _target.path.length() == 0 || _open(_target);
}

bool LogWriter::_open(const Target& target) {
    spdlog::sink_ptr sink;
    if (target.path.length() == 0) {
        sink = std::make_shared<spdlog::sinks::stderr_sink_st>();
    } else {
        try {
            sink = std::make_shared<spdlog::sinks::rotating_file_sink_st>(target.path.data(), target.maxBytes,
                                                                          target.maxFiles);
        } catch (const spdlog::spdlog_ex&) {
            return false;
        }
    }
    auto logger = makeLogger(std::move(sink));
    _writeCounts();
    _repeats.clear();
    _logger.swap(logger);
    _target = target;
    return true;
}

void LogWriter::setFormat(ORVLog::Format format) {
    const ORVCriticalSectionGuard guard(_lock, true);
    _format = format;
}

void LogWriter::write(const LogLine& line) {
    const LogLine kept{line.component, cut(line.message), line.severity, line.number};
    std::vector<LogRepeats::Repeat> ended;
    const ORVCriticalSectionGuard guard(_lock, true);
    const bool isNews = _repeats.admit(kept, _clock(), ended);
    for (const LogRepeats::Repeat& repeat : ended) {
        _writeLine(repeat.line, repeat.count);
    }
    if (isNews) {
        _writeLine(kept, 0);
    }
}

void LogWriter::flush() {
    const ORVCriticalSectionGuard guard(_lock, true);
    _writeCounts();
    _logger->flush();
}

void LogWriter::_writeCounts() {
    for (const LogRepeats::Repeat& repeat : _repeats.takeCounts()) {
        _writeLine(repeat.line, repeat.count);
    }
}

void LogWriter::_writeLine(const LogLine& line, unsigned long repeats) {
    const std::string text = formatted(line, repeats, _format);
    _logger->log(spdlog::level::info, spdlog::string_view_t(text));
}

}  // namespace velm

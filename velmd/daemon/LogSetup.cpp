#include "velmd/daemon/LogSetup.h"

#include "Indications/IndicationNotifier.h"
#include "foundation/services/ORVLog.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <fcntl.h>
#include <stdexcept>
#include <system_error>
#include <unistd.h>

#include <fmt/format.h>

namespace velm {

namespace {

void logLine(OrvoTraceLog::Severity severity, const std::string& text) {
    ORVLog::log("velmd", ORVString(text), severity, OrvoTraceLog::VerbosityNormal, 0, ORVLog::CIMOMLOG);
}

/// Asks the system, since the log does not tell.
std::string whyNotOpened(const std::string& file) {
    const int descriptor = ::open(file.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0644);
    if (descriptor < 0) {
        return std::generic_category().message(errno);
    }
    ::close(descriptor);
    return "unknown reason";
}

void open(const Settings& settings) {
    const std::string file = settings.text("Log", "File");
    if (!ORVLog::open(ORVString(file), static_cast<unsigned long>(settings.number("Log", "MaxBytes")),
                      static_cast<unsigned int>(settings.number("Log", "MaxFiles")))) {
        throw std::runtime_error(
            fmt::format("the log file {} cannot be opened: {}", file, whyNotOpened(file)));
    }
}

void apply(const Settings& settings) {
    settings.applyToLibrary();
    ORVLog::setFormat(settings.text("Log", "Format") == "json" ? ORVLog::Format::json : ORVLog::Format::text);
    CIndicationNotifier::logIndications(settings.flag("Log", "RecordIndications"));
}

}  // namespace

void setUpLog(const Settings& settings) {
    open(settings);
    apply(settings);
}

void changeLog(const Settings& present, const Settings& wanted) {
    constexpr std::array keys{"File", "MaxBytes", "MaxFiles"};
    if (std::ranges::any_of(
            keys, [&](const char* key) { return present.text("Log", key) != wanted.text("Log", key); })) {
        open(wanted);
    }
    apply(wanted);
}

void logInformation(const std::string& text) {
    logLine(OrvoTraceLog::SeverityInformation, text);
}

void logWarning(const std::string& text) {
    logLine(OrvoTraceLog::SeverityWarning, text);
}

void logError(const std::string& text) {
    logLine(OrvoTraceLog::SeverityError, text);
}

}  // namespace velm

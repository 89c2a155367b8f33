#include "velmd/http/ServerLog.h"

#include "foundation/services/ORVLog.h"
#include "foundation/utilities/OrvoBaseException.h"

#include <exception>

#include <fmt/format.h>

namespace velm {

namespace {

void log(std::string_view text, OrvoTraceLog::Severity severity) {
    ORVLog::log("HTTPServer", text, severity, OrvoTraceLog::VerbosityNormal, 0, ORVLog::CIMOMLOG);
}

}  // namespace

void logRefused(std::string_view peer, unsigned int status, std::string_view reason) {
    log(fmt::format("A client at {} was answered with {}: {}", peer, status, reason),
        OrvoTraceLog::SeverityDetail);
}

void logReset(std::string_view peer, std::string_view reason) {
    log(fmt::format("The connection of a client at {} was reset: {}", peer, reason),
        OrvoTraceLog::SeverityDetail);
}

void logServerFailure(std::string_view action, std::string_view cause) {
    log(fmt::format("{}: {}", action, cause), OrvoTraceLog::SeverityError);
}

bool runServerTask(std::string_view action, const std::function<void()>& task) {
    try {
        task();
        return true;
    } catch (const OrvoBaseException& failure) {
        logServerFailure(action, failure.getMessage().view());
    } catch (const std::exception& failure) {
        logServerFailure(action, failure.what());
    } catch (...) {
        logServerFailure(action, "unknown exception");
    }
    return false;
}

}  // namespace velm

#pragma once

#include "foundation/services/ORVLog.h"
#include "foundation/services/OrvoTraceLog.h"
#include "foundation/utilities/ORVString.h"

#include <string>

namespace velm {

/// What one line of the server log says.
struct LogLine {
    ORVString component;
    ORVString message;
    OrvoTraceLog::Severity severity;
    /// 0: there is none to tell.
    unsigned int number = 0;
};

/// The line in this format, as ORVLog describes them, without a line end: written by this thread, now. A line
/// of text ends with its number and with its count of repeats, in brackets, where these are not 0.
std::string formatted(const LogLine& line, unsigned long repeats, ORVLog::Format format);

}  // namespace velm

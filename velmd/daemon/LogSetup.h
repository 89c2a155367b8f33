#pragma once

#include "velmd/settings/Settings.h"

#include <string>

/// The log of the daemon as its settings want it. Used by one thread. Failure: std::runtime_error that names
/// the log file and why it cannot be opened; the log then stays as it was.
namespace velm {

/// Opens it.
void setUpLog(const Settings& settings);

/// Opens it anew where `wanted` has it elsewhere or with other bounds, and puts the other live settings of
/// the log into effect.
void changeLog(const Settings& present, const Settings& wanted);

/// Lines of the daemon itself.
void logInformation(const std::string& text);
void logWarning(const std::string& text);
void logError(const std::string& text);

}  // namespace velm

#pragma once

#include "velmd/settings/CommandLine.h"

namespace velm {

/// Does what the command line asks for and returns the exit code of the process: 0 for success, a stop that
/// left something undone included; 1 when the server could not start or an import failed; 2 for a
/// configuration or command line that is not allowed. A process that had to end before it was done (see
/// LastResort) has the exit code 1 too. What went wrong is on standard error, and in the log too where that
/// is a file.
///
/// Requires: called by main() while there is no other thread.
int runDaemon(const CommandLine& commandLine);

}  // namespace velm

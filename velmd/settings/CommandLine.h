#pragma once

#include "velmd/settings/Settings.h"

#include <filesystem>
#include <string>
#include <vector>

namespace velm {

/// The namespace that a server starts with.
inline constexpr const char* defaultNamespace = "root/kob/talmora";

/// What the daemon was started to do.
struct CommandLine {
    enum class Action { serve, checkConfiguration, printDefaults, import, leave };

    Action action = Action::serve;
    /// For Action::leave: 0 after --help or --version, 2 after a mistake; the text has been printed.
    int exitCode = 0;

    /// Of --config, or else of the environment (VELM_CONFIG). Empty: none was named.
    std::filesystem::path configuration;
    Settings::Overrides overrides;

    /// For Action::import.
    std::vector<std::filesystem::path> imports;
    std::string nameSpace = defaultNamespace;

    /// Reads the arguments of main(). Never throws; prints help and mistakes itself.
    static CommandLine read(int argc, const char* const* argv);
};

}  // namespace velm

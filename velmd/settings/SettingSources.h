#pragma once

#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace velm {

/// One value that the operator gave, as it was written and still to be checked against the table of settings;
/// or a place that holds none, and why.
struct GivenSetting {
    /// For messages: "velmd.conf, line 3", "environment variable VELM_SERVER_PORT", "command line".
    std::string origin;
    std::string section;
    std::string key;
    std::string value;
    /// Not empty: what is wrong there. The three above are empty then.
    std::string mistake;
};

/// An INI file. An unknown section is one mistake, and the keys in it are left out.
std::vector<GivenSetting> settingsInFile(const std::filesystem::path& path);

/// The variables whose names begin with VELM_ and a section's name.
std::vector<GivenSetting> settingsInEnvironment(const std::map<std::string, std::string>& environment);

/// "Section.Key" to value.
std::vector<GivenSetting> settingsOnCommandLine(const std::map<std::string, std::string>& overrides);

/// The sections, in the order of the table of settings.
std::vector<std::string> sectionNames();

/// The section as the table spells it; nothing when it has no such section. Letter case is ignored.
std::optional<std::string> sectionNamed(const std::string& name);

/// "unknown; did you mean Port?", or "unknown; known are Port, Workers".
std::string unknownWord(const std::string& word, const std::vector<std::string>& known);

}  // namespace velm

#pragma once

#include "velmd/settings/SettingRule.h"

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <map>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace velm {

/// Keys or values that the configuration does not allow. The text has one line for each: the place (file and
/// line, environment variable or command line), the key, and what is allowed.
class SettingError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// The configuration of the daemon: command line before environment before file before default. A value, and
/// immutable but for assignment: const operations may be called on any thread.
///
/// Environment variables are called VELM_<SECTION>_<KEY> in capitals. Section and key names ignore letter
/// case. In section Providers every key but Directory names a provider, in lower case, and gives it its
/// argument.
class Settings {
public:
    /// "section.key" to value, as the command line gave them.
    using Overrides = std::map<std::string, std::string>;
    using Environment = std::map<std::string, std::string>;

    /// `file` may be empty: none is read then. A file that does not exist throws, as does everything that is
    /// unknown or not allowed: SettingError with one line for each finding. Environment variables of other
    /// names than those above are nothing to it.
    Settings(const std::filesystem::path& file, const Environment& environment, const Overrides& overrides);

    /// Requires for all: the table has the key, with this kind. Texts whose default depends on the machine
    /// are filled in, all but Server.HostName: Providers.Directory, and Log.LogDir with the state directory.
    std::string text(std::string_view section, std::string_view key) const;
    std::int64_t number(std::string_view section, std::string_view key) const;
    bool flag(std::string_view section, std::string_view key) const;
    /// The parts between commas, without blanks around them.
    std::vector<std::string> list(std::string_view section, std::string_view key) const;
    std::chrono::milliseconds seconds(std::string_view section, std::string_view key) const;

    /// What section Providers says to this provider; empty when it says nothing.
    std::string providerArgument(std::string_view provider) const;

    /// The providers that section Providers has arguments for, so that a host can tell which of them do not
    /// exist.
    std::vector<std::string> providersNamed() const;

    /// Hands the library's own sections (VELM, Log) to VELMConfigManager, all but VELM.MaxSubscribers, which
    /// is the daemon's to keep, and sets the log's thresholds.
    void applyToLibrary() const;

    /// The keys whose values differ in `other`, as "Section.Key", live ones and those that need a restart.
    struct Difference {
        std::vector<std::string> live;
        std::vector<std::string> needRestart;
    };
    Difference differenceTo(const Settings& other) const;

    /// These settings with the live ones of `newer`: what is in effect after it was read on SIGHUP.
    Settings withLiveOnesOf(const Settings& newer) const;

    /// Every key with its value and where it came from, one line each, under the names of their sections.
    std::string describe() const;

    /// The file that ships: every key with its meaning, what is allowed and its default, commented out.
    static std::string documentedDefaults();

private:
    struct Value {
        /// "Section.Key", as the table spells it.
        std::string name;
        std::string text;
        bool isLive = false;
        /// "default", "velmd.conf, line 3", "environment variable VELM_SERVER_PORT", "command line".
        std::string origin;
    };

    class Reader;

    const std::string& _textOf(std::string_view section, std::string_view key) const;
    void _fillIn(std::string_view section, std::string_view key, const std::string& text);

    /// By folded "section.key"; every key of the table has one.
    std::map<std::string, Value> _values;
};

}  // namespace velm

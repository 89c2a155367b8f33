#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace velm {

/// One key of the configuration. The table of them is what the file, the environment and the command line are
/// checked against, and what the shipped file is written from.
struct SettingRule {
    /// host is what may stand for a machine in an object path; addresses are literals of the loopback
    /// interface, parted by commas.
    enum class Kind { text, host, number, flag, choice, addresses };

    const char* section;
    const char* key;
    Kind kind;
    /// As the file would say it.
    const char* fallback;
    /// Bounds of a number, or of the length of a text or host, both allowed.
    std::int64_t minimum;
    std::int64_t maximum;
    /// Of a choice, parted by blanks.
    const char* choices;
    /// Takes effect on SIGHUP; all others at the next start.
    bool isLive;
    /// What it means, with its unit, for the shipped file.
    const char* meaning;
};

/// Rules of one section stand together.
std::span<const SettingRule> settingRules();

/// Null where there is none. Letter case is ignored.
const SettingRule* findRule(std::string_view section, std::string_view key);

/// What the rule allows, in words: "a number from 0 to 65535".
std::string allowedBy(const SettingRule& rule);

/// `text` in the one spelling that equal values share, or nothing when the rule does not allow it.
std::optional<std::string> normalized(const SettingRule& rule, std::string_view text);

/// Whether the text has no control characters, as every value must.
bool isPlainText(std::string_view text);

}  // namespace velm

#include "velmd/settings/Settings.h"

#include "foundation/services/ORVLog.h"
#include "foundation/services/VELMConfigManager.h"
#include "velmd/settings/SettingSources.h"
#include "velmd/settings/Words.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#ifndef VELM_PROVIDER_DIRECTORY
#define VELM_PROVIDER_DIRECTORY "/usr/lib/velm/providers"
#endif

namespace velm {

namespace {

constexpr const char* providers = "Providers";
constexpr const char* defaultOrigin = "default";

std::string idOf(std::string_view section, std::string_view key) {
    return folded(section) + "." + folded(key);
}

std::string nameOf(std::string_view section, std::string_view key) {
    return fmt::format("{}.{}", section, key);
}

std::vector<std::string> keysOf(std::string_view section) {
    std::vector<std::string> keys;
    for (const SettingRule& rule : settingRules()) {
        if (rule.section == section) {
            keys.emplace_back(rule.key);
        }
    }
    return keys;
}

/// The daemon keeps this bound itself, where it can answer with a status.
bool isOfTheDaemon(const SettingRule& rule) {
    return std::string_view(rule.section) == "VELM" && std::string_view(rule.key) == "MaxSubscribers";
}

bool isProviderName(std::string_view name) {
    return !name.empty() &&
           name.find_first_not_of("abcdefghijklmnopqrstuvwxyz0123456789_") == std::string_view::npos;
}

}  // namespace

/// Checks what the sources give against the table and puts the later over the earlier.
class Settings::Reader {
public:
    explicit Reader(std::map<std::string, Value>& values) : _values(values) {
        for (const SettingRule& rule : settingRules()) {
            _values[idOf(rule.section, rule.key)] = {nameOf(rule.section, rule.key), rule.fallback,
                                                     rule.isLive, defaultOrigin};
        }
    }

    void take(const std::vector<GivenSetting>& given) {
        for (const GivenSetting& setting : given) {
            _take(setting);
        }
    }

    void throwFindings() const {
        if (!_findings.empty()) {
            throw SettingError(fmt::format("{}", fmt::join(_findings, "\n")));
        }
    }

private:
    void _take(const GivenSetting& given) {
        if (!given.mistake.empty()) {
            _find(given, given.mistake);
            return;
        }
        const auto section = sectionNamed(given.section);
        if (!section) {
            _find(given, fmt::format("section {} is {}", quotation(given.section),
                                     unknownWord(given.section, sectionNames())));
        } else if (const SettingRule* rule = findRule(given.section, given.key)) {
            _takeByRule(given, *rule);
        } else if (*section == providers) {
            _takeArgument(given);
        } else {
            _find(given, fmt::format("key {} of section {} is {}", quotation(given.key), *section,
                                     unknownWord(given.key, keysOf(*section))));
        }
    }

    void _takeByRule(const GivenSetting& given, const SettingRule& rule) {
        if (const auto value = normalized(rule, given.value)) {
            _values[idOf(rule.section, rule.key)] = {nameOf(rule.section, rule.key), *value, rule.isLive,
                                                     given.origin};
        } else {
            _refuse(given, nameOf(rule.section, rule.key), allowedBy(rule));
        }
    }

    void _takeArgument(const GivenSetting& given) {
        const std::string name = nameOf(providers, given.key);
        if (!isProviderName(given.key)) {
            _find(given,
                  fmt::format("key {} of section Providers is neither Directory nor the name of a provider "
                              "in lower case letters, digits and underscores",
                              quotation(given.key)));
        } else if (!isPlainText(given.value)) {
            _refuse(given, name, "text without control characters");
        } else {
            _values[idOf(providers, given.key)] = {name, given.value, false, given.origin};
        }
    }

    void _refuse(const GivenSetting& given, const std::string& name, const std::string& allowed) {
        _find(given, fmt::format("{} cannot be {}; allowed: {}", name, quotation(given.value), allowed));
    }

    void _find(const GivenSetting& given, const std::string& mistake) {
        _findings.push_back(given.origin + ": " + mistake);
    }

    std::map<std::string, Value>& _values;
    std::vector<std::string> _findings;
};

Settings::Settings(const std::filesystem::path& file, const Environment& environment,
                   const Overrides& overrides) {
    Reader reader(_values);
    if (!file.empty()) {
        reader.take(settingsInFile(file));
    }
    reader.take(settingsInEnvironment(environment));
    reader.take(settingsOnCommandLine(overrides));
    reader.throwFindings();
    _fillIn(providers, "Directory", VELM_PROVIDER_DIRECTORY);
    _fillIn("Log", "LogDir", text("Server", "StateDirectory"));
}

void Settings::_fillIn(std::string_view section, std::string_view key, const std::string& text) {
    Value& value = _values.at(idOf(section, key));
    if (value.text.empty()) {
        value.text = text;
    }
}

const std::string& Settings::_textOf(std::string_view section, std::string_view key) const {
    return _values.at(idOf(section, key)).text;
}

std::string Settings::text(std::string_view section, std::string_view key) const {
    return _textOf(section, key);
}

std::int64_t Settings::number(std::string_view section, std::string_view key) const {
    return std::stoll(_textOf(section, key));
}

bool Settings::flag(std::string_view section, std::string_view key) const {
    return _textOf(section, key) == "TRUE";
}

std::vector<std::string> Settings::list(std::string_view section, std::string_view key) const {
    return split(_textOf(section, key), ',');
}

std::chrono::milliseconds Settings::seconds(std::string_view section, std::string_view key) const {
    return std::chrono::seconds(number(section, key));
}

std::string Settings::providerArgument(std::string_view provider) const {
    const auto found = _values.find(idOf(providers, provider));
    return found == _values.end() || findRule(providers, provider) ? std::string() : found->second.text;
}

std::vector<std::string> Settings::providersNamed() const {
    std::vector<std::string> names;
    for (const auto& [id, value] : _values) {
        const auto parts = split(value.name, '.');
        if (parts[0] == providers && !findRule(providers, parts[1])) {
            names.push_back(parts[1]);
        }
    }
    return names;
}

void Settings::applyToLibrary() const {
    for (const SettingRule& rule : settingRules()) {
        const std::string_view section = rule.section;
        if ((section == "VELM" || section == "Log") && !isOfTheDaemon(rule)) {
            VELMConfigManager::getInstance()->setString(rule.section, rule.key,
                                                        ORVString(_textOf(section, rule.key)));
        }
    }
    ORVLog::setThreshold(static_cast<OrvoTraceLog::Severity>(number("Log", "Severity")));
    ORVLog::setTraceThreshold(static_cast<OrvoTraceLog::Severity>(number("Log", "TraceSeverity")));
}

Settings::Difference Settings::differenceTo(const Settings& other) const {
    Difference difference;
    auto both = _values;
    both.insert(other._values.begin(), other._values.end());
    for (const auto& [id, value] : both) {
        const auto mine = _values.find(id);
        const auto theirs = other._values.find(id);
        if (mine == _values.end() || theirs == other._values.end() ||
            mine->second.text != theirs->second.text) {
            (value.isLive ? difference.live : difference.needRestart).push_back(value.name);
        }
    }
    return difference;
}

Settings Settings::withLiveOnesOf(const Settings& newer) const {
    Settings result = *this;
    for (auto& [id, value] : result._values) {
        if (value.isLive) {
            value = newer._values.at(id);
        }
    }
    return result;
}

}  // namespace velm

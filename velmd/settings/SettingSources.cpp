#include "velmd/settings/SettingSources.h"

#include "velmd/settings/SettingRule.h"
#include "velmd/settings/Words.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

namespace velm {

std::vector<std::string> sectionNames() {
    std::vector<std::string> names;
    for (const SettingRule& rule : settingRules()) {
        if (names.empty() || names.back() != rule.section) {
            names.emplace_back(rule.section);
        }
    }
    return names;
}

std::optional<std::string> sectionNamed(const std::string& name) {
    for (const std::string& section : sectionNames()) {
        if (folded(section) == folded(name)) {
            return section;
        }
    }
    return std::nullopt;
}

std::string unknownWord(const std::string& word, const std::vector<std::string>& known) {
    const std::string meant = nearest(word, known);
    return meant.empty() ? fmt::format("unknown; known are {}", fmt::join(known, ", "))
                         : fmt::format("unknown; did you mean {}?", meant);
}

std::vector<GivenSetting> settingsInEnvironment(const std::map<std::string, std::string>& environment) {
    std::vector<GivenSetting> given;
    for (const std::string& section : sectionNames()) {
        const std::string prefix = "VELM_" + capitals(section) + "_";
        for (auto found = environment.lower_bound(prefix);
             found != environment.end() && found->first.starts_with(prefix); ++found) {
            const auto& [name, value] = *found;
            given.push_back({"environment variable " + name, section, folded(name.substr(prefix.size())),
                             std::string(trimmed(value)), ""});
        }
    }
    return given;
}

std::vector<GivenSetting> settingsOnCommandLine(const std::map<std::string, std::string>& overrides) {
    const std::string origin = "command line";
    std::vector<GivenSetting> given;
    std::map<std::string, std::string> names;
    for (const auto& [name, value] : overrides) {
        const auto dot = name.find('.');
        if (dot == std::string::npos) {
            given.push_back({origin, "", "", "",
                             quotation(name) + " does not name a section and a key, as in Server.Port"});
        } else if (const auto [other, isFirst] = names.emplace(folded(name), name); !isFirst) {
            given.push_back(
                {origin, "", "", "",
                 fmt::format("{} and {} are the same", quotation(other->second), quotation(name))});
        } else {
            given.push_back(
                {origin, name.substr(0, dot), name.substr(dot + 1), std::string(trimmed(value)), ""});
        }
    }
    return given;
}

}  // namespace velm

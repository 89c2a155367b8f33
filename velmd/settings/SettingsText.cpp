#include "velmd/settings/Settings.h"
#include "velmd/settings/Words.h"

#include <array>

#include <fmt/format.h>

namespace velm {

namespace {

constexpr std::size_t lineWidth = 80;

constexpr const char* introduction =
    "# Configuration of velmd. Every key stands here with its default, as a comment.\n"
    "#\n"
    "# Stronger than this file is the environment (VELM_SERVER_PORT=5988), and stronger\n"
    "# still the command line (--set Server.Port=5988). A comment has a line of its own.\n"
    "#\n"
    "# Keys marked as live take effect when a running daemon receives SIGHUP, the others\n"
    "# at its next start. \"velmd --config FILE --check-config\" tells whether all is well.\n";

struct SectionText {
    std::string_view section;
    const char* meaning;
};

constexpr std::array sectionTexts{
    SectionText{"Server", "The daemon itself."},
    SectionText{"Limits", "What one client may cost."},
    SectionText{"Providers",
                "Loadable providers. A key with a provider's name gives it its argument, as in "
                "file_watch = /srv/incoming:/srv/outgoing"},
    SectionText{"VELM", "Subscriptions and the delivery of indications."},
    SectionText{"Log", "The log of the server, and the record of indications."},
};

std::string commented(std::string_view text) {
    return wrapped(text, "# ", lineWidth);
}

std::string sectionHead(std::string_view section) {
    std::string text = fmt::format("\n[{}]\n", section);
    for (const SectionText& known : sectionTexts) {
        if (known.section == section) {
            text += commented(known.meaning);
        }
    }
    return text;
}

std::string documented(const SettingRule& rule) {
    return "\n" + commented(rule.meaning) +
           commented(fmt::format("Allowed: {}{}.", allowedBy(rule), rule.isLive ? "; live" : "")) +
           std::string(trimmed(fmt::format("#{} = {}", rule.key, rule.fallback))) + "\n";
}

}  // namespace

std::string Settings::documentedDefaults() {
    std::string text = introduction;
    std::string_view section;
    for (const SettingRule& rule : settingRules()) {
        if (section != rule.section) {
            section = rule.section;
            text += sectionHead(section);
        }
        text += documented(rule);
    }
    return text;
}

std::string Settings::describe() const {
    std::string text;
    std::string_view section;
    const auto add = [&text](std::string_view key, const Value& value) {
        text += fmt::format("  {:<22} = {:<22} ({})\n", key, value.text, value.origin);
    };
    const auto addArguments = [&] {
        for (const std::string& provider : providersNamed()) {
            add(provider, _values.at("providers." + provider));
        }
    };
    for (const SettingRule& rule : settingRules()) {
        if (section != rule.section) {
            section = rule.section;
            text += fmt::format("{}[{}]\n", text.empty() ? "" : "\n", section);
            if (section == "Providers") {
                addArguments();
            }
        }
        add(rule.key, _values.at(folded(rule.section) + "." + folded(rule.key)));
    }
    return text;
}

}  // namespace velm

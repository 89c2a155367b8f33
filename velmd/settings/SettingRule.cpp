#include "velmd/settings/SettingRule.h"

#include "velmd/settings/Words.h"

#include <algorithm>
#include <arpa/inet.h>
#include <array>
#include <charconv>
#include <netinet/in.h>
#include <system_error>
#include <vector>

#include <fmt/format.h>
#include <fmt/ranges.h>

namespace velm {

namespace {

using Kind = SettingRule::Kind;

constexpr bool isBetween(char character, char first, char last) {
    return character >= first && character <= last;
}

bool isControl(char character) {
    return isBetween(character, '\0', '\x1F') || character == '\x7F';
}

bool standsInHostName(char character) {
    const char folded = foldedLetter(character);
    return isBetween(folded, 'a', 'z') || isBetween(folded, '0', '9') ||
           std::string_view("-._").find(folded) != std::string_view::npos;
}

bool hasAllowedLength(const SettingRule& rule, std::string_view text) {
    const auto length = static_cast<std::int64_t>(text.size());
    return length >= rule.minimum && length <= rule.maximum;
}

std::optional<std::string> normalizedText(const SettingRule& rule, std::string_view text) {
    return hasAllowedLength(rule, text) && isPlainText(text) ? std::optional(std::string(text))
                                                             : std::nullopt;
}

std::optional<std::string> normalizedHost(const SettingRule& rule, std::string_view text) {
    const bool isAllowed =
        hasAllowedLength(rule, text) && std::all_of(text.begin(), text.end(), standsInHostName);
    return isAllowed ? std::optional(std::string(text)) : std::nullopt;
}

std::optional<std::string> normalizedNumber(const SettingRule& rule, std::string_view text) {
    std::int64_t number = 0;
    const char* end = text.data() + text.size();
    const auto [rest, error] = std::from_chars(text.data(), end, number);
    if (error != std::errc() || rest != end || number < rule.minimum || number > rule.maximum) {
        return std::nullopt;
    }
    return std::to_string(number);
}

std::optional<std::string> normalizedFlag(std::string_view text) {
    const std::string word = folded(text);
    const auto isAmong = [&word](const std::array<std::string_view, 4>& words) {
        return std::find(words.begin(), words.end(), word) != words.end();
    };
    if (isAmong({"true", "yes", "on", "1"})) {
        return "TRUE";
    }
    return isAmong({"false", "no", "off", "0"}) ? std::optional<std::string>("FALSE") : std::nullopt;
}

std::optional<std::string> normalizedChoice(const SettingRule& rule, std::string_view text) {
    for (const std::string& choice : split(rule.choices, ' ')) {
        if (folded(choice) == folded(text)) {
            return choice;
        }
    }
    return std::nullopt;
}

std::optional<std::string> loopbackAddress(const std::string& text) {
    in_addr four{};
    in6_addr six{};
    std::array<char, INET6_ADDRSTRLEN> written{};
    if (inet_pton(AF_INET, text.c_str(), &four) == 1 && ntohl(four.s_addr) >> 24 == IN_LOOPBACKNET) {
        return inet_ntop(AF_INET, &four, written.data(), written.size());
    }
    if (inet_pton(AF_INET6, text.c_str(), &six) == 1 && IN6_IS_ADDR_LOOPBACK(&six)) {
        return inet_ntop(AF_INET6, &six, written.data(), written.size());
    }
    return std::nullopt;
}

std::optional<std::string> normalizedAddresses(std::string_view text) {
    std::vector<std::string> addresses;
    for (const std::string& part : split(text, ',')) {
        std::optional<std::string> address = loopbackAddress(part);
        if (!address || std::find(addresses.begin(), addresses.end(), *address) != addresses.end()) {
            return std::nullopt;
        }
        addresses.push_back(std::move(*address));
    }
    return fmt::format("{}", fmt::join(addresses, ", "));
}

}  // namespace

const SettingRule* findRule(std::string_view section, std::string_view key) {
    const auto rules = settingRules();
    const auto found = std::find_if(rules.begin(), rules.end(), [&](const SettingRule& rule) {
        return folded(rule.section) == folded(section) && folded(rule.key) == folded(key);
    });
    return found == rules.end() ? nullptr : &*found;
}

std::string allowedBy(const SettingRule& rule) {
    switch (rule.kind) {
        case Kind::text:
            return fmt::format("text of {} to {} bytes, none a control character", rule.minimum,
                               rule.maximum);
        case Kind::host:
            return fmt::format("a name of {} to {} letters, digits, dots, hyphens and underscores",
                               rule.minimum, rule.maximum);
        case Kind::number:
            return fmt::format("a number from {} to {}", rule.minimum, rule.maximum);
        case Kind::flag:
            return "TRUE or FALSE (or yes, no, on, off, 1, 0)";
        case Kind::choice:
            return fmt::format("{}", fmt::join(split(rule.choices, ' '), " or "));
        case Kind::addresses:
            return "loopback addresses such as 127.0.0.1 and ::1, parted by commas, none twice";
    }
    return {};
}

std::optional<std::string> normalized(const SettingRule& rule, std::string_view text) {
    switch (rule.kind) {
        case Kind::text:
            return normalizedText(rule, text);
        case Kind::host:
            return normalizedHost(rule, text);
        case Kind::number:
            return normalizedNumber(rule, text);
        case Kind::flag:
            return normalizedFlag(text);
        case Kind::choice:
            return normalizedChoice(rule, text);
        case Kind::addresses:
            return normalizedAddresses(text);
    }
    return std::nullopt;
}

bool isPlainText(std::string_view text) {
    return std::none_of(text.begin(), text.end(), isControl);
}

}  // namespace velm

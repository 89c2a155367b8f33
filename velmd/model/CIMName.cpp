#include "velmd/model/CIMName.h"

#include "velmd/model/CIMStatus.h"

#include <algorithm>
#include <cstdint>

#include <fmt/format.h>

namespace velm {

namespace {

constexpr std::size_t maxNameLength = 256;

constexpr char lower(char letter) noexcept {
    return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter;
}

constexpr bool isDigit(char letter) noexcept {
    return letter >= '0' && letter <= '9';
}

constexpr bool isNameCharacter(char letter) noexcept {
    const char folded = lower(letter);
    return (folded >= 'a' && folded <= 'z') || isDigit(letter) || letter == '_' ||
           static_cast<unsigned char>(letter) >= 0x80;
}

constexpr bool continuesCharacter(char byte) noexcept {
    return (static_cast<unsigned char>(byte) & 0xC0U) == 0x80U;
}

}  // namespace

bool sameName(std::string_view left, std::string_view right) noexcept {
    return std::equal(left.begin(), left.end(), right.begin(), right.end(),
                      [](char one, char other) { return lower(one) == lower(other); });
}

std::string foldedName(std::string_view name) {
    std::string folded(name);
    std::transform(folded.begin(), folded.end(), folded.begin(), lower);
    return folded;
}

bool isCIMName(std::string_view name) noexcept {
    return !name.empty() && name.size() <= maxNameLength && !isDigit(name.front()) &&
           std::all_of(name.begin(), name.end(), isNameCharacter);
}

std::string_view withoutOuterSlashes(std::string_view nameSpace) noexcept {
    const auto first = nameSpace.find_first_not_of('/');
    return first == std::string_view::npos
               ? std::string_view()
               : nameSpace.substr(first, nameSpace.find_last_not_of('/') - first + 1);
}

std::string checkedNamespace(std::string_view nameSpace) {
    const std::string_view path = withoutOuterSlashes(nameSpace);
    std::string_view rest = path;
    for (;;) {
        const auto slash = rest.find('/');
        if (!isCIMName(rest.substr(0, slash))) {
            throwStatus(CIMStatus::invalidParameter,
                        fmt::format("{} is no name of a namespace", quoted(nameSpace)));
        }
        if (slash == std::string_view::npos) {
            return std::string(path);
        }
        rest.remove_prefix(slash + 1);
    }
}

std::string QuoteText::operator()(std::string_view text) const {
    if (text.size() <= most) {
        return fmt::format("'{}'", text);
    }
    std::size_t end = most;
    while (end > 0 && continuesCharacter(text[end])) {
        --end;
    }
    return fmt::format("'{}...'", text.substr(0, end));
}

/// FNV-1a over the folded bytes.
std::size_t CIMNameHash::operator()(std::string_view name) const noexcept {
    std::uint64_t hash = 14695981039346656037U;
    for (const char letter : name) {
        hash = (hash ^ static_cast<unsigned char>(lower(letter))) * 1099511628211U;
    }
    return hash;
}

}  // namespace velm

#include "providers/support/KeyText.h"

#include <boost/locale/utf.hpp>

namespace velm::providers {

namespace {

using Utf8 = boost::locale::utf::utf_traits<char>;

constexpr std::string_view hexDigits = "0123456789ABCDEF";
constexpr std::size_t escapeLength = 4;

bool isEscape(std::string_view text) {
    return text.size() >= escapeLength && text[0] == '\\' && text[1] == 'x' &&
           hexDigits.find(text[2]) != std::string_view::npos &&
           hexDigits.find(text[3]) != std::string_view::npos;
}

/// The length of the character that `text` begins with; 0 when it cannot stand in a key.
std::size_t plainLength(std::string_view text) {
    const char* position = text.data();
    const auto character = Utf8::decode(position, text.data() + text.size());
    const bool isCharacter =
        character != boost::locale::utf::illegal && character != boost::locale::utf::incomplete;
    const bool isControl = character < 0x20 || character == 0x7F;
    const bool isNoCharacterOfXML = character == 0xFFFE || character == 0xFFFF;
    if (!isCharacter || isControl || isNoCharacterOfXML || isEscape(text)) {
        return 0;
    }
    return static_cast<std::size_t>(position - text.data());
}

void appendEscape(std::string& text, char byte) {
    const auto value = static_cast<unsigned char>(byte);
    text += "\\x";
    text += hexDigits[value >> 4];
    text += hexDigits[value & 0xF];
}

}  // namespace

ORVString keyTextOf(std::string_view name) {
    std::string text;
    while (!name.empty()) {
        const std::size_t length = plainLength(name);
        if (length == 0) {
            appendEscape(text, name.front());
            name.remove_prefix(1);
        } else {
            text += name.substr(0, length);
            name.remove_prefix(length);
        }
    }
    return std::string_view(text);
}

std::optional<std::string> nameOf(const ORVString& keyText) {
    std::string name;
    for (std::string_view rest = keyText.view(); !rest.empty();) {
        if (isEscape(rest)) {
            name += static_cast<char>(hexDigits.find(rest[2]) * 16 + hexDigits.find(rest[3]));
            rest.remove_prefix(escapeLength);
        } else {
            name += rest.front();
            rest.remove_prefix(1);
        }
    }
    const bool isCanonical = !keyText.isNull() && keyTextOf(name).view() == keyText.view();
    return isCanonical ? std::optional(name) : std::nullopt;
}

}  // namespace velm::providers

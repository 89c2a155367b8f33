#include "server/xml/XMLText.h"

#include "server/xml/Utf8.h"

#include <array>
#include <cstddef>

namespace velm {

namespace {

/// What a byte below 0x80 needs. Bytes above begin, or are, characters that have to be looked at whole.
enum Kind : unsigned char { plain, always, inAttribute, forbidden, wide };

constexpr std::array<Kind, 256> kindTable() {
    std::array<Kind, 256> kinds{};
    for (std::size_t byte = 0; byte < 0x20; ++byte) {
        kinds[byte] = forbidden;
    }
    for (std::size_t byte = 0x80; byte < 0x100; ++byte) {
        kinds[byte] = wide;
    }
    kinds['\t'] = kinds['\n'] = kinds['"'] = kinds['\''] = inAttribute;
    kinds['&'] = kinds['<'] = kinds['>'] = kinds['\r'] = always;
    return kinds;
}

constexpr std::array<Kind, 256> kinds = kindTable();

constexpr std::string_view replacement = "\xEF\xBF\xBD";

std::string_view entityOf(char character) noexcept {
    switch (character) {
        case '&':
            return "amp;";
        case '<':
            return "lt;";
        case '>':
            return "gt;";
        case '"':
            return "quot;";
        case '\'':
            return "apos;";
        case '\r':
            return "#13;";
        case '\n':
            return "#10;";
        default:
            return "#9;";
    }
}

/// Appends a reference that was escaped `depth` times over.
void appendEntity(std::string& xml, char character, unsigned int depth) {
    xml += '&';
    for (unsigned int level = 0; level < depth; ++level) {
        xml += "amp;";
    }
    xml += entityOf(character);
}

bool isAllowed(const Utf8Character& character) noexcept {
    return character.isValid && character.value != 0xFFFE && character.value != 0xFFFF;
}

}  // namespace

void appendXMLText(std::string& xml, std::string_view text, XMLContext context, unsigned int depth) {
    std::size_t runStart = 0;
    std::size_t position = 0;
    while (position < text.size()) {
        const Kind kind = kinds[static_cast<unsigned char>(text[position])];
        if (kind == plain || (kind == inAttribute && context == XMLContext::element)) {
            ++position;
            continue;
        }
        std::size_t length = 1;
        if (kind == wide) {
            const Utf8Character character = utf8At(text, position);
            length = character.length;
            if (isAllowed(character)) {
                position += length;
                continue;
            }
        }
        xml.append(text, runStart, position - runStart);
        if (kind == always || kind == inAttribute) {
            appendEntity(xml, text[position], depth);
        } else {
            xml += replacement;
        }
        position += length;
        runStart = position;
    }
    xml.append(text, runStart);
}

void appendXMLTags(std::string& xml, std::string_view tags, unsigned int depth) {
    if (depth == 0) {
        xml += tags;
    } else {
        appendXMLText(xml, tags, XMLContext::element, depth - 1);
    }
}

}  // namespace velm

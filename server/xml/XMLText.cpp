#include "server/xml/XMLText.h"

#include "server/xml/PlainText.h"
#include "server/xml/TextEnd.h"
#include "server/xml/Utf8.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>

namespace velm {

namespace {

/// What a byte below 0x80 needs. Bytes above begin, or are, characters that have to be looked at whole.
enum Kind : unsigned char { literal, escaped, forbidden, wide };
using Kinds = std::array<Kind, 256>;

constexpr Kinds kindsIn(XMLContext context) {
    Kinds kinds{};
    for (std::size_t byte = 0; byte < 0x20; ++byte) {
        kinds[byte] = forbidden;
    }
    for (std::size_t byte = 0x80; byte < 0x100; ++byte) {
        kinds[byte] = wide;
    }
    kinds['\t'] = kinds['\n'] = kinds['"'] = kinds['\''] =
        context == XMLContext::attribute ? escaped : literal;
    kinds['&'] = kinds['<'] = kinds['>'] = kinds['\r'] = escaped;
    return kinds;
}

constexpr Kinds kindsInElements = kindsIn(XMLContext::element);
constexpr Kinds kindsInAttributes = kindsIn(XMLContext::attribute);

Kind kindOf(const Kinds& kinds, char character) noexcept {
    return kinds[static_cast<unsigned char>(character)];
}

template <XMLContext context>
constexpr Kinds kindsOf = context == XMLContext::element ? kindsInElements : kindsInAttributes;

/// The first character from `position` on that has to be looked at; `end` when there is none.
template <XMLContext context>
const char* skipPlain(const char* position, const char* end) noexcept {
    for (;;) {
        position += plain::plainBlocks<context>({position, static_cast<std::size_t>(end - position)});
        const char* const stop = position + std::min<std::ptrdiff_t>(plain::blockSize, end - position);
        while (position != stop && kindOf(kindsOf<context>, *position) == literal) {
            ++position;
        }
        if (position == end || position != stop) {
            return position;
        }
    }
}

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
template <class Text>
void appendEntity(Text& xml, char character, unsigned int depth) {
    xml.append(std::string_view("&"));
    for (unsigned int level = 0; level < depth; ++level) {
        xml.append(std::string_view("amp;"));
    }
    xml.append(entityOf(character));
}

bool isAllowed(const Utf8Character& character) noexcept {
    return character.isValid && character.value != 0xFFFE && character.value != 0xFFFF;
}

std::string_view between(const char* begin, const char* end) noexcept {
    return {begin, static_cast<std::size_t>(end - begin)};
}

/// appendXMLText() for a text that is not plain.
template <XMLContext context, class Text>
void appendEscaped(Text& xml, std::string_view text, unsigned int depth) {
    const char* runStart = text.data();
    const char* const end = runStart + text.size();
    const char* position = runStart;
    while ((position = skipPlain<context>(position, end)) != end) {
        const Kind kind = kindOf(kindsOf<context>, *position);
        std::size_t length = 1;
        if (kind == wide) {
            const Utf8Character character = utf8At(text, static_cast<std::size_t>(position - text.data()));
            length = character.length;
            if (isAllowed(character)) {
                position += length;
                continue;
            }
        }
        xml.append(between(runStart, position));
        if (kind == escaped) {
            appendEntity(xml, *position, depth);
        } else {
            xml.append(replacement);
        }
        position += length;
        runStart = position;
    }
    xml.append(between(runStart, end));
}

template <XMLContext context>
void append(TextEnd& xml, std::string_view text, unsigned int depth) {
    char* const start = xml.room(text.size());
    if (plain::copy<context>(text, start)) {
        xml.setEnd(start + text.size());
    } else {
        appendEscaped<context>(xml, text, depth);
    }
}

}  // namespace

void appendXMLText(std::string& xml, std::string_view text, XMLContext context, unsigned int depth) {
    context == XMLContext::element ? appendEscaped<XMLContext::element>(xml, text, depth)
                                   : appendEscaped<XMLContext::attribute>(xml, text, depth);
}

void appendXMLText(TextEnd& xml, std::string_view text, XMLContext context, unsigned int depth) {
    context == XMLContext::element ? append<XMLContext::element>(xml, text, depth)
                                   : append<XMLContext::attribute>(xml, text, depth);
}

void appendXMLTags(TextEnd& xml, std::string_view tags, unsigned int depth) {
    if (depth == 0) {
        xml.append(tags);
    } else {
        appendXMLText(xml, tags, XMLContext::element, depth - 1);
    }
}

}  // namespace velm

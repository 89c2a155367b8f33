#include "server/xml/XMLText.h"

#include "server/xml/Utf8.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace velm {

namespace {

/// What a byte below 0x80 needs. Bytes above begin, or are, characters that have to be looked at whole.
enum Kind : unsigned char { plain, escaped, forbidden, wide };
using Kinds = std::array<Kind, 256>;

constexpr Kinds kindsIn(XMLContext context) {
    Kinds kinds{};
    for (std::size_t byte = 0; byte < 0x20; ++byte) {
        kinds[byte] = forbidden;
    }
    for (std::size_t byte = 0x80; byte < 0x100; ++byte) {
        kinds[byte] = wide;
    }
    kinds['\t'] = kinds['\n'] = kinds['"'] = kinds['\''] = context == XMLContext::attribute ? escaped : plain;
    kinds['&'] = kinds['<'] = kinds['>'] = kinds['\r'] = escaped;
    return kinds;
}

constexpr Kinds kindsInElements = kindsIn(XMLContext::element);
constexpr Kinds kindsInAttributes = kindsIn(XMLContext::attribute);

Kind kindOf(const Kinds& kinds, char character) noexcept {
    return kinds[static_cast<unsigned char>(character)];
}

template <class Word>
Word wordAt(const char* text) noexcept {
    Word word;
    std::memcpy(&word, text, sizeof word);
    return word;
}

/// Whether each of the eight characters in `word` stands for itself. False also for some in attributes that
/// need no escaping.
template <XMLContext context>
bool areEightPlain(std::uint64_t word) noexcept {
    constexpr std::uint64_t each = 0x0101010101010101;
    constexpr std::uint64_t highBits = each * 0x80;
    const auto zeroBytes = [](std::uint64_t bytes) { return (bytes - each) & ~bytes; };
    const std::uint64_t controls = (word - each * 0x20) & ~word;
    const std::uint64_t angles = zeroBytes((word | each * 2) ^ (each * '>'));
    if constexpr (context == XMLContext::element) {
        const std::uint64_t ampersands = zeroBytes(word ^ (each * '&'));
        return ((word | controls | angles | ampersands) & highBits) == 0;
    } else {
        const std::uint64_t ampersandsAndQuotes = zeroBytes((word | each) ^ (each * '\''));
        const std::uint64_t doubleQuotes = zeroBytes(word ^ (each * '"'));
        return ((word | controls | angles | ampersandsAndQuotes | doubleQuotes) & highBits) == 0;
    }
}

template <XMLContext context>
constexpr Kinds kindsOf = context == XMLContext::element ? kindsInElements : kindsInAttributes;

constexpr std::size_t step = sizeof(std::uint64_t);

/// Whether `text` can be written as it is; as areEightPlain(). The last words overlap.
template <XMLContext context>
bool isPlain(std::string_view text) noexcept {
    const char* const begin = text.data();
    if (text.size() < step / 2) {
        return std::all_of(text.begin(), text.end(),
                           [](char c) { return kindOf(kindsOf<context>, c) == plain; });
    }
    if (text.size() < step) {
        const std::uint64_t last = wordAt<std::uint32_t>(begin + text.size() - step / 2);
        return areEightPlain<context>(wordAt<std::uint32_t>(begin) | last << 32);
    }
    for (std::size_t position = 0; position + step < text.size(); position += step) {
        if (!areEightPlain<context>(wordAt<std::uint64_t>(begin + position))) {
            return false;
        }
    }
    return areEightPlain<context>(wordAt<std::uint64_t>(begin + text.size() - step));
}

/// The first character from `position` on that has to be looked at; `end` when there is none.
template <XMLContext context>
const char* skipPlain(const char* position, const char* end) noexcept {
    for (;;) {
        while (end - position >= static_cast<std::ptrdiff_t>(step) &&
               areEightPlain<context>(wordAt<std::uint64_t>(position))) {
            position += step;
        }
        const char* const stop = position + std::min<std::ptrdiff_t>(step, end - position);
        while (position != stop && kindOf(kindsOf<context>, *position) == plain) {
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

/// appendXMLText() for a text that isPlain() does not pass.
template <XMLContext context>
void appendEscaped(std::string& xml, std::string_view text, unsigned int depth) {
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
        xml.append(runStart, position);
        if (kind == escaped) {
            appendEntity(xml, *position, depth);
        } else {
            xml += replacement;
        }
        position += length;
        runStart = position;
    }
    xml.append(runStart, end);
}

template <XMLContext context>
void append(std::string& xml, std::string_view text, unsigned int depth) {
    if (isPlain<context>(text)) {
        xml.append(text);
    } else {
        appendEscaped<context>(xml, text, depth);
    }
}

}  // namespace

void appendXMLText(std::string& xml, std::string_view text, XMLContext context, unsigned int depth) {
    context == XMLContext::element ? append<XMLContext::element>(xml, text, depth)
                                   : append<XMLContext::attribute>(xml, text, depth);
}

void appendXMLTags(std::string& xml, std::string_view tags, unsigned int depth) {
    if (depth == 0) {
        xml += tags;
    } else {
        appendXMLText(xml, tags, XMLContext::element, depth - 1);
    }
}

}  // namespace velm

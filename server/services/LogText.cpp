#include "server/services/LogText.h"

#include "server/xml/Utf8.h"

namespace velm {

namespace {

constexpr char hexDigits[] = "0123456789ABCDEF";

void appendHex(std::string& line, char kind, unsigned int value, int digits) {
    line += '\\';
    line += kind;
    for (int shift = 4 * (digits - 1); shift >= 0; shift -= 4) {
        line += hexDigits[(value >> shift) & 0xFu];
    }
}

bool isPlain(char32_t character) noexcept {
    const bool isControl = character < 0x20 || (character >= 0x7F && character <= 0x9F);
    const bool isSeparator = character == 0x2028 || character == 0x2029;
    const bool turnsDirection =
        (character >= 0x202A && character <= 0x202E) || (character >= 0x2066 && character <= 0x2069);
    return !isControl && !isSeparator && !turnsDirection;
}

void appendEscape(std::string& line, unsigned int character) {
    switch (character) {
        case '\n':
            line += "\\n";
            return;
        case '\r':
            line += "\\r";
            return;
        case '\t':
            line += "\\t";
            return;
        default:
            character < 0x80 ? appendHex(line, 'x', character, 2) : appendHex(line, 'u', character, 4);
    }
}

}  // namespace

void appendLogText(std::string& line, std::string_view text) {
    std::size_t runStart = 0;
    std::size_t position = 0;
    while (position < text.size()) {
        const Utf8Character character = utf8At(text, position);
        if (!character.isValid || !isPlain(character.value)) {
            line.append(text, runStart, position - runStart);
            if (character.isValid) {
                appendEscape(line, character.value);
            } else {
                appendHex(line, 'x', static_cast<unsigned char>(text[position]), 2);
            }
            runStart = position + character.length;
        }
        position += character.length;
    }
    line.append(text, runStart);
}

}  // namespace velm

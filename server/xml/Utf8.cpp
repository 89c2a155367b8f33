#include "server/xml/Utf8.h"

namespace velm {

namespace {

constexpr Utf8Character invalid{0, 1, false};

struct Lead {
    std::size_t length;
    char32_t bits;
    char32_t smallest;
};

Lead leadOf(unsigned char byte) noexcept {
    if (byte >= 0xC2 && byte <= 0xDF) {
        return {2, byte & 0x1Fu, 0x80};
    }
    if (byte >= 0xE0 && byte <= 0xEF) {
        return {3, byte & 0x0Fu, 0x800};
    }
    if (byte >= 0xF0 && byte <= 0xF4) {
        return {4, byte & 0x07u, 0x10000};
    }
    return {0, 0, 0};
}

}  // namespace

Utf8Character utf8At(std::string_view text, std::size_t position) noexcept {
    const auto first = static_cast<unsigned char>(text[position]);
    if (first < 0x80) {
        return {first, 1, true};
    }
    const Lead lead = leadOf(first);
    if (lead.length == 0 || text.size() - position < lead.length) {
        return invalid;
    }
    char32_t value = lead.bits;
    for (std::size_t i = 1; i < lead.length; ++i) {
        const auto byte = static_cast<unsigned char>(text[position + i]);
        if ((byte & 0xC0u) != 0x80u) {
            return invalid;
        }
        value = (value << 6) | (byte & 0x3Fu);
    }
    const bool isSurrogate = value >= 0xD800 && value <= 0xDFFF;
    if (value < lead.smallest || value > 0x10FFFF || isSurrogate) {
        return invalid;
    }
    return {value, lead.length, true};
}

}  // namespace velm

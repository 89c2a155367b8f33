#pragma once

#include "server/xml/XMLText.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

/// Text of which every character stands for itself in XML, looked at sixteen bytes at a time.
namespace velm::plain {

/// Sixteen characters as every processor of this kind compares them at once.
using Block [[gnu::vector_size(16)]] = signed char;
constexpr std::size_t blockSize = sizeof(Block);

template <class Word>
Word wordAt(const char* text) noexcept {
    Word word;
    std::memcpy(&word, text, sizeof word);
    return word;
}

/// Where a character needs to be looked at: controls, those above 0x7F, and what has to be escaped. In
/// attributes also some that need no escaping.
template <XMLContext context>
Block specialsIn(Block block) noexcept {
    // Characters above 0x7F are negative.
    const Block common = (block < ' ') | ((block | 2) == '>');
    if constexpr (context == XMLContext::element) {
        return common | (block == '&');
    } else {
        return common | ((block | 1) == '\'') | (block == '"');
    }
}

inline bool areNone(Block specials) noexcept {
    std::uint64_t halves[2];
    std::memcpy(halves, &specials, sizeof halves);
    return (halves[0] | halves[1]) == 0;
}

/// Copies a word and answers it.
template <class Word>
Word move(const char* from, char* to) noexcept {
    const auto word = wordAt<Word>(from);
    std::memcpy(to, &word, sizeof word);
    return word;
}

/// The sixteen bytes of two words.
inline Block joined(std::uint64_t first, std::uint64_t last) noexcept {
    const std::uint64_t halves[2] = {first, last};
    Block block;
    std::memcpy(&block, halves, sizeof block);
    return block;
}

/// copy() for what does not fill a block.
inline Block moveShort(std::string_view text, char* to) noexcept {
    const char* const begin = text.data();
    constexpr std::size_t wordSize = sizeof(std::uint64_t);
    constexpr std::size_t halfSize = sizeof(std::uint32_t);
    if (text.size() >= wordSize) {
        const std::size_t last = text.size() - wordSize;
        return joined(move<std::uint64_t>(begin, to), move<std::uint64_t>(begin + last, to + last));
    }
    if (text.size() >= halfSize) {
        const std::size_t last = text.size() - halfSize;
        const std::uint64_t low = move<std::uint32_t>(begin, to);
        const std::uint64_t high = move<std::uint32_t>(begin + last, to + last);
        return joined(low | high << 32, low | high << 32);
    }
    std::uint64_t word = 0x2020202020202020;
    for (std::size_t position = 0; position < text.size(); ++position) {
        to[position] = begin[position];
        word = word << 8 | static_cast<unsigned char>(begin[position]);
    }
    return joined(word, word);
}

/// Copies `text` and answers whether it is plain; the copy is worth nothing otherwise. The last blocks
/// overlap. Requires: there is room for it at `to`.
template <XMLContext context>
bool copy(std::string_view text, char* to) noexcept {
    if (text.size() < blockSize) {
        return areNone(specialsIn<context>(moveShort(text, to)));
    }
    const char* const begin = text.data();
    const std::size_t last = text.size() - blockSize;
    Block specials{};
    for (std::size_t position = 0; position < last; position += blockSize) {
        specials |= specialsIn<context>(move<Block>(begin + position, to + position));
    }
    return areNone(specials | specialsIn<context>(move<Block>(begin + last, to + last)));
}

/// How many characters at the beginning of `text` are plain, in whole blocks.
template <XMLContext context>
std::size_t plainBlocks(std::string_view text) noexcept {
    std::size_t position = 0;
    while (position + blockSize <= text.size() &&
           areNone(specialsIn<context>(wordAt<Block>(text.data() + position)))) {
        position += blockSize;
    }
    return position;
}

}  // namespace velm::plain

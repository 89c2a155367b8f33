#pragma once

#include <cstdint>
#include <cstring>
#include <string_view>

/// Texts eight bytes at a time: letters turned to lower case, and hashes that nobody can choose texts for.
namespace velm::text {

using Word = std::uint64_t;

/// The bytes from `bytes` on as a number.
template <class Number>
Number read(const char* bytes) noexcept {
    Number number;
    std::memcpy(&number, bytes, sizeof number);
    return number;
}

inline Word same(Word word) noexcept {
    return word;
}

/// Sets in each byte that holds 'A' to 'Z' the bit that makes it small. Bytes beyond ASCII stay.
inline Word lower(Word word) noexcept {
    constexpr Word ones = 0x0101010101010101U;
    const Word low = word & (0x7F * ones);
    const Word fromA = low + (0x80 - 'A') * ones;
    const Word pastZ = low + (0x7F - 'Z') * ones;
    const Word capitals = fromA & ~pastZ & ~word & (0x80 * ones);
    return word | capitals >> 2;
}

/// Both halves of the product: each bit of the factors reaches most bits of the result.
inline Word mixed(Word left, Word right) noexcept {
    __extension__ using Product = unsigned __int128;
    const Product product = Product{left} * right;
    return static_cast<Word>(product) ^ static_cast<Word>(product >> 64);
}

/// The bytes of a text shorter than a word: each of them, and some twice, at places that its length tells.
inline Word shortText(std::string_view text) noexcept {
    const char* bytes = text.data();
    const std::size_t length = text.size();
    if (length >= 4) {
        return Word{read<std::uint32_t>(bytes)} << 32 | read<std::uint32_t>(bytes + length - 4);
    }
    if (length == 0) {
        return 0;
    }
    return Word{read<std::uint8_t>(bytes)} << 16 | Word{read<std::uint8_t>(bytes + length / 2)} << 8 |
           read<std::uint8_t>(bytes + length - 1);
}

/// What the hashes of a process are made with. `factor` is odd.
struct HashSecret {
    Word start;
    Word factor;
};

/// The last step of a hash: 32 bits that all 64 have reached.
inline std::uint32_t ended(Word hash, const HashSecret& secret) noexcept {
    hash = mixed(mixed(hash, secret.factor), 0x9E3779B97F4A7C15U);
    return static_cast<std::uint32_t>(hash >> 32 ^ hash);
}

/// The hash of the folded text: a chain of words, the last of which overlaps the one before.
template <Word (*fold)(Word)>
std::uint32_t hashOf(std::string_view text, const HashSecret& secret) noexcept {
    // Mixed by itself: the bytes of a short text must not undo a difference in length.
    Word hash = mixed(secret.start ^ text.size(), secret.factor);
    Word last = 0;
    if (text.size() < sizeof(Word)) {
        last = shortText(text);
    } else {
        const char* end = text.data() + text.size() - sizeof(Word);
        for (const char* bytes = text.data(); bytes < end; bytes += sizeof(Word)) {
            hash = mixed(hash ^ fold(read<Word>(bytes)), secret.factor);
        }
        last = read<Word>(end);
    }
    return ended(hash ^ fold(last), secret);
}

/// The secret of this process.
const HashSecret& hashSecret() noexcept;

}  // namespace velm::text

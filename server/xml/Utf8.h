#pragma once

#include <cstddef>
#include <string_view>

namespace velm {

/// One step through text that should be UTF-8.
struct Utf8Character {
    /// The character, meaningless when it is not valid.
    char32_t value;
    /// The number of bytes it takes; 1 for a byte that begins no character.
    std::size_t length;
    bool isValid;
};

/// The character that begins at `position`. Overlong forms, surrogates and numbers above U+10FFFF are not
/// valid: each of their bytes is a step of its own. Requires: `position` is inside `text`.
Utf8Character utf8At(std::string_view text, std::size_t position) noexcept;

}  // namespace velm

#pragma once

#include <string>
#include <string_view>
#include <vector>

/// Small things that the readers of the configuration share. Letters are those of ASCII.
namespace velm {

constexpr char foldedLetter(char letter) {
    return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter;
}

std::string folded(std::string_view text);
std::string capitals(std::string_view text);

/// Without blanks at either end.
std::string_view trimmed(std::string_view text);

/// The trimmed parts between separators; at least one.
std::vector<std::string> split(std::string_view text, char separator);

/// For a message: in quotation marks, without control characters, cut when it is long.
std::string quotation(std::string_view text);

/// The one of `known` that somebody who wrote `word` probably meant; empty when none is near. Letter case is
/// ignored.
std::string nearest(std::string_view word, const std::vector<std::string>& known);

/// "the text", wrapped at blanks to lines that begin with `prefix` and have at most `width` characters where
/// the words allow it.
std::string wrapped(std::string_view text, std::string_view prefix, std::size_t width);

}  // namespace velm

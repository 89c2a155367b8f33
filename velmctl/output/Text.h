#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

/// Text of others, made fit for people. Any thread.
namespace velm {

/// `text` as valid UTF-8: each byte that is part of no character becomes U+FFFD.
std::string validText(std::string_view text);

/// The same for one line of a terminal: control characters, which could move the cursor or end the line, are
/// written as \x1b.
std::string printable(std::string_view text);

/// The same for several lines: line ends and tabs stay.
std::string printableLines(std::string_view text);

/// `text` cut to `size` bytes, at the end of a character, with dots behind what is left.
std::string shortened(std::string_view text, std::size_t size);

/// How many columns `text` takes; each character counts as one.
std::size_t columnsOf(std::string_view text);

/// What becomes of a word that is longer than a line.
enum class LongWord {
    broken,  ///< Behind punctuation where there is any.
    whole,   ///< So that it can be copied; its line is too long then.
};

/// `text` in lines of `columns` columns at the most, broken at blanks where there are any. Never empty.
/// Requires: at least one column.
std::vector<std::string> wrapped(std::string_view text, std::size_t columns,
                                 LongWord longWord = LongWord::broken);

/// The same as one text with long words whole, and all lines but the first behind `indent` blanks.
std::string paragraph(std::string_view text, std::size_t columns, std::size_t indent = 0);

/// "1 indication", "2 indications".
std::string counted(std::uint64_t count, std::string_view thing);

/// "0.412 s", "75.0 s", "12 min", "3 h".
std::string ageText(std::chrono::microseconds age);

/// The two largest units: "12 s", "3 min 5 s", "2 h 4 min", "3 d 7 h". Nothing below 0.
std::string spanText(std::chrono::seconds span);

}  // namespace velm

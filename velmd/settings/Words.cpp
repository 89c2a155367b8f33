#include "velmd/settings/Words.h"

#include <algorithm>
#include <numeric>

namespace velm {

namespace {

constexpr std::size_t longestQuote = 60;

/// How many letters have to be put in, left out or changed to turn one word into the other.
std::size_t distance(std::string_view one, std::string_view other) {
    std::vector<std::size_t> row(other.size() + 1);
    std::iota(row.begin(), row.end(), std::size_t{0});
    for (const char letter : one) {
        std::size_t diagonal = row[0]++;
        for (std::size_t column = 1; column < row.size(); ++column) {
            const std::size_t changed = diagonal + (letter == other[column - 1] ? 0 : 1);
            diagonal = row[column];
            row[column] = std::min({changed, row[column] + 1, row[column - 1] + 1});
        }
    }
    return row.back();
}

}  // namespace

std::string folded(std::string_view text) {
    std::string result(text);
    std::transform(result.begin(), result.end(), result.begin(), foldedLetter);
    return result;
}

std::string capitals(std::string_view text) {
    std::string result(text);
    std::transform(result.begin(), result.end(), result.begin(), [](char letter) {
        return letter >= 'a' && letter <= 'z' ? static_cast<char>(letter - 'a' + 'A') : letter;
    });
    return result;
}

std::string_view trimmed(std::string_view text) {
    constexpr std::string_view blanks = " \t\r\n\f\v";
    const std::size_t first = text.find_first_not_of(blanks);
    if (first == std::string_view::npos) {
        return {};
    }
    return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

std::vector<std::string> split(std::string_view text, char separator) {
    std::vector<std::string> parts;
    for (;;) {
        const std::size_t end = text.find(separator);
        parts.emplace_back(trimmed(text.substr(0, end)));
        if (end == std::string_view::npos) {
            return parts;
        }
        text.remove_prefix(end + 1);
    }
}

std::string quotation(std::string_view text) {
    std::string result = "\"" + std::string(text.substr(0, longestQuote));
    std::replace_if(
        result.begin(), result.end(),
        [](char character) { return (character >= '\0' && character < ' ') || character == '\x7F'; }, '?');
    return result + (text.size() > longestQuote ? "...\"" : "\"");
}

std::string nearest(std::string_view word, const std::vector<std::string>& known) {
    constexpr std::size_t near = 2;
    constexpr std::size_t longestWord = 64;
    std::string best;
    std::size_t least = near + 1;
    for (const std::string& candidate : known) {
        if (word.size() <= longestWord && candidate.size() > near) {
            const std::size_t steps = distance(folded(word), folded(candidate));
            if (steps < least) {
                least = steps;
                best = candidate;
            }
        }
    }
    return best;
}

std::string wrapped(std::string_view text, std::string_view prefix, std::size_t width) {
    std::string result;
    std::string line(prefix);
    for (const std::string& word : split(text, ' ')) {
        if (line.size() > prefix.size() && line.size() + 1 + word.size() > width) {
            result += line + "\n";
            line = prefix;
        }
        line += (line.size() > prefix.size() ? " " : "") + word;
    }
    return result + line + "\n";
}

}  // namespace velm

#pragma once

#include <array>
#include <cstddef>
#include <string_view>

namespace velm {

/// Tags that are known when the program is built, for XMLMarkupForms.
template <std::size_t size>
struct XMLMarkup {
    // NOLINTNEXTLINE(google-explicit-constructor): made from literals only.
    consteval XMLMarkup(const char (&literal)[size]) {
        for (std::size_t i = 0; i < size; ++i) {
            text[i] = literal[i];
        }
    }

    constexpr std::string_view view() const { return {text, size - 1}; }

    char text[size]{};
};

/// `markup` as it stands at the top of a document and inside one embedded instance, where it is text. The
/// compiler escapes it, so that no character of it is looked at when it is written. Requires: it holds
/// neither & nor CR.
template <XMLMarkup markup>
struct XMLMarkupForms {
    static constexpr std::string_view plain = markup.view();

private:
    static constexpr std::string_view _entityOf(char letter) {
        return letter == '<' ? "&lt;" : letter == '>' ? "&gt;" : std::string_view();
    }

    static consteval std::size_t _size() {
        std::size_t size = 0;
        for (const char letter : plain) {
            size += _entityOf(letter).empty() ? 1 : _entityOf(letter).size();
        }
        return size;
    }

    static consteval auto _escape() {
        std::array<char, _size()> result{};
        std::size_t position = 0;
        for (const char letter : plain) {
            const std::string_view entity = _entityOf(letter);
            for (const char written : entity.empty() ? std::string_view(&letter, 1) : entity) {
                result[position++] = written;
            }
        }
        return result;
    }

    static constexpr auto _escaped = _escape();

public:
    static constexpr std::string_view escapedOnce{_escaped.data(), _escaped.size()};
};

}  // namespace velm

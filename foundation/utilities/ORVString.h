#pragma once

#include "foundation/Export.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <string_view>

namespace velm {
class JoinedString;
}

/// An immutable text in a shared, counted buffer; copies are cheap.
///
/// The null string (nothing was named) is distinct from the empty one: `null == ""` is false, `null == null`
/// is true. Equality compares bytes, case included; letter case is folded for ASCII letters only. A null
/// string reads as empty text everywhere else. Text is UTF-8 by convention; nothing here checks it.
///
/// Threads: strings that share a buffer may be used and released on different threads; one string must not be
/// assigned while another thread uses it. Failure: only std::bad_alloc, also for a text of 1 GiB or more.
class VELM_EXPORT ORVString {
public:
    enum CompareMode { caseSensitive, caseInsensitive };

    /// The null string.
    ORVString() noexcept = default;
    /// A copy of `text`, which ends with a zero byte; a null pointer gives the null string.
    ORVString(const char* text);
    /// A copy of `text`, which may hold any bytes. A default-constructed view gives the null string.
    ORVString(std::string_view text);
    ORVString(const ORVString& other) noexcept;
    ORVString(ORVString&& other) noexcept;
    ~ORVString();

    ORVString& operator=(const ORVString& other) noexcept;
    ORVString& operator=(ORVString&& other) noexcept;
    ORVString& operator=(const char* text);

    /// A copy of `text` whose end, from `tailStart` on, is a string too: tail() gives it without a buffer of
    /// its own. Requires: `tailStart` is not above the length.
    static ORVString withTail(std::string_view text, std::size_t tailStart);

    /// The tail of a text made by withTail(), which shares its buffer and allocates nothing; the null string
    /// for any other text.
    ORVString tail() const noexcept;

    /// The bytes of tail(), valid as long as any string shares the buffer; "" where that is null.
    std::string_view tailView() const noexcept;

    bool isNull() const noexcept { return _text == nullptr; }
    /// The number of bytes; 0 for the null string.
    std::size_t length() const noexcept;

    /// The text with a zero byte behind it, valid as long as any string shares the buffer; "" for the null
    /// string.
    const char* data() const noexcept;
    const char* buffer() const noexcept { return data(); }
    std::string_view view() const noexcept;

    /// Asks for the memory of the text, which no cache may hold, without waiting for it.
    void prefetch() const noexcept { __builtin_prefetch(_text); }

    /// Negative, 0 or positive as this text stands before, with or after `text`, byte by byte.
    int compareTo(const ORVString& text, CompareMode mode = caseSensitive) const noexcept;

    /// compareTo(text, caseInsensitive) == 0, but a difference in length or known hash is seen first.
    bool equalsIgnoringCase(const ORVString& text) const noexcept;

    /// Concatenation; like operator+ it never gives a null string.
    ORVString& operator+=(const ORVString& text);

    /// A copy with the letters A to Z turned to a to z; the null string stays null.
    ORVString toLower() const;

    /// The empty, non-null string.
    static ORVString emptyString();

    friend VELM_EXPORT bool operator==(const ORVString& left, const ORVString& right) noexcept;
    friend bool operator!=(const ORVString& left, const ORVString& right) noexcept {
        return !(left == right);
    }
    friend VELM_EXPORT ORVString operator+(const ORVString& left, const ORVString& right);
    friend VELM_EXPORT std::ostream& operator<<(std::ostream& stream, const ORVString& text);

    friend VELM_EXPORT std::uint32_t hashKeyORVString(const ORVString& key) noexcept;
    friend VELM_EXPORT std::uint32_t hashKeyORVStringToLower(const ORVString& key) noexcept;

private:
    friend class velm::JoinedString;

    struct Text;
    struct Buffer;

    explicit ORVString(Text* text) noexcept : _text(text) {}

    Text* _text = nullptr;
};

/// A hash of the bytes of `key`, computed once per buffer and once per tail. Clients choose many of the keys
/// and must not be able to choose their hashes: equal texts have other hashes in the next process.
VELM_EXPORT std::uint32_t hashKeyORVString(const ORVString& key) noexcept;

/// A hash that ignores the case of ASCII letters: hashKeyORVString() of the text in lower case. Computed once
/// per buffer.
VELM_EXPORT std::uint32_t hashKeyORVStringToLower(const ORVString& key) noexcept;

namespace velm {

/// A string made of two for a look-up, after which it is forgotten: unless it is long it stands in this
/// object itself, and nothing is allocated.
///
/// Threads: used by one. Requires: no copy of the string outlives this object. Failure: as ORVString.
class VELM_EXPORT JoinedString {
public:
    JoinedString(std::string_view first, char separator, std::string_view second);
    JoinedString(const JoinedString&) = delete;
    JoinedString& operator=(const JoinedString&) = delete;
    ~JoinedString();

    const ORVString& string() const noexcept { return _string; }

private:
    alignas(8) std::array<char, 224> _memory;
    ORVString _string;
};

}  // namespace velm

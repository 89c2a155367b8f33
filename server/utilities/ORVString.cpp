#include "foundation/utilities/ORVString.h"

#include <algorithm>
#include <atomic>
#include <cstring>
#include <new>
#include <ostream>
#include <utility>

namespace {

constexpr std::uint32_t notHashed = 0;

constexpr char lower(char letter) noexcept {
    return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter;
}

constexpr char same(char letter) noexcept {
    return letter;
}

/// FNV-1a, with the one number taken out that stands for "not hashed yet".
template <char (*fold)(char)>
std::uint32_t hashOf(std::string_view text) noexcept {
    std::uint32_t hash = 2166136261U;
    for (char letter : text) {
        hash = (hash ^ static_cast<unsigned char>(fold(letter))) * 16777619U;
    }
    return hash == notHashed ? 1 : hash;
}

/// Threads that meet here compute the same number, so that it does not matter whose is kept.
template <char (*fold)(char)>
std::uint32_t cachedHashOf(std::string_view text, std::atomic<std::uint32_t>& cache) noexcept {
    std::uint32_t hash = cache.load(std::memory_order_relaxed);
    if (hash == notHashed) {
        hash = hashOf<fold>(text);
        cache.store(hash, std::memory_order_relaxed);
    }
    return hash;
}

}  // namespace

/// The header of one allocation; the text and its zero byte stand right behind it.
struct ORVString::Buffer {
    const std::size_t length;
    std::atomic<std::uint32_t> owners{1};
    std::atomic<std::uint32_t> hash{notHashed};
    std::atomic<std::uint32_t> lowerHash{notHashed};

    explicit Buffer(std::size_t textLength) noexcept : length(textLength) { text()[length] = '\0'; }

    char* text() noexcept { return reinterpret_cast<char*>(this + 1); }
    std::string_view view() noexcept { return {text(), length}; }

    static Buffer* make(std::size_t length) {
        return new (::operator new(sizeof(Buffer) + length + 1)) Buffer(length);
    }

    static Buffer* make(std::string_view first, std::string_view second = {}) {
        Buffer* buffer = make(first.size() + second.size());
        std::copy(second.begin(), second.end(), std::copy(first.begin(), first.end(), buffer->text()));
        return buffer;
    }

    static Buffer* share(Buffer* buffer) noexcept {
        if (buffer) {
            buffer->owners.fetch_add(1, std::memory_order_relaxed);
        }
        return buffer;
    }

    static void release(Buffer* buffer) noexcept {
        if (buffer && buffer->owners.fetch_sub(1, std::memory_order_acq_rel) == 1) {
            buffer->~Buffer();
            ::operator delete(buffer);
        }
    }
};

ORVString::ORVString(const char* text) : _buffer(text ? Buffer::make(std::string_view(text)) : nullptr) {
}

ORVString::ORVString(std::string_view text) : _buffer(text.data() ? Buffer::make(text) : nullptr) {
}

ORVString::ORVString(const ORVString& other) noexcept : _buffer(Buffer::share(other._buffer)) {
}

ORVString::ORVString(ORVString&& other) noexcept : _buffer(std::exchange(other._buffer, nullptr)) {
}

ORVString::~ORVString() {
    Buffer::release(_buffer);
}

ORVString& ORVString::operator=(const ORVString& other) noexcept {
    ORVString copy(other);
    std::swap(_buffer, copy._buffer);
    return *this;
}

ORVString& ORVString::operator=(ORVString&& other) noexcept {
    ORVString taken(std::move(other));
    std::swap(_buffer, taken._buffer);
    return *this;
}

ORVString& ORVString::operator=(const char* text) {
    return *this = ORVString(text);
}

std::size_t ORVString::length() const noexcept {
    return _buffer ? _buffer->length : 0;
}

const char* ORVString::data() const noexcept {
    return _buffer ? _buffer->text() : "";
}

int ORVString::compareTo(const ORVString& text, CompareMode mode) const noexcept {
    if (mode == caseSensitive) {
        return view().compare(text.view());
    }
    const std::size_t common = std::min(length(), text.length());
    for (std::size_t i = 0; i < common; ++i) {
        const int difference =
            static_cast<unsigned char>(lower(data()[i])) - static_cast<unsigned char>(lower(text.data()[i]));
        if (difference != 0) {
            return difference;
        }
    }
    return length() < text.length() ? -1 : static_cast<int>(length() > text.length());
}

ORVString& ORVString::operator+=(const ORVString& text) {
    return *this = *this + text;
}

ORVString ORVString::toLower() const {
    const std::string_view text = view();
    if (std::all_of(text.begin(), text.end(), [](char letter) { return lower(letter) == letter; })) {
        return *this;
    }
    Buffer* buffer = Buffer::make(text.size());
    std::transform(text.begin(), text.end(), buffer->text(), lower);
    return ORVString(buffer);
}

ORVString ORVString::emptyString() {
    return ORVString("");
}

bool operator==(const ORVString& left, const ORVString& right) noexcept {
    if (left._buffer == right._buffer) {
        return true;
    }
    return left._buffer && right._buffer && left.view() == right.view();
}

ORVString operator+(const ORVString& left, const ORVString& right) {
    if (right.length() == 0 && !left.isNull()) {
        return left;
    }
    if (left.length() == 0 && !right.isNull()) {
        return right;
    }
    return ORVString(ORVString::Buffer::make(left.view(), right.view()));
}

std::ostream& operator<<(std::ostream& stream, const ORVString& text) {
    return stream << text.view();
}

std::uint32_t hashKeyORVString(const ORVString& key) noexcept {
    return key._buffer ? cachedHashOf<same>(key.view(), key._buffer->hash) : hashOf<same>({});
}

std::uint32_t hashKeyORVStringToLower(const ORVString& key) noexcept {
    return key._buffer ? cachedHashOf<lower>(key.view(), key._buffer->lowerHash) : hashOf<lower>({});
}

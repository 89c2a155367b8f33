#include "foundation/utilities/ORVString.h"

#include "server/utilities/TextHash.h"

#include <algorithm>
#include <atomic>
#include <cstring>
#include <new>
#include <ostream>
#include <utility>

namespace {

namespace text = velm::text;

constexpr std::uint32_t notHashed = 0;

constexpr char lower(char letter) noexcept {
    return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter;
}

template <text::Word (*fold)(text::Word)>
std::uint32_t hashOf(std::string_view bytes) noexcept {
    const std::uint32_t hash = text::hashOf<fold>(bytes, text::hashSecret());
    return hash == notHashed ? 1 : hash;
}

/// Threads that meet here compute the same number, so that it does not matter whose is kept.
template <text::Word (*fold)(text::Word)>
std::uint32_t cachedHashOf(std::string_view bytes, std::atomic<std::uint32_t>& cache) noexcept {
    std::uint32_t hash = cache.load(std::memory_order_relaxed);
    if (hash == notHashed) {
        hash = hashOf<fold>(bytes);
        cache.store(hash, std::memory_order_relaxed);
    }
    return hash;
}

/// Whether what is known of both hashes tells the texts apart.
bool differ(const std::atomic<std::uint32_t>& left, const std::atomic<std::uint32_t>& right) noexcept {
    const std::uint32_t one = left.load(std::memory_order_relaxed);
    const std::uint32_t other = right.load(std::memory_order_relaxed);
    return one != other && one != notHashed && other != notHashed;
}

bool isLower(std::string_view bytes) noexcept {
    std::size_t at = 0;
    for (; at + sizeof(text::Word) <= bytes.size(); at += sizeof(text::Word)) {
        const auto word = text::read<text::Word>(bytes.data() + at);
        if (text::lower(word) != word) {
            return false;
        }
    }
    return std::all_of(bytes.begin() + static_cast<std::ptrdiff_t>(at), bytes.end(),
                       [](char letter) { return lower(letter) == letter; });
}

/// Where the texts first differ once folded, or the number of bytes compared.
std::size_t firstDifference(const char* left, const char* right, std::size_t length) noexcept {
    std::size_t at = 0;
    while (at + sizeof(text::Word) <= length && text::lower(text::read<text::Word>(left + at)) ==
                                                    text::lower(text::read<text::Word>(right + at))) {
        at += sizeof(text::Word);
    }
    while (at < length && lower(left[at]) == lower(right[at])) {
        ++at;
    }
    return at;
}

}  // namespace

/// What a string refers to: the whole of a buffer or the tail of one.
struct ORVString::Text {
    static constexpr std::size_t maxLength = (std::size_t{1} << 30) - 1;

    const std::uint32_t length : 30;
    const std::uint32_t isTail : 1;
    /// Of a whole: whether the header of its tail stands before it.
    const std::uint32_t hasTail : 1;
    std::atomic<std::uint32_t> hash{notHashed};

    Text(std::size_t textLength, bool tail, bool tailed) noexcept
        : length(static_cast<std::uint32_t>(textLength & maxLength)), isTail(tail), hasTail(tailed) {}

    inline Buffer* buffer() noexcept;
    inline char* bytes() noexcept;
    std::string_view view() noexcept { return {bytes(), length}; }
};

/// The header of a whole text, which stands right behind it with its zero byte. Header and text are one
/// allocation, and so is the header of a tail in front of them.
struct ORVString::Buffer : Text {
    std::atomic<std::uint32_t> owners{1};
    std::atomic<std::uint32_t> lowerHash{notHashed};

    using Text::Text;

    static Buffer* make(std::size_t length, const std::size_t* tailLength = nullptr) {
        if (length > maxLength) {
            throw std::bad_alloc();
        }
        const std::size_t before = tailLength ? sizeof(Text) : 0;
        auto* memory = static_cast<char*>(::operator new(before + sizeof(Buffer) + length + 1));
        if (tailLength) {
            new (memory) Text(*tailLength, true, false);
        }
        return makeIn(memory + before, length, tailLength != nullptr);
    }

    static Buffer* makeIn(char* memory, std::size_t length, bool hasTail) noexcept {
        auto* buffer = new (memory) Buffer(length, false, hasTail);
        buffer->all()[length] = '\0';
        return buffer;
    }

    static Buffer* make(std::string_view first, std::string_view second = {}) {
        Buffer* buffer = make(first.size() + second.size());
        std::copy(second.begin(), second.end(), std::copy(first.begin(), first.end(), buffer->all()));
        return buffer;
    }

    char* all() noexcept { return reinterpret_cast<char*>(this + 1); }
    Text* tail() noexcept { return hasTail ? static_cast<Text*>(this) - 1 : nullptr; }

    static Text* share(Text* text) noexcept {
        if (text) {
            text->buffer()->owners.fetch_add(1, std::memory_order_relaxed);
        }
        return text;
    }

    static void release(Text* text) noexcept {
        if (!text) {
            return;
        }
        Buffer* buffer = text->buffer();
        // Nobody else can share what has one owner: no need to count down for the others to see.
        if (buffer->owners.load(std::memory_order_acquire) == 1 ||
            buffer->owners.fetch_sub(1, std::memory_order_acq_rel) == 1) {
            ::operator delete(buffer->hasTail ? static_cast<void*>(buffer->tail()) : buffer);
        }
    }
};

ORVString::Buffer* ORVString::Text::buffer() noexcept {
    return reinterpret_cast<Buffer*>(isTail ? this + 1 : this);
}

char* ORVString::Text::bytes() noexcept {
    Buffer* whole = buffer();
    return whole->all() + (whole->length - length);
}

ORVString::ORVString(const char* text) : _text(text ? Buffer::make(std::string_view(text)) : nullptr) {
}

ORVString::ORVString(std::string_view text) : _text(text.data() ? Buffer::make(text) : nullptr) {
}

ORVString::ORVString(const ORVString& other) noexcept : _text(Buffer::share(other._text)) {
}

ORVString::ORVString(ORVString&& other) noexcept : _text(std::exchange(other._text, nullptr)) {
}

ORVString::~ORVString() {
    Buffer::release(_text);
}

ORVString& ORVString::operator=(const ORVString& other) noexcept {
    ORVString copy(other);
    std::swap(_text, copy._text);
    return *this;
}

ORVString& ORVString::operator=(ORVString&& other) noexcept {
    ORVString taken(std::move(other));
    std::swap(_text, taken._text);
    return *this;
}

ORVString& ORVString::operator=(const char* text) {
    return *this = ORVString(text);
}

ORVString ORVString::withTail(std::string_view text, std::size_t tailStart) {
    const std::size_t tailLength = text.size() - tailStart;
    Buffer* buffer = Buffer::make(text.size(), &tailLength);
    std::copy(text.begin(), text.end(), buffer->all());
    return ORVString(buffer);
}

ORVString ORVString::tail() const noexcept {
    return ORVString(_text && !_text->isTail ? Buffer::share(_text->buffer()->tail()) : nullptr);
}

std::string_view ORVString::tailView() const noexcept {
    Text* tail = _text && !_text->isTail ? _text->buffer()->tail() : nullptr;
    return tail ? tail->view() : std::string_view("");
}

std::size_t ORVString::length() const noexcept {
    return _text ? _text->length : 0;
}

const char* ORVString::data() const noexcept {
    return _text ? _text->bytes() : "";
}

std::string_view ORVString::view() const noexcept {
    return _text ? _text->view() : std::string_view("");
}

int ORVString::compareTo(const ORVString& text, CompareMode mode) const noexcept {
    if (_text == text._text) {
        return 0;
    }
    const std::string_view left = view();
    const std::string_view right = text.view();
    if (mode == caseSensitive) {
        return left.compare(right);
    }
    const std::size_t common = std::min(left.size(), right.size());
    const std::size_t at = firstDifference(left.data(), right.data(), common);
    if (at < common) {
        return static_cast<unsigned char>(lower(left[at])) - static_cast<unsigned char>(lower(right[at]));
    }
    return left.size() < right.size() ? -1 : static_cast<int>(left.size() > right.size());
}

bool ORVString::equalsIgnoringCase(const ORVString& text) const noexcept {
    if (_text == text._text) {
        return true;
    }
    const std::string_view left = view();
    const std::string_view right = text.view();
    if (left.size() != right.size()) {
        return false;
    }
    if (left.empty()) {
        return true;
    }
    if (!_text->isTail && !text._text->isTail &&
        differ(_text->buffer()->lowerHash, text._text->buffer()->lowerHash)) {
        return false;
    }
    return firstDifference(left.data(), right.data(), left.size()) == left.size();
}

ORVString& ORVString::operator+=(const ORVString& text) {
    return *this = *this + text;
}

ORVString ORVString::toLower() const {
    const std::string_view text = view();
    if (isLower(text)) {
        return *this;
    }
    Buffer* buffer = Buffer::make(text.size());
    std::transform(text.begin(), text.end(), buffer->all(), lower);
    return ORVString(buffer);
}

ORVString ORVString::emptyString() {
    return ORVString("");
}

bool operator==(const ORVString& left, const ORVString& right) noexcept {
    ORVString::Text* one = left._text;
    ORVString::Text* other = right._text;
    if (one == other) {
        return true;
    }
    return one && other && one->length == other->length && !differ(one->hash, other->hash) &&
           std::memcmp(one->bytes(), other->bytes(), one->length) == 0;
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
    return key._text ? cachedHashOf<text::same>(key.view(), key._text->hash) : hashOf<text::same>({});
}

std::uint32_t hashKeyORVStringToLower(const ORVString& key) noexcept {
    if (!key._text || key._text->isTail) {
        return hashOf<text::lower>(key.view());
    }
    return cachedHashOf<text::lower>(key.view(), key._text->buffer()->lowerHash);
}

namespace velm {

JoinedString::JoinedString(std::string_view first, char separator, std::string_view second) {
    using Buffer = ORVString::Buffer;
    const std::size_t length = first.size() + 1 + second.size();
    const bool fits = sizeof(Buffer) + length < _memory.size();
    Buffer* buffer = fits ? Buffer::makeIn(_memory.data(), length, false) : Buffer::make(length);
    char* end = std::copy(first.begin(), first.end(), buffer->all());
    *end = separator;
    std::copy(second.begin(), second.end(), end + 1);
    _string._text = buffer;
}

JoinedString::~JoinedString() {
    if (static_cast<void*>(_string._text) == _memory.data()) {
        _string._text = nullptr;
    }
}

}  // namespace velm

#pragma once

#include <algorithm>
#include <cstddef>
#include <string>
#include <string_view>

namespace velm {

/// The end of a text to which many small pieces are appended: room is made for many of them at once, and
/// each is copied in place.
///
/// One thread uses it. The text must outlive it and belongs to it until it is destroyed: only then the text
/// has its size. Failure: std::bad_alloc and std::length_error from what makes room, with the text as it was.
class TextEnd {
public:
    /// Memory whose content is worth nothing, and which stays as long as it has become.
    struct Scratch {
        std::string& memory;
    };

    explicit TextEnd(std::string& text)
        : _text(text), _end(text.data() + text.size()), _limit(_end), _isScratch(false) {}
    /// Begins with nothing: view() is all there is.
    explicit TextEnd(Scratch scratch)
        : _text(scratch.memory), _end(_text.data()), _limit(_text.data() + _text.size()), _isScratch(true) {}
    TextEnd(const TextEnd&) = delete;
    TextEnd& operator=(const TextEnd&) = delete;
    ~TextEnd() {
        if (!_isScratch) {
            _text.resize(size());
        }
    }

    std::size_t size() const noexcept { return static_cast<std::size_t>(_end - _text.data()); }
    std::string_view view() const noexcept { return {_text.data(), size()}; }

    /// Where the next `size` bytes go. Whoever writes them tells with setEnd() where they ended.
    char* room(std::size_t size) {
        if (size > static_cast<std::size_t>(_limit - _end)) [[unlikely]] {
            _grow(size);
        }
        return _end;
    }
    void setEnd(char* end) noexcept { _end = end; }

    /// Of a literal the compiler spells the copying out.
    void append(std::string_view piece) {
        char* const start = room(piece.size());
        _end = start + piece.copy(start, piece.size());
    }

private:
    static constexpr std::size_t _step = 2048;

    void _grow(std::size_t needed) {
        const std::size_t used = size();
        _text.resize(used + std::max(needed, _step));
        _end = _text.data() + used;
        _limit = _text.data() + _text.size();
    }

    std::string& _text;
    char* _end;
    char* _limit;
    const bool _isScratch;
};

}  // namespace velm

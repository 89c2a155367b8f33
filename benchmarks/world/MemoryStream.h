#pragma once

#include <istream>
#include <ostream>
#include <streambuf>
#include <string>
#include <string_view>

/// Streams on text in memory, without copies beside it.
namespace velm::bench {

class OutputText : private std::streambuf, public std::ostream {
public:
    OutputText() : std::ostream(static_cast<std::streambuf*>(this)) {}

    const std::string& text() const { return _text; }
    /// Keeps the memory.
    void clear() { _text.clear(); }

private:
    std::streamsize xsputn(const char* text, std::streamsize size) override {
        _text.append(text, static_cast<std::size_t>(size));
        return size;
    }
    int overflow(int character) override {
        _text += static_cast<char>(character);
        return character;
    }

    std::string _text;
};

/// Requires: the text outlives the stream.
class InputText : private std::streambuf, public std::istream {
public:
    explicit InputText(std::string_view text) : std::istream(static_cast<std::streambuf*>(this)) {
        char* begin = const_cast<char*>(text.data());
        setg(begin, begin, begin + text.size());
    }
};

}  // namespace velm::bench

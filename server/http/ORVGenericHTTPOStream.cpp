#include "foundation/http/ORVGenericHTTPOStream.h"

#include "foundation/utilities/OrvoBaseException.h"
#include "server/http/KeptMemory.h"

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <memory>
#include <optional>
#include <streambuf>
#include <string>
#include <utility>

/// Holds one message. Synchronising it transmits nothing, so that std::flush and std::endl do no harm.
class ORVGenericHTTPOStream::Buffer : public std::streambuf {
public:
    ~Buffer() override { drop(); }

    void completeHeader() {
        if (!_headSize) {
            _headSize = _message.size();
            _message.reserve(_usualSize);
            _message.append(_framingSize, ' ');
        }
    }

    /// The message, framed if its header lines were ended. Valid until drop(), which begins the next one.
    std::string_view complete() { return _headSize ? _framed() : std::string_view(_message); }

    void drop() noexcept {
        if (_message.capacity() > _keptCapacity) {
            _message = std::string();
        }
        _message.clear();
        _headSize.reset();
    }

protected:
    std::streamsize xsputn(const char* text, std::streamsize size) override {
        _message.append(text, static_cast<std::size_t>(size));
        return size;
    }

    int_type overflow(int_type character) override {
        if (!traits_type::eq_int_type(character, traits_type::eof())) {
            _message += traits_type::to_char_type(character);
        }
        return traits_type::not_eof(character);
    }

private:
    /// Writes the framing in the room between head and body, up against the body, and moves the head, which
    /// is the smaller part, up against the framing.
    std::string_view _framed() {
        constexpr std::string_view name = "Content-Length: ";
        constexpr std::string_view end = "\r\n\r\n";
        char digits[24];
        const std::size_t bodySize = _message.size() - *_headSize - _framingSize;
        const char* digitsEnd = std::to_chars(digits, digits + sizeof digits, bodySize).ptr;
        const std::string_view number(digits, static_cast<std::size_t>(digitsEnd - digits));

        const std::size_t unused = _framingSize - name.size() - number.size() - end.size();
        const auto head = _message.begin();
        const auto headEnd = head + static_cast<std::ptrdiff_t>(*_headSize);
        std::copy_backward(head, headEnd, headEnd + static_cast<std::ptrdiff_t>(unused));
        std::size_t position = unused + *_headSize;
        for (const std::string_view part : {name, number, end}) {
            position += part.copy(&_message[position], part.size());
        }
        return std::string_view(_message).substr(unused);
    }

    /// Room for the longest Content-Length line and the empty line.
    static constexpr std::size_t _framingSize = 40;
    /// Most export messages fit without growing the text twice.
    static constexpr std::size_t _usualSize = 4096;
    /// What an unusually long message took is given back.
    static constexpr std::size_t _keptCapacity = std::size_t{16} * 1024;

    velm::KeptMemory<std::string> _kept;
    std::string& _message = *_kept;
    std::optional<std::size_t> _headSize;
};

ORVGenericHTTPOStream::ORVGenericHTTPOStream(ORVSmrPtr<ORVHTTPTransport> transport)
    : std::ostream(nullptr), _transport(std::move(transport)), _buffer(std::make_unique<Buffer>()) {
    rdbuf(_buffer.get());
}

ORVGenericHTTPOStream::~ORVGenericHTTPOStream() = default;

void ORVGenericHTTPOStream::completeHeader() {
    _buffer->completeHeader();
}

void ORVGenericHTTPOStream::send() {
    if (fail()) {
        // Part of the message is missing: a peer must not see the rest.
        discard();
        throw ORVNetException("ORVGenericHTTPOStream::send", "The message could not be written completely");
    }
    const auto drop = [](Buffer* buffer) { buffer->drop(); };
    const std::unique_ptr<Buffer, decltype(drop)> guard(_buffer.get(), drop);
    const std::string_view message = _buffer->complete();
    if (!message.empty()) {
        transmit(message);
    }
}

void ORVGenericHTTPOStream::discard() noexcept {
    _buffer->drop();
    clear();
}

void ORVGenericHTTPOStream::transmit(std::string_view message) {
    _transport->send(message);
}

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
#include <typeinfo>
#include <utility>
#include <vector>

/// Holds the message that is being written, behind those that are held back. Synchronising it transmits
/// nothing, so that std::flush and std::endl do no harm.
class ORVGenericHTTPOStream::Buffer : public std::streambuf {
public:
    ~Buffer() override {
        _text.clear();
        _giveBack();
    }

    void completeHeader() {
        if (!_headSize) {
            _headSize = _text.size() - _start;
            _text.reserve(_start == 0 ? _usualSize : _capacityForSeveral);
            _text.append(_framingSize, ' ');
        }
    }

    /// The message, framed if its header lines were ended. Valid until more is written.
    std::string_view complete() { return std::string_view(_text).substr(_headSize ? _frame() : _start); }

    /// Keeps the message and begins the next one.
    void hold() {
        const std::size_t size = complete().size();
        _held.push_back({_text.size() - size, size});
        _start = _text.size();
        _headSize.reset();
    }

    /// Valid until more is written.
    std::vector<std::string_view> held() const {
        std::vector<std::string_view> messages;
        for (const Range& range : _held) {
            messages.push_back(std::string_view(_text).substr(range.offset, range.size));
        }
        return messages;
    }

    std::size_t heldSize() const noexcept { return _start; }

    void drop() noexcept {
        _headSize.reset();
        _text.resize(_start);
        _giveBack();
    }

    void dropHeld() noexcept {
        _text.erase(0, std::exchange(_start, 0));
        _held.clear();
        _giveBack();
    }

protected:
    std::streamsize xsputn(const char* text, std::streamsize size) override {
        _text.append(text, static_cast<std::size_t>(size));
        return size;
    }

    int_type overflow(int_type character) override {
        if (!traits_type::eq_int_type(character, traits_type::eof())) {
            _text += traits_type::to_char_type(character);
        }
        return traits_type::not_eof(character);
    }

private:
    struct Range {
        std::size_t offset;
        std::size_t size;
    };

    void _giveBack() noexcept {
        if (_text.empty() && _text.capacity() > _keptCapacity) {
            _text = std::string();
        }
    }

    /// Writes the framing in the room between head and body, up against the body, and moves the head, which
    /// is the smaller part, up against the framing. Answers where the message begins then.
    std::size_t _frame() {
        constexpr std::string_view name = "Content-Length: ";
        constexpr std::string_view end = "\r\n\r\n";
        char digits[24];
        const std::size_t bodySize = _text.size() - _start - *_headSize - _framingSize;
        const char* digitsEnd = std::to_chars(digits, digits + sizeof digits, bodySize).ptr;
        const std::string_view number(digits, static_cast<std::size_t>(digitsEnd - digits));

        const std::size_t unused = _framingSize - name.size() - number.size() - end.size();
        const auto head = _text.begin() + static_cast<std::ptrdiff_t>(_start);
        const auto headEnd = head + static_cast<std::ptrdiff_t>(*_headSize);
        std::copy_backward(head, headEnd, headEnd + static_cast<std::ptrdiff_t>(unused));
        std::size_t position = _start + unused + *_headSize;
        for (const std::string_view part : {name, number, end}) {
            position += part.copy(&_text[position], part.size());
        }
        return _start + unused;
    }

    /// Room for the longest Content-Length line and the empty line.
    static constexpr std::size_t _framingSize = 40;
    /// Most export messages fit without growing the text twice.
    static constexpr std::size_t _usualSize = 4096;
    /// Those that a delivery sends together fit without growing the text again.
    static constexpr std::size_t _capacityForSeveral = std::size_t{40} * 1024;
    /// What an unusually long message took is given back, and what several took.
    static constexpr std::size_t _keptCapacity = std::size_t{16} * 1024;

    velm::KeptMemory<std::string> _kept;
    std::string& _text = *_kept;
    /// Where the message begins that is being written.
    std::size_t _start = 0;
    std::optional<std::size_t> _headSize;
    std::vector<Range> _held;
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
    _requireComplete();
    if (_buffer->heldSize() != 0) {
        sendHeld();
    }
    const auto drop = [](Buffer* buffer) { buffer->drop(); };
    const std::unique_ptr<Buffer, decltype(drop)> guard(_buffer.get(), drop);
    const std::string_view message = _buffer->complete();
    if (!message.empty()) {
        transmit(message);
    }
}

/// Throws, and forgets the message, when part of it is missing: a peer must not see the rest.
void ORVGenericHTTPOStream::_requireComplete() {
    if (fail()) {
        discard();
        throw ORVNetException("ORVGenericHTTPOStream::send", "The message could not be written completely");
    }
}

void ORVGenericHTTPOStream::hold() {
    if (typeid(*this) == typeid(ORVGenericHTTPOStream)) {
        _requireComplete();
        _buffer->hold();
    } else {
        // A derived class has its own way to send.
        send();
        ++_heldAndSentCount;
    }
}

void ORVGenericHTTPOStream::sendHeld() {
    const auto drop = [](Buffer* buffer) { buffer->dropHeld(); };
    const std::unique_ptr<Buffer, decltype(drop)> guard(_buffer.get(), drop);
    std::size_t sent = 0;
    const auto count = [this](const std::size_t* whole) { _heldAndSentCount += *whole; };
    const std::unique_ptr<const std::size_t, decltype(count)> counting(&sent, count);
    const std::vector<std::string_view> messages = _buffer->held();
    if (!messages.empty()) {
        _transport->sendEach(messages, sent);
    }
}

std::size_t ORVGenericHTTPOStream::getHeldSize() const noexcept {
    return _buffer->heldSize();
}

void ORVGenericHTTPOStream::discard() noexcept {
    _buffer->drop();
    clear();
}

void ORVGenericHTTPOStream::transmit(std::string_view message) {
    _transport->send(message);
}

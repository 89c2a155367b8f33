#include "foundation/http/ORVGenericHTTPOStream.h"

#include "foundation/http/ORVHTTPCodes.h"
#include "foundation/utilities/OrvoBaseException.h"

#include <optional>
#include <sstream>
#include <string>
#include <utility>

#include <fmt/format.h>

/// Holds one message. Synchronising it transmits nothing, so that std::flush and std::endl do no harm.
class ORVGenericHTTPOStream::Buffer : public std::stringbuf {
public:
    Buffer() : std::stringbuf(std::ios_base::out) {}

    void completeHeader() {
        if (!_headSize) {
            _headSize = view().size();
        }
    }

    /// The message, framed if its header lines were ended; what is written next begins another one.
    std::string take() {
        std::string message(view());
        if (_headSize) {
            message.insert(*_headSize, _framing(message.size() - *_headSize));
        }
        drop();
        return message;
    }

    void drop() {
        str({});
        _headSize.reset();
    }

private:
    static std::string _framing(std::size_t bodySize) {
        return fmt::format("Content-Length: {}{}{}", bodySize, ORVHTTPCodes::CRLF, ORVHTTPCodes::CRLF);
    }

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
    const std::string message = _buffer->take();
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

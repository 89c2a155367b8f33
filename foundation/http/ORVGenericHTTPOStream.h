#pragma once

#include "foundation/handles/ORVSmrPtr.h"
#include "foundation/http/ORVHTTPTransport.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <ostream>
#include <string_view>

/// A stream on which HTTP messages are written, one after the other.
///
/// What is written up to completeHeader() is the start line and header lines, each ended by
/// ORVHTTPCodes::CRLF; what follows is the body. send() and flush() transmit the message in one write, framed
/// by a Content-Length header, and begin the next message. Without completeHeader() the bytes go out as they
/// were written. Messages that are held back go out before any later one.
///
/// Threads: one at a time. Failure: send() and flush() throw ORVNetException; what was buffered is then
/// dropped.
class VELM_EXPORT ORVGenericHTTPOStream : public std::ostream {
public:
    explicit ORVGenericHTTPOStream(ORVSmrPtr<ORVHTTPTransport> transport);
    ~ORVGenericHTTPOStream() override;

    /// Ends the header lines of the message.
    virtual void completeHeader();

    /// Transmits the message.
    virtual void send();

    /// Ends the message as send() does and begins the next one, but may hold it back until sendHeld(), so
    /// that several messages go out in one write. Throws as send() does; what is held back stays so.
    void hold();

    /// Transmits the messages that are held back. When one fails, it and those behind it are dropped.
    void sendHeld();

    /// The bytes that are held back.
    std::size_t getHeldSize() const noexcept;

    /// How many of the messages that hold() ended went out whole, since the stream exists.
    std::uint64_t getHeldAndSentCount() const noexcept { return _heldAndSentCount; }

    /// Forgets what was written of the message: the next one begins here.
    void discard() noexcept;

    /// Transmits what was written. (Hides std::ostream::flush, which would turn a failure into a flag.)
    void flush() { send(); }

    ORVHTTPTransport& getTransport() const { return *_transport; }

protected:
    /// How send() hands a complete message to the transport.
    virtual void transmit(std::string_view message);

private:
    class Buffer;

    void _requireComplete();

    ORVSmrPtr<ORVHTTPTransport> _transport;
    std::unique_ptr<Buffer> _buffer;
    std::uint64_t _heldAndSentCount = 0;
};

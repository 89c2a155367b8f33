#pragma once

#include "foundation/handles/ORVSmrPtr.h"
#include "foundation/http/ORVHTTPTransport.h"

#include <memory>
#include <ostream>
#include <string_view>

/// A stream on which HTTP messages are written, one after the other.
///
/// What is written up to completeHeader() is the start line and header lines, each ended by
/// ORVHTTPCodes::CRLF; what follows is the body. send() and flush() transmit the message in one write, framed
/// by a Content-Length header, and begin the next message. Without completeHeader() the bytes go out as they
/// were written.
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

    ORVSmrPtr<ORVHTTPTransport> _transport;
    std::unique_ptr<Buffer> _buffer;
};

#pragma once

#include "foundation/handles/ORVSmrPtr.h"
#include "foundation/http/ORVHTTPTransport.h"

#include <istream>
#include <memory>

/// The stream from which one HTTP response is read: its head through ORVHTTPResponse, its body as the bytes
/// of the stream, whatever framing the peer used (Content-Length, chunked, or the end of the connection; RFC
/// 9112).
///
/// Threads: one at a time. Failure: reading throws ORVNetException when the network fails or the deadline
/// passes (see ORVHTTPTransport::setReceiveTimeout), and when the framing is broken.
class VELM_EXPORT ORVGenericHTTPIStream : public std::istream {
public:
    explicit ORVGenericHTTPIStream(ORVSmrPtr<ORVHTTPTransport> transport);
    ~ORVGenericHTTPIStream() override;

    ORVHTTPTransport& getTransport() const { return *_transport; }

private:
    friend class ORVHTTPResponse;
    class Buffer;

    ORVSmrPtr<ORVHTTPTransport> _transport;
    std::unique_ptr<Buffer> _buffer;
};

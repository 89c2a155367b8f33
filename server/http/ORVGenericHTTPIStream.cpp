#include "foundation/http/ORVGenericHTTPIStream.h"

#include "server/http/HTTPIStreamBuffer.h"

#include <utility>

ORVGenericHTTPIStream::ORVGenericHTTPIStream(ORVSmrPtr<ORVHTTPTransport> transport)
    : std::istream(nullptr),
      _transport(std::move(transport)),
      _buffer(std::make_unique<Buffer>(*_transport)) {
    rdbuf(_buffer.get());
    // What the buffer throws reaches the reader instead of becoming a flag.
    exceptions(std::ios_base::badbit);
}

ORVGenericHTTPIStream::~ORVGenericHTTPIStream() = default;

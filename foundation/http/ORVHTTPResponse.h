#pragma once

#include "foundation/http/ORVGenericHTTPIStream.h"
#include "foundation/utilities/ORVString.h"

#include <memory>

/// The head of an HTTP response. Used by one thread.
class VELM_EXPORT ORVHTTPResponse {
public:
    ORVHTTPResponse();
    ORVHTTPResponse(const ORVHTTPResponse&) = delete;
    ORVHTTPResponse& operator=(const ORVHTTPResponse&) = delete;
    ~ORVHTTPResponse();

    /// Reads the status line and the headers, skipping 1xx responses; the stream then yields the body. Header
    /// lines without a colon, which some listeners send, are passed over. Throws ORVNetException when there
    /// is no status line, the head is longer than 64 KiB, or the network fails.
    void readResponseFrom(ORVGenericHTTPIStream& stream);

    /// 0 before a response was read.
    unsigned int getStatus() const noexcept;
    /// The null string before a response was read.
    ORVString getReason() const;

    /// The value of the first header with this name, letter case ignored; the null string when there is none.
    ORVString getHeader(const ORVString& name) const;

private:
    struct State;
    std::unique_ptr<State> _state;
};

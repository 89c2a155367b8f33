#pragma once

#include "foundation/Export.h"
#include "foundation/handles/ORVSmrPtr.h"
#include "foundation/http/ORVGenericHTTPOStream.h"
#include "foundation/http/ORVHTTPTransport.h"

/// The connection that a subscriber opened to the server and keeps open for its indications.
///
/// Threads: every operation on any thread. One message at a time is written on the stream: the
/// registration's answer under the manager's write lock, and after it export messages by the delivery thread.
class VELM_EXPORT CSubscriberNetworkConnection {
public:
    /// Takes the connected socket over.
    explicit CSubscriberNetworkConnection(ORVSmrPtr<ORVHTTPTransport> transport);
    CSubscriberNetworkConnection(const CSubscriberNetworkConnection&) = delete;
    CSubscriberNetworkConnection& operator=(const CSubscriberNetworkConnection&) = delete;
    virtual ~CSubscriberNetworkConnection();

    /// The stream onto which messages for the subscriber are written; the same one at every call.
    virtual ORVSmrPtr<ORVGenericHTTPOStream> getOutputStream();

    ORVSmrPtr<ORVHTTPTransport> getTransport() const { return _transport; }

    /// Whether this side has closed the connection: after a failed operation, or when the peer's close was
    /// seen.
    bool isClosed() const noexcept;

private:
    const ORVSmrPtr<ORVHTTPTransport> _transport;
    const ORVSmrPtr<ORVGenericHTTPOStream> _outputStream;
};

#include "foundation/subscribers/CSubscriberNetworkConnection.h"

CSubscriberNetworkConnection::CSubscriberNetworkConnection(ORVSmrPtr<ORVHTTPTransport> transport)
    : _transport(transport), _outputStream(new ORVGenericHTTPOStream(transport)) {
}

CSubscriberNetworkConnection::~CSubscriberNetworkConnection() = default;

ORVSmrPtr<ORVGenericHTTPOStream> CSubscriberNetworkConnection::getOutputStream() {
    return _outputStream;
}

bool CSubscriberNetworkConnection::isClosed() const noexcept {
    const ORVHTTPTransport* transport = _transport.Get();
    return transport && transport->nativeHandle() == -1;
}

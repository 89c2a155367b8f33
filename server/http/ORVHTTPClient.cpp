#include "foundation/http/ORVHTTPClient.h"

#include "foundation/utilities/OrvoBaseException.h"
#include "server/http/HTTPTarget.h"

#include <memory>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <string>
#include <sys/socket.h>
#include <utility>

#include <boost/beast/http/verb.hpp>
#include <boost/url/parse.hpp>
#include <fmt/format.h>

namespace {

/// Milliseconds in which a listener that was asked to close may do so first. Those that do, do it at once;
/// the others hold up the delivery thread for as long.
constexpr long closeTimeout = 100;

class RequestStream : public ORVGenericHTTPOStream {
public:
    using ORVGenericHTTPOStream::ORVGenericHTTPOStream;

protected:
    /// Listeners refuse a request by its header lines alone and close while the body is still on its way.
    void transmit(std::string_view message) override { getTransport().sendRequest(message); }
};

void checkRequestLine(const ORVString& method, const ORVString& path) {
    if (boost::beast::http::string_to_verb(method.view()) == boost::beast::http::verb::unknown ||
        !boost::urls::parse_origin_form(path.view())) {
        throw ORVNetException("ORVHTTPClient::connect", ORVString(fmt::format("\"{} {}\" is no HTTP request",
                                                                              method.view(), path.view())));
    }
}

/// Whom a request goes to, and how it begins.
struct Destination {
    ORVString url;
    ORVString method;
    ORVString path;
    bool closesConnection = false;
    velm::HTTPTarget target;
    std::string head;

    bool isFor(const ORVString& wantedURL, const ORVString& wantedMethod, const ORVString& wantedPath,
               bool isToBeClosed) const {
        return !head.empty() && url == wantedURL && method == wantedMethod && path == wantedPath &&
               closesConnection == isToBeClosed;
    }
};

Destination makeDestination(const ORVString& url, const ORVString& method, const ORVString& path,
                            bool closesConnection) {
    velm::HTTPTarget target = velm::HTTPTarget::parse(url.view());
    checkRequestLine(method, path);
    std::string head = fmt::format(
        "{} {} HTTP/1.1\r\n"
        "Host: {}\r\n"
        "Content-Type: application/xml; charset=utf-8\r\n"
        "CIMExport: MethodRequest\r\n"
        "CIMExportMethod: ExportIndication\r\n"
        "{}",
        method.view(), path.view(), target.authority, closesConnection ? "Connection: close\r\n" : "");
    return {url, method, path, closesConnection, std::move(target), std::move(head)};
}

/// Indications come in batches for one listener: each thread keeps the last destination. Valid until the
/// thread asks again.
const Destination& destinationFor(const ORVString& url, const ORVString& method, const ORVString& path,
                                  bool closesConnection) {
    static thread_local Destination last;
    if (!last.isFor(url, method, path, closesConnection)) {
        last = makeDestination(url, method, path, closesConnection);
    }
    return last;
}

void switchOn(const ORVHTTPTransport& transport, int level, int option) {
    const int on = 1;
    ::setsockopt(transport.nativeHandle(), level, option, &on, sizeof on);
}

}  // namespace

const int ORVHTTPClient::defaultTimeout = 30000;

ORVHTTPClient::ORVHTTPClient(const ORVString& url, int timeout, bool keepsConnection)
    : ORVHTTPClient(url, false, false, timeout, !keepsConnection) {
}

ORVHTTPClient::ORVHTTPClient(const ORVString& url, bool probesPeer, bool sendsAtOnce, int timeout,
                             bool closesConnection)
    : _url(url),
      _timeout(timeout),
      _probesPeer(probesPeer),
      _sendsAtOnce(sendsAtOnce),
      _closesConnection(closesConnection) {
}

ORVHTTPClient::~ORVHTTPClient() {
    disconnect();
}

ORVGenericHTTPIStream* ORVHTTPClient::connect(const ORVString& method, const ORVString& path,
                                              std::ostream** requestStream) {
    *requestStream = nullptr;
    disconnect();
    const Destination& destination = destinationFor(_url, method, path, _closesConnection);
    _open(destination.target.host, destination.target.port);

    auto request = std::make_unique<RequestStream>(_transport);
    request->write(destination.head.data(), static_cast<std::streamsize>(destination.head.size()));
    request->completeHeader();

    auto response = std::make_unique<ORVGenericHTTPIStream>(_transport);
    *requestStream = request.release();
    return response.release();
}

void ORVHTTPClient::_open(std::string_view host, std::string_view port) {
    _transport = ORVHTTPTransport::connect(ORVString(host), ORVString(port), _timeout).release();
    _transport->setSendTimeout(_timeout);
    _transport->setReceiveTimeout(_timeout);
    if (_probesPeer) {
        switchOn(*_transport, SOL_SOCKET, SO_KEEPALIVE);
    }
    if (_sendsAtOnce) {
        switchOn(*_transport, IPPROTO_TCP, TCP_NODELAY);
    }
}

void ORVHTTPClient::disconnect() noexcept {
    if (_transport.IsNull()) {
        return;
    }
    _closesConnection ? _transport->closeAfterPeer(closeTimeout) : _transport->close();
}

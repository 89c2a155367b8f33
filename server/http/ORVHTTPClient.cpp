#include "foundation/http/ORVHTTPClient.h"

#include "foundation/utilities/OrvoBaseException.h"
#include "server/http/HTTPTarget.h"

#include <memory>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

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
    const velm::HTTPTarget target = velm::HTTPTarget::parse(_url.view());
    checkRequestLine(method, path);
    _open(target.host, target.port);

    auto request = std::make_unique<RequestStream>(_transport);
    *request << fmt::format(
        "{} {} HTTP/1.1\r\n"
        "Host: {}\r\n"
        "Content-Type: application/xml; charset=utf-8\r\n"
        "CIMExport: MethodRequest\r\n"
        "CIMExportMethod: ExportIndication\r\n",
        method.view(), path.view(), target.authority);
    if (_closesConnection) {
        *request << "Connection: close\r\n";
    }
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

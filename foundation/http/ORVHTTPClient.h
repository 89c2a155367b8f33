#pragma once

#include "foundation/http/ORVGenericHTTPIStream.h"
#include "foundation/http/ORVGenericHTTPOStream.h"
#include "foundation/utilities/ORVString.h"

#include <iosfwd>
#include <string_view>

/// A client of one HTTP server, for one request. Used by one thread.
class VELM_EXPORT ORVHTTPClient {
public:
    /// Milliseconds for each of connecting, sending and receiving where the caller has no better number:
    /// 30000.
    static const int defaultTimeout;

    /// `url` is "http://host:port", an IPv6 address with or without brackets. `timeout` is in milliseconds,
    /// for each of connecting, sending, and receiving until the transport of the response is told otherwise
    /// (counted from connect()). With `keepsConnection` the request does not ask the server to close after
    /// its answer.
    ORVHTTPClient(const ORVString& url, int timeout, bool keepsConnection);

    /// The same for a server on another machine. `probesPeer` switches TCP keep-alive on; `sendsAtOnce`
    /// switches Nagle's algorithm off; `closesConnection` asks the server to close after its answer.
    ORVHTTPClient(const ORVString& url, bool probesPeer, bool sendsAtOnce, int timeout,
                  bool closesConnection);
    ORVHTTPClient(const ORVHTTPClient&) = delete;
    ORVHTTPClient& operator=(const ORVHTTPClient&) = delete;
    ~ORVHTTPClient();

    /// Connects, and opens a CIM-XML export request (DSP0200: CIMExport, CIMExportMethod) with this method
    /// and path.
    /// `*requestStream` receives the stream for the body, headers already written, whose send() transmits the
    /// request; the result is the stream of the response. The caller owns and deletes both. Throws
    /// ORVNetException when the URL is not one or the connection cannot be made; `*requestStream` is null
    /// then.
    ORVGenericHTTPIStream* connect(const ORVString& method, const ORVString& path,
                                   std::ostream** requestStream);

    /// Closes the connection; streams that still exist fail from then on. May be called twice, and before
    /// connect. A server that was asked to close, and has answered, is given a tenth of a second to do so
    /// first.
    void disconnect() noexcept;

private:
    void _open(std::string_view host, std::string_view port);

    ORVString _url;
    int _timeout;
    bool _probesPeer;
    bool _sendsAtOnce;
    bool _closesConnection;
    ORVSmrPtr<ORVHTTPTransport> _transport;
};

#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace velm {

/// What a client may cost.
struct HTTPLimits {
    /// Bytes of the start line and the headers of one request. Larger is answered with 431.
    std::size_t maxHeaderBytes = 16 * 1024;
    /// Bytes of the body of one request, chunked or not. Larger is answered with 413.
    std::size_t maxBodyBytes = 16 * 1024 * 1024;
    /// Open connections; past it a new one is answered with 503 and closed.
    std::size_t maxConnections = 20'000;
    /// Bytes of requests and responses that are held for all clients together. Past it whoever holds most is
    /// let go: with 503 while its request comes in, or instead of its response; with a reset while it takes
    /// its response. A request that a worker has, or waits for one, is not given up, and neither is a
    /// response that takes no more room than its request did.
    std::size_t maxHeldBytes = 256 * 1024 * 1024;
    /// Between two requests on one connection.
    std::chrono::milliseconds idleTimeout{300'000};
    /// For the head of a request from its first byte, and then for its body: a slow client is let go.
    std::chrono::milliseconds requestTimeout{60'000};
    /// For writing a response, as long as the client reads nothing of it.
    std::chrono::milliseconds writeTimeout{60'000};
    /// Requests that wait for an operation thread, over all connections; past it a request is answered with
    /// 503.
    std::size_t maxWaitingRequests = 1'000;
};

/// A request, complete.
struct HTTPRequest {
    std::string method;
    std::string target;
    /// In the order and spelling of the client.
    std::vector<std::pair<std::string, std::string>> headers;
    std::string body;
    /// The server's address as this client reached it.
    std::string localAddress;
    std::uint16_t localPort = 0;
    std::string peerAddress;

    /// The value of the first header with this name, letter case ignored; null when there is none.
    const std::string* header(std::string_view name) const;
};

struct HTTPResponse {
    /// 200 to 599.
    unsigned int status = 200;
    /// Content-Length, Date, Server and Connection are the server's to add; the handler's own, and
    /// Transfer-Encoding, are left out.
    std::vector<std::pair<std::string, std::string>> headers;
    /// Not sent, only its length told, when the request is a HEAD; neither for the status 204 and 304.
    std::string body;
    /// Set: nothing is answered; the connection's socket is handed over instead, once the client has
    /// acknowledged every earlier response: the first `unblockedBytes` that are written to the socket do not
    /// block then. A client that acknowledges nothing for HTTPLimits::writeTimeout is reset. What the client
    /// has sent ahead is lost. The function is called on a worker, so that it may block; it owns the
    /// descriptor (blocking mode) and must not throw. It is not called when the client or the server has gone
    /// by then.
    std::function<void(int socket)> takeOver;
    static constexpr std::size_t unblockedBytes = 4096;
};

/// Serves HTTP/1.0 and 1.1 (RFC 9112) on loopback addresses: keep-alive, pipelining in order,
/// Expect: 100-continue, Content-Length and chunked bodies. What is malformed, ambiguous in its framing or
/// past a limit is answered with 400, 408, 413, 417, 431, 501, 503 or 505, a sentence that says why, and
/// closed; 503 also when the process has no descriptor left.
///
/// Threads: one runs all connections; `workers` call the handler, and one more does for urgent requests. Any
/// thread may call the operations.
/// Failure: the constructor throws std::invalid_argument that names an address that is no loopback literal,
/// and std::system_error that names the address that cannot be bound. An IPv6 address that this machine has
/// not is left out with a line in the log while another one works.
class HTTPServer {
public:
    /// Called on a worker, or on the thread of the urgent requests, by several at a time. What it throws is
    /// logged and answered with 500; so is a response that would break its framing (a line break in a
    /// header).
    using Handler = std::function<HTTPResponse(const HTTPRequest&)>;

    struct Options {
        /// Literal loopback addresses.
        std::vector<std::string> addresses{"127.0.0.1", "::1"};
        /// 0: the kernel chooses one, the same for all addresses.
        std::uint16_t port = 5988;
        unsigned int workers = 4;
        HTTPLimits limits;
        /// The Server header.
        std::string name = "velmd";
        /// Whether a request has to be answered even while all workers are busy: what an operator asks who
        /// wants to know why they are. Such requests have a thread of their own, all together. Called on the
        /// thread of the connections: it must neither block nor throw. Empty: none has.
        std::function<bool(const HTTPRequest&)> isUrgent;
    };

    /// Listens, and serves from now on.
    HTTPServer(Options options, Handler handler);
    HTTPServer(const HTTPServer&) = delete;
    HTTPServer& operator=(const HTTPServer&) = delete;
    /// As stop() with no time to spare.
    ~HTTPServer();

    std::uint16_t port() const noexcept;
    /// Open connections, those included that are being refused; not those that were taken over.
    std::size_t connectionCount() const noexcept;
    /// What HTTPLimits::maxHeldBytes bounds, as it is now.
    std::size_t heldBytes() const noexcept;

    /// Accepts no more, lets requests that are complete be answered, and closes; what is not done after
    /// `patience` is cut off. Returns the number of requests cut off. May be called twice.
    ///
    /// A handler or a taker-over that runs cannot be cut off, only its client: it is waited for, and none
    /// runs after the return. Requires: not called from a handler or a taker-over.
    std::size_t stop(std::chrono::milliseconds patience);

    /// Whether the server has got on since the last call: the thread of the connections has had a turn and,
    /// where requests wait for the workers, one of these has ended one. For whoever wants to notice a server
    /// that is stuck; a single false after a short time means little. True at the first call. Requires: one
    /// thread at a time; not called after stop().
    bool makesProgress();

private:
    class Impl;
    std::unique_ptr<Impl> _impl;
};

}  // namespace velm

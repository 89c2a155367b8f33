#include "velmctl/client/LocalConnection.h"

#include "velmctl/client/ClientError.h"

#include <cstdint>
#include <vector>

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/core/tcp_stream.hpp>
#include <boost/beast/http.hpp>
#include <fmt/format.h>

namespace velm {

namespace {

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace http = boost::beast::http;
using Kind = ClientError::Kind;

constexpr std::uint64_t maxResponseSize = 256 * 1024 * 1024;

std::string textOf(beast::string_view text) {
    return std::string(text);
}

}  // namespace

struct LocalConnection::State {
    State(HostPort server, std::chrono::milliseconds time) : peer(std::move(server)), patience(time) {}

    /// Runs one asynchronous operation to its end; `start` gets the handler to complete it with.
    template <class Start>
    beast::error_code await(Start start);

    [[noreturn]] void fail(const beast::error_code& failure) const;
    void connect();
    void write(const http::request<http::string_body>& request);

    const HostPort peer;
    const std::chrono::milliseconds patience;
    asio::io_context context;
    beast::tcp_stream stream{context};
    beast::flat_buffer buffer;
};

template <class Start>
beast::error_code LocalConnection::State::await(Start start) {
    beast::error_code result = asio::error::would_block;
    stream.expires_after(patience);
    start([&result](const beast::error_code& failure, const auto&...) { result = failure; });
    context.restart();
    context.run();
    stream.expires_never();
    return result;
}

void LocalConnection::State::fail(const beast::error_code& failure) const {
    const std::string where = peer.text();
    if (failure == asio::error::connection_refused) {
        throw ClientError(Kind::noServer, fmt::format("nobody listens on {}", where));
    }
    if (failure == beast::error::timeout) {
        throw ClientError(Kind::noAnswer, fmt::format("{} did not answer within {} s", where,
                                                      static_cast<double>(patience.count()) / 1000));
    }
    if (failure.category() == make_error_code(http::error::bad_version).category() &&
        failure != http::error::end_of_stream && failure != http::error::partial_message) {
        throw ClientError(Kind::noCIMServer,
                          fmt::format("what listens on {} does not speak HTTP as a CIM server does ({})",
                                      where, failure.message()));
    }
    throw ClientError(Kind::noAnswer,
                      fmt::format("the connection to {} broke: {}", where, failure.message()));
}

void LocalConnection::State::connect() {
    std::vector<asio::ip::tcp::endpoint> endpoints;
    for (const std::string& address : loopbackAddresses(peer.host)) {
        endpoints.emplace_back(asio::ip::make_address(address),
                               static_cast<std::uint16_t>(std::stoul(peer.port)));
    }
    if (const auto failure = await([&](auto done) { stream.async_connect(endpoints, done); })) {
        fail(failure);
    }
}

void LocalConnection::State::write(const http::request<http::string_body>& request) {
    if (const auto failure = await([&](auto done) { http::async_write(stream, request, done); })) {
        fail(failure);
    }
}

std::string LocalConnection::Response::header(std::string_view name) const {
    for (const auto& [other, value] : headers) {
        if (beast::iequals({other.data(), other.size()}, {name.data(), name.size()})) {
            return value;
        }
    }
    return {};
}

LocalConnection::LocalConnection(const HostPort& peer, std::chrono::milliseconds patience)
    : _state(std::make_unique<State>(peer, patience)) {
    _state->connect();
}

LocalConnection::~LocalConnection() = default;

const HostPort& LocalConnection::peer() const noexcept {
    return _state->peer;
}

HostPort LocalConnection::local() const {
    const auto endpoint = _state->stream.socket().local_endpoint();
    return {endpoint.address().to_string(), std::to_string(endpoint.port())};
}

int LocalConnection::descriptor() const noexcept {
    return _state->stream.socket().native_handle();
}

bool LocalConnection::hasUnread() const noexcept {
    return _state->buffer.size() != 0;
}

void LocalConnection::send(const std::string& method, const std::string& nameSpace, const std::string& body) {
    http::request<http::string_body> request{http::verb::post, "/cimom", 11};
    request.set(http::field::host, _state->peer.text());
    request.set(http::field::content_type, "application/xml; charset=\"utf-8\"");
    request.set("CIMOperation", "MethodCall");
    request.set("CIMMethod", method);
    request.set("CIMObject", nameSpace);
    request.body() = body;
    request.prepare_payload();
    _state->write(request);
}

void LocalConnection::get(const std::string& target) {
    http::request<http::string_body> request{http::verb::get, target, 11};
    request.set(http::field::host, _state->peer.text());
    _state->write(request);
}

std::optional<LocalConnection::Response> LocalConnection::receive() {
    http::response_parser<http::string_body> parser;
    parser.body_limit(maxResponseSize);
    const auto failure =
        _state->await([&](auto done) { http::async_read(_state->stream, _state->buffer, parser, done); });
    if (failure == http::error::end_of_stream || failure == asio::error::connection_reset) {
        return std::nullopt;
    }
    if (failure) {
        _state->fail(failure);
    }
    auto message = parser.release();
    Response response{message.result_int(), textOf(message.reason()), {}, std::move(message.body())};
    for (const auto& field : message) {
        response.headers.emplace_back(textOf(field.name_string()), textOf(field.value()));
    }
    return response;
}

}  // namespace velm

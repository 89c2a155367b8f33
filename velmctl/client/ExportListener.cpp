#include "velmctl/client/ExportListener.h"

#include "server/xml/XMLText.h"
#include "velmctl/client/ClientError.h"

#include <chrono>
#include <cstdint>
#include <utility>

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/post.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/core/tcp_stream.hpp>
#include <boost/beast/http.hpp>
#include <fmt/format.h>

namespace velm {

namespace {

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace http = boost::beast::http;
using tcp = asio::ip::tcp;

constexpr std::size_t maxMessageSize = 64 * 1024 * 1024;
constexpr std::chrono::seconds receiveTime{30};
constexpr std::chrono::seconds endTime{1};

struct Callbacks {
    ExportListener::Receive receive;
    ExportListener::Complain complain;
};

std::string responseDocument(const std::string& messageID, const std::string& content) {
    std::string id;
    appendXMLText(id, messageID, XMLContext::attribute, 0);
    return fmt::format(
        R"(<?xml version="1.0" encoding="utf-8"?>
<CIM CIMVERSION="2.0" DTDVERSION="2.0"><MESSAGE ID="{}" PROTOCOLVERSION="1.0"><SIMPLEEXPRSP>)"
        R"(<EXPMETHODRESPONSE NAME="ExportIndication">{}</EXPMETHODRESPONSE></SIMPLEEXPRSP></MESSAGE></CIM>)",
        id, content);
}

std::string answer(const std::string& body, const Callbacks& callbacks) {
    try {
        const ExportMessage message = ExportMessage::parse(body);
        callbacks.receive(message);
        return responseDocument(message.messageID, "");
    } catch (const std::exception& failure) {
        callbacks.complain(fmt::format("not an export message: {}", failure.what()));
        return responseDocument("0", R"(<ERROR CODE="1" DESCRIPTION="The message cannot be read."/>)");
    }
}

http::response<http::string_body> respond(const http::request<http::string_body>& request,
                                          const Callbacks& callbacks) {
    http::response<http::string_body> response{http::status::ok, request.version()};
    response.keep_alive(false);
    if (request.method() != http::verb::post) {
        response.result(http::status::method_not_allowed);
        response.set(http::field::allow, "POST");
    } else {
        response.set(http::field::content_type, "application/xml; charset=utf-8");
        response.set("CIMExport", "MethodResponse");
        response.body() = answer(request.body(), callbacks);
    }
    response.prepare_payload();
    return response;
}

/// One connection, which carries one message; the handlers share it.
class Exchange : public std::enable_shared_from_this<Exchange> {
public:
    Exchange(tcp::socket socket, const Callbacks& callbacks)
        : _stream(std::move(socket)), _callbacks(callbacks) {}

    void start() {
        _parser.body_limit(maxMessageSize);
        _stream.expires_after(receiveTime);
        http::async_read(_stream, _buffer, _parser,
                         [self = shared_from_this()](beast::error_code failure, std::size_t) {
                             if (!failure) {
                                 self->_answer();
                             }
                         });
    }

private:
    void _answer() {
        _response = respond(_parser.get(), _callbacks);
        http::async_write(_stream, _response, [self = shared_from_this()](beast::error_code, std::size_t) {
            beast::error_code ignored;
            self->_stream.socket().shutdown(tcp::socket::shutdown_both, ignored);
        });
    }

    beast::tcp_stream _stream;
    const Callbacks& _callbacks;
    beast::flat_buffer _buffer;
    http::request_parser<http::string_body> _parser;
    http::response<http::string_body> _response;
};

[[noreturn]] void fail(const HostPort& address, const std::string& reason) {
    throw ClientError(ClientError::Kind::cannotListen,
                      fmt::format("cannot listen on {}: {}", address.text(), reason));
}

tcp::endpoint endpointOf(const HostPort& address) {
    try {
        return {asio::ip::make_address(loopbackAddresses(address.host).front()),
                static_cast<std::uint16_t>(std::stoul(address.port))};
    } catch (const ClientError& error) {
        fail(address, error.what());
    }
}

void listen(tcp::acceptor& acceptor, const HostPort& address) {
    const tcp::endpoint endpoint = endpointOf(address);
    boost::system::error_code failure;
    acceptor.open(endpoint.protocol(), failure);
    if (!failure) {
        acceptor.set_option(tcp::acceptor::reuse_address(true), failure);
        acceptor.bind(endpoint, failure);
    }
    if (!failure) {
        acceptor.listen(tcp::acceptor::max_listen_connections, failure);
    }
    if (failure) {
        fail(address, failure.message());
    }
}

HostPort addressOf(const tcp::acceptor& acceptor) {
    const tcp::endpoint endpoint = acceptor.local_endpoint();
    return {endpoint.address().to_string(), std::to_string(endpoint.port())};
}

}  // namespace

struct ExportListener::State {
    void accept() {
        acceptor.async_accept([this](beast::error_code failure, tcp::socket socket) {
            if (isStopped) {
                return;
            }
            if (!failure) {
                std::make_shared<Exchange>(std::move(socket), callbacks)->start();
            }
            accept();
        });
    }

    Callbacks callbacks;
    asio::io_context context;
    tcp::acceptor acceptor{context};
    HostPort address;
    bool isStopped = false;
};

ExportListener::ExportListener(const HostPort& address, Receive receive, Complain complain)
    : _state(std::make_unique<State>()) {
    _state->callbacks = {std::move(receive), std::move(complain)};
    listen(_state->acceptor, address);
    _state->address = addressOf(_state->acceptor);
    _state->accept();
}

ExportListener::~ExportListener() = default;

const HostPort& ExportListener::address() const noexcept {
    return _state->address;
}

void ExportListener::run() {
    while (!_state->isStopped) {
        _state->context.run_one();
    }
    _state->context.run_for(endTime);
}

void ExportListener::stop() {
    asio::post(_state->context, [state = _state.get()] {
        state->isStopped = true;
        boost::system::error_code ignored;
        state->acceptor.close(ignored);
    });
}

}  // namespace velm

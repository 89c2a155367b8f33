#include "examples/listener/ExportListener.h"

#include <iostream>

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/core/tcp_stream.hpp>
#include <boost/beast/http.hpp>
#include <fmt/format.h>

namespace {

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace http = boost::beast::http;
using tcp = asio::ip::tcp;

constexpr std::size_t maxMessageSize = 8 * 1024 * 1024;
constexpr int receiveTimeoutSeconds = 30;

std::string responseDocument(const std::string& messageID, const std::string& content) {
    return fmt::format(
        R"(<?xml version="1.0" encoding="utf-8"?>
<CIM CIMVERSION="2.0" DTDVERSION="2.0"><MESSAGE ID="{}" PROTOCOLVERSION="1.0"><SIMPLEEXPRSP>)"
        R"(<EXPMETHODRESPONSE NAME="ExportIndication">{}</EXPMETHODRESPONSE></SIMPLEEXPRSP></MESSAGE></CIM>)",
        messageID, content);
}

std::string answer(const std::string& body, const ExportListener::Receive& receive) {
    try {
        const ExportMessage message = ExportMessage::parse(body);
        receive(message);
        return responseDocument(message.messageID, "");
    } catch (const std::exception& failure) {
        std::cerr << "Not an export message: " << failure.what() << std::endl;
        return responseDocument("0", R"(<ERROR CODE="1" DESCRIPTION="The message cannot be read."/>)");
    }
}

http::response<http::string_body> respond(const http::request<http::string_body>& request,
                                          const ExportListener::Receive& receive) {
    http::response<http::string_body> response{http::status::ok, request.version()};
    response.keep_alive(false);
    if (request.method() != http::verb::post) {
        response.result(http::status::method_not_allowed);
        response.set(http::field::allow, "POST");
    } else {
        response.set(http::field::content_type, "application/xml; charset=utf-8");
        response.set("CIMExport", "MethodResponse");
        response.body() = answer(request.body(), receive);
    }
    response.prepare_payload();
    return response;
}

void serve(tcp::socket socket, const ExportListener::Receive& receive) {
    // Blocking reads cannot be cancelled, so the kernel watches over silent peers.
    const timeval timeout{receiveTimeoutSeconds, 0};
    setsockopt(socket.native_handle(), SOL_SOCKET, SO_RCVTIMEO, &timeout, sizeof timeout);
    beast::flat_buffer buffer;
    http::request_parser<http::string_body> parser;
    parser.body_limit(maxMessageSize);
    beast::error_code failure;
    http::read(socket, buffer, parser, failure);
    if (!failure) {
        http::write(socket, respond(parser.get(), receive), failure);
    }
    socket.shutdown(tcp::socket::shutdown_both, failure);
}

}  // namespace

struct ExportListener::State {
    State(const std::string& address, unsigned short port, Receive receiver)
        : acceptor(context, tcp::endpoint(asio::ip::make_address(address), port)),
          receive(std::move(receiver)) {}

    asio::io_context context;
    tcp::acceptor acceptor;
    Receive receive;
};

ExportListener::ExportListener(const std::string& address, unsigned short port, Receive receive)
    : _state(std::make_unique<State>(address, port, std::move(receive))) {
}

ExportListener::~ExportListener() = default;

unsigned short ExportListener::port() const {
    return _state->acceptor.local_endpoint().port();
}

void ExportListener::run() {
    while (true) {
        beast::error_code failure;
        tcp::socket socket = _state->acceptor.accept(failure);
        if (!failure) {
            serve(std::move(socket), _state->receive);
        }
    }
}

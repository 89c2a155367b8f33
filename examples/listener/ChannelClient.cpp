#include "examples/listener/ChannelClient.h"

#include <sstream>
#include <stdexcept>

#include <boost/asio/connect.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/http.hpp>
#include <boost/property_tree/ptree.hpp>
#include <boost/property_tree/xml_parser.hpp>
#include <fmt/format.h>

namespace {

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace http = boost::beast::http;
using boost::property_tree::ptree;
using tcp = asio::ip::tcp;
using Response = http::response<http::string_body>;

std::string requestDocument(const std::string& method, const std::string& parameters) {
    return fmt::format(R"(<?xml version="1.0" encoding="utf-8"?>
<CIM CIMVERSION="2.0" DTDVERSION="2.0"><MESSAGE ID="1" PROTOCOLVERSION="1.0"><SIMPLEREQ><IMETHODCALL NAME="{}">)"
                       R"(<LOCALNAMESPACEPATH><NAMESPACE NAME="root"/></LOCALNAMESPACEPATH>{})"
                       R"(</IMETHODCALL></SIMPLEREQ></MESSAGE></CIM>)",
                       method, parameters);
}

std::string parameter(const char* name, const std::string& value) {
    return fmt::format(R"(<IPARAMVALUE NAME="{}"><VALUE>{}</VALUE></IPARAMVALUE>)", name, value);
}

/// The return value in a response document; throws with the server's words when there is an error instead.
std::string returnValue(const std::string& document) {
    ptree tree;
    std::istringstream stream{document};
    read_xml(stream, tree);
    const ptree& response = tree.get_child("CIM.MESSAGE.SIMPLERSP.IMETHODRESPONSE");
    if (const auto error = response.get_optional<std::string>("ERROR.<xmlattr>.DESCRIPTION")) {
        throw std::runtime_error("the server refused: " + *error);
    }
    return response.get<std::string>("RETURNVALUE.VALUE", "");
}

}  // namespace

struct ChannelClient::State {
    asio::io_context context;
    std::string serverHost;
    std::string serverPort;
    std::string identity;
    std::string serverSession;
    tcp::socket channel{context};
    beast::flat_buffer buffer;

    tcp::socket connect() {
        tcp::socket socket(context);
        asio::connect(socket, tcp::resolver(context).resolve(serverHost, serverPort));
        return socket;
    }

    std::string call(tcp::socket& socket, beast::flat_buffer& received, const std::string& method) {
        http::request<http::string_body> request{http::verb::post, "/cimom", 11};
        request.set(http::field::host, serverHost + ":" + serverPort);
        request.set(http::field::content_type, "application/xml; charset=utf-8");
        request.set("CIMOperation", "MethodCall");
        request.set("CIMMethod", method);
        request.set("CIMObject", "root");
        request.body() = requestDocument(method, identity);
        request.prepare_payload();
        http::write(socket, request);
        Response response;
        http::read(socket, received, response);
        return returnValue(response.body());
    }
};

ChannelClient::ChannelClient(const std::string& serverHost, const std::string& serverPort,
                             unsigned int session)
    : _state(std::make_unique<State>()) {
    _state->serverHost = serverHost;
    _state->serverPort = serverPort;
    _state->channel = _state->connect();
    const tcp::endpoint local = _state->channel.local_endpoint();
    _state->identity = parameter("SubscriberHost", local.address().to_string()) +
                       parameter("SubscriberPort", std::to_string(local.port())) +
                       parameter("SessionID", std::to_string(session));
    _state->serverSession = _state->call(_state->channel, _state->buffer, "RegisterNotificationChannel");
}

ChannelClient::~ChannelClient() = default;

const std::string& ChannelClient::serverSession() const {
    return _state->serverSession;
}

void ChannelClient::sendHeartBeat() {
    tcp::socket socket = _state->connect();
    beast::flat_buffer buffer;
    _state->call(socket, buffer, "HeartBeat");
}

void ChannelClient::run(const Receive& receive) {
    while (true) {
        Response message;
        beast::error_code failure;
        http::read(_state->channel, _state->buffer, message, failure);
        if (failure == http::error::end_of_stream || failure == asio::error::connection_reset) {
            return;
        }
        if (failure) {
            throw beast::system_error(failure, "reading the channel");
        }
        receive(ExportMessage::parse(message.body()));
    }
}

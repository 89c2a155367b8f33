#include "examples/client/WBEMClient.h"

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

constexpr const char* nameSpace = "root/kob/talmora";

std::string callDocument(const std::string& method, const WBEMClient::Parameters& parameters) {
    std::string inside;
    for (const auto& [name, element] : parameters) {
        inside += fmt::format("<IPARAMVALUE NAME=\"{}\">{}</IPARAMVALUE>", name, element);
    }
    return fmt::format(
        R"(<?xml version="1.0" encoding="utf-8"?>
<CIM CIMVERSION="2.0" DTDVERSION="2.0"><MESSAGE ID="1" PROTOCOLVERSION="1.0"><SIMPLEREQ><IMETHODCALL NAME="{}">)"
        R"(<LOCALNAMESPACEPATH><NAMESPACE NAME="root"/><NAMESPACE NAME="kob"/><NAMESPACE NAME="talmora"/>)"
        R"(</LOCALNAMESPACEPATH>{}</IMETHODCALL></SIMPLEREQ></MESSAGE></CIM>)",
        method, inside);
}

/// Throws the server's words when the document tells of a failure.
void requireSuccess(const std::string& document) {
    ptree tree;
    std::istringstream stream{document};
    read_xml(stream, tree);
    const ptree& response = tree.get_child("CIM.MESSAGE.SIMPLERSP.IMETHODRESPONSE");
    if (const auto error = response.get_optional<std::string>("ERROR.<xmlattr>.DESCRIPTION")) {
        throw std::runtime_error("the server refused: " + *error);
    }
}

}  // namespace

struct WBEMClient::State {
    asio::io_context context;
    tcp::socket socket{context};
    beast::flat_buffer buffer;
    std::string server;
};

WBEMClient::WBEMClient(const std::string& host, const std::string& port) : _state(std::make_unique<State>()) {
    asio::connect(_state->socket, tcp::resolver(_state->context).resolve(host, port));
    _state->server = fmt::format("{}:{}", host, port);
}

WBEMClient::~WBEMClient() = default;

std::string WBEMClient::localAddress() const {
    return _state->socket.local_endpoint().address().to_string();
}

std::string WBEMClient::localPort() const {
    return std::to_string(_state->socket.local_endpoint().port());
}

std::string WBEMClient::call(const std::string& method, const Parameters& parameters) {
    http::request<http::string_body> request{http::verb::post, "/cimom", 11};
    request.set(http::field::host, _state->server);
    request.set(http::field::content_type, "application/xml; charset=\"utf-8\"");
    request.set("CIMOperation", "MethodCall");
    request.set("CIMMethod", method);
    request.set("CIMObject", nameSpace);
    request.body() = callDocument(method, parameters);
    request.prepare_payload();
    http::write(_state->socket, request);
    Response response;
    http::read(_state->socket, _state->buffer, response);
    if (response.result() != http::status::ok) {
        throw std::runtime_error(fmt::format("the server refused: HTTP status {} {}", response.result_int(),
                                             std::string(response["CIMErrorDetails"])));
    }
    requireSuccess(response.body());
    return response.body();
}

std::optional<std::string> WBEMClient::next() {
    Response message;
    beast::error_code failure;
    http::read(_state->socket, _state->buffer, message, failure);
    if (failure == http::error::end_of_stream || failure == asio::error::connection_reset) {
        return std::nullopt;
    }
    if (failure) {
        throw beast::system_error(failure, "reading the channel");
    }
    return message.body();
}

std::string WBEMClient::value(const std::string& text) {
    return "<VALUE>" + text + "</VALUE>";
}

std::string WBEMClient::className(const std::string& name) {
    return "<CLASSNAME NAME=\"" + name + "\"/>";
}

WBEMClient::Parameters WBEMClient::subscriber(const std::string& host, const std::string& port,
                                              unsigned int session) {
    return {{"SubscriberHost", value(host)},
            {"SubscriberPort", value(port)},
            {"SessionID", value(std::to_string(session))}};
}

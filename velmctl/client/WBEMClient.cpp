#include "velmctl/client/WBEMClient.h"

#include "foundation/utilities/ORVXMLError.h"
#include "server/xml/XMLText.h"
#include "velmctl/client/ClientError.h"
#include "velmd/model/CIMStatus.h"
#include "velmd/wire/XMLElement.h"

#include <cstdlib>

#include <fmt/format.h>

namespace velm {

namespace {

using Kind = ClientError::Kind;

constexpr std::size_t maxDocumentSize = 256 * 1024 * 1024;
constexpr std::size_t maxDocumentDepth = 256;
constexpr unsigned int httpOk = 200;
constexpr unsigned int httpUnavailable = 503;

std::string inAttribute(std::string_view text) {
    std::string xml;
    appendXMLText(xml, text, XMLContext::attribute, 0);
    return xml;
}

std::string namespacePath(std::string_view nameSpace) {
    std::string xml = "<LOCALNAMESPACEPATH>";
    while (!nameSpace.empty()) {
        const auto part = nameSpace.substr(0, nameSpace.find('/'));
        xml += fmt::format("<NAMESPACE NAME=\"{}\"/>", inAttribute(part));
        nameSpace.remove_prefix(std::min(nameSpace.size(), part.size() + 1));
    }
    return xml + "</LOCALNAMESPACEPATH>";
}

std::string callDocument(const std::string& method, const std::string& nameSpace,
                         const WBEMClient::Parameters& parameters) {
    std::string inside;
    for (const auto& [name, element] : parameters) {
        inside += fmt::format("<IPARAMVALUE NAME=\"{}\">{}</IPARAMVALUE>", name, element);
    }
    return fmt::format(
        R"(<?xml version="1.0" encoding="utf-8"?>
<CIM CIMVERSION="2.0" DTDVERSION="2.0"><MESSAGE ID="1" PROTOCOLVERSION="1.0"><SIMPLEREQ><IMETHODCALL NAME="{}">)"
        R"({}{}</IMETHODCALL></SIMPLEREQ></MESSAGE></CIM>)",
        method, namespacePath(nameSpace), inside);
}

/// Follows a path of element names; null when an element is missing.
const XMLElement* descend(const XMLElement& root, std::initializer_list<const char*> path) {
    const XMLElement* element = &root;
    for (const char* name : path) {
        element = element ? element->child(name) : nullptr;
    }
    return element;
}

/// Throws the server's words.
[[noreturn]] void refuse(const XMLElement& error) {
    const std::string* code = error.attribute("CODE");
    const std::string* description = error.attribute("DESCRIPTION");
    const int status = code ? std::atoi(code->c_str()) : 0;
    // By habit a description begins with the name of the status.
    const std::string lead = fmt::format("{}: ", statusName(status));
    std::string_view words = description ? std::string_view(*description) : std::string_view();
    words.remove_prefix(words.starts_with(lead) ? lead.size() : 0);
    throw ClientError(Kind::refused,
                      fmt::format("the server refused: CIM status {} ({}): {}", status, statusName(status),
                                  words.empty() ? "no description" : words),
                      status);
}

}  // namespace

WBEMClient::WBEMClient(const HostPort& server, std::string nameSpace, std::chrono::milliseconds patience)
    : _connection(server, patience), _nameSpace(std::move(nameSpace)) {
}

void WBEMClient::_failUnreadable(std::string_view problem) const {
    throw ClientError(Kind::noCIMServer, fmt::format("what listens on {} does not answer as a CIM server: {}",
                                                     server().text(), problem));
}

std::string WBEMClient::_exchange(const std::string& method, const Parameters& parameters) {
    _connection.send(method, _nameSpace, callDocument(method, _nameSpace, parameters));
    auto response = _connection.receive();
    if (!response) {
        throw ClientError(Kind::noAnswer,
                          fmt::format("{} closed the connection without an answer", server().text()));
    }
    if (response->status == httpOk) {
        return std::move(response->body);
    }
    const std::string answer = fmt::format("HTTP status {} {}", response->status, response->reason);
    const std::string error = response->header("CIMError");
    const std::string details = response->header("CIMErrorDetails");
    if (error.empty() && details.empty() && response->status != httpUnavailable) {
        _failUnreadable(answer);
    }
    throw ClientError(Kind::refused, fmt::format("the server refused: {} {} {}", answer, error, details));
}

XMLElement WBEMClient::_response(const std::string& document) const {
    XMLElement root;
    try {
        root = readXMLTree(document, maxDocumentSize, maxDocumentDepth);
    } catch (const ORVXMLError& error) {
        _failUnreadable(error.GetErrorMessage().view());
    }
    const XMLElement* response = descend(root, {"MESSAGE", "SIMPLERSP", "IMETHODRESPONSE"});
    if (!response) {
        _failUnreadable("there is no IMETHODRESPONSE in the answer");
    }
    if (const XMLElement* error = response->child("ERROR")) {
        refuse(*error);
    }
    return *response;
}

std::string WBEMClient::call(const std::string& method, const Parameters& parameters) {
    std::string document = _exchange(method, parameters);
    _response(document);
    return document;
}

std::vector<XMLElement> WBEMClient::callForElements(const std::string& method, const Parameters& parameters) {
    const XMLElement response = _response(_exchange(method, parameters));
    const XMLElement* returned = response.child("IRETURNVALUE");
    return returned ? returned->children : std::vector<XMLElement>();
}

bool WBEMClient::callForFlag(const std::string& method, const Parameters& parameters) {
    const std::vector<XMLElement> returned = callForElements(method, parameters);
    return !returned.empty() && returned.front().text == "TRUE";
}

std::optional<std::string> WBEMClient::next() {
    auto response = _connection.receive();
    return response ? std::optional(std::move(response->body)) : std::nullopt;
}

std::string WBEMClient::value(std::string_view text) {
    std::string xml = "<VALUE>";
    appendXMLText(xml, text, XMLContext::element, 0);
    return xml += "</VALUE>";
}

std::string WBEMClient::values(const std::vector<std::string>& texts) {
    std::string xml = "<VALUE.ARRAY>";
    for (const std::string& text : texts) {
        xml += value(text);
    }
    return xml += "</VALUE.ARRAY>";
}

std::string WBEMClient::className(std::string_view name) {
    return fmt::format("<CLASSNAME NAME=\"{}\"/>", inAttribute(name));
}

WBEMClient::Parameters WBEMClient::subscriber(const HostPort& listener, unsigned int session) {
    return {{"SubscriberHost", value(listener.host)},
            {"SubscriberPort", value(listener.port)},
            {"SessionID", value(std::to_string(session))}};
}

}  // namespace velm

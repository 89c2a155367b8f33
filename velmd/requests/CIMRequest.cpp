#include "velmd/requests/CIMRequest.h"

#include "foundation/utilities/ORVXMLError.h"
#include "velmd/model/CIMName.h"
#include "velmd/wire/CIMReader.h"
#include "velmd/wire/ElementChecks.h"

#include <algorithm>
#include <charconv>
#include <optional>

#include <fmt/format.h>

namespace velm {

namespace {

using wire::failSyntax;
using wire::requiredAttribute;

constexpr unsigned int badRequest = 400;
constexpr unsigned int notAcceptable = 406;
constexpr unsigned int contentTooLarge = 413;
constexpr unsigned int unsupportedMediaType = 415;
constexpr unsigned int notImplemented = 501;

constexpr std::string_view headerMismatch = "header-mismatch";

[[noreturn]] void refuse(unsigned int status, std::string_view cimError, const std::string& details) {
    throw RefusedRequest(status, cimError, details);
}

std::string_view trim(std::string_view text) {
    const auto first = text.find_first_not_of(" \t");
    return first == std::string_view::npos ? std::string_view()
                                           : text.substr(first, text.find_last_not_of(" \t") - first + 1);
}

std::string_view withoutOuterSlashes(std::string_view text) {
    const auto first = text.find_first_not_of('/');
    return first == std::string_view::npos ? std::string_view()
                                           : text.substr(first, text.find_last_not_of('/') - first + 1);
}

std::optional<char> hexByte(std::string_view digits) {
    unsigned int value = 0;
    const char* end = digits.data() + digits.size();
    return digits.size() == 2 && std::from_chars(digits.data(), end, value, 16).ptr == end
               ? std::optional(static_cast<char>(value))
               : std::nullopt;
}

/// Header values may be written as in a URI: %-encoded UTF-8.
std::string percentDecoded(std::string_view text) {
    std::string decoded;
    while (!text.empty()) {
        const auto byte = text.front() == '%' ? hexByte(text.substr(1, 2)) : std::nullopt;
        decoded += byte.value_or(text.front());
        text.remove_prefix(byte ? 3 : 1);
    }
    return decoded;
}

/// The value of a parameter such as charset in `Content-Type: text/xml; charset="utf-8"`.
std::optional<std::string_view> mediaTypeParameter(std::string_view value, std::string_view name) {
    for (auto next = value.find(';'); next != std::string_view::npos; next = value.find(';')) {
        value.remove_prefix(next + 1);
        const std::string_view item = value.substr(0, value.find(';'));
        const auto equals = item.find('=');
        if (equals != std::string_view::npos && sameName(trim(item.substr(0, equals)), name)) {
            std::string_view found = trim(item.substr(equals + 1));
            if (found.size() >= 2 && found.front() == '"' && found.back() == '"') {
                found = found.substr(1, found.size() - 2);
            }
            return found;
        }
    }
    return std::nullopt;
}

void checkContentType(const HTTPRequest& http) {
    const std::string* header = http.header("Content-Type");
    const std::string_view value = header ? *header : std::string_view();
    const std::string_view type = trim(value.substr(0, value.find(';')));
    if (!sameName(type, "application/xml") && !sameName(type, "text/xml")) {
        refuse(badRequest, headerMismatch, "Content-Type must be application/xml or text/xml");
    }
    if (!sameName(mediaTypeParameter(value, "charset").value_or("utf-8"), "utf-8")) {
        refuse(badRequest, headerMismatch, "only the charset utf-8 is understood");
    }
    const std::string* encoding = http.header("Content-Encoding");
    if (encoding && !sameName(trim(*encoding), "identity")) {
        refuse(unsupportedMediaType, "", "only the content encoding identity is understood");
    }
}

/// Whether one of the media ranges lets the response pass.
bool accepts(std::string_view ranges) {
    while (!ranges.empty()) {
        const std::string_view range = ranges.substr(0, ranges.find(','));
        ranges.remove_prefix(std::min(ranges.size(), range.size() + 1));
        const bool isRefused =
            mediaTypeParameter(range, "q").value_or("1").find_first_not_of("0.") == std::string_view::npos;
        const std::string_view type = trim(range.substr(0, range.find(';')));
        for (const char* served : {"*/*", "application/*", "text/*", "application/xml", "text/xml"}) {
            if (sameName(type, served) && !isRefused) {
                return true;
            }
        }
    }
    return false;
}

/// A list may be spread over several headers; an empty one asks for nothing in particular.
void checkAccept(const HTTPRequest& http) {
    bool isAsked = false;
    for (const auto& [name, value] : http.headers) {
        if (sameName(name, "Accept") && !trim(value).empty()) {
            isAsked = true;
            if (accepts(value)) {
                return;
            }
        }
    }
    if (isAsked) {
        refuse(notAcceptable, "", "the response is application/xml");
    }
}

void checkOperationHeaders(const HTTPRequest& http) {
    if (http.header("CIMBatch")) {
        refuse(notImplemented, "multiple-requests-unsupported", "send one operation in each request");
    }
    const std::string* operation = http.header("CIMOperation");
    if (!operation || !sameName(trim(*operation), "MethodCall")) {
        refuse(badRequest, "unsupported-operation", "the header CIMOperation: MethodCall is required");
    }
}

const XMLElement& onlyChild(const XMLElement& element, std::string_view name) {
    if (element.children.size() != 1 || element.children.front().name != name) {
        failSyntax(element, fmt::format("it must hold one {} and nothing else", name));
    }
    return element.children.front();
}

void checkVersion(const XMLElement& element, std::string_view attribute, std::string_view major,
                  std::string_view cimError) {
    const std::string& version = requiredAttribute(element, attribute);
    if (!version.starts_with(major)) {
        refuse(notImplemented, cimError, fmt::format("{} must be {}x", attribute, major));
    }
}

/// The element that holds the request, after the versions of the message around it were checked.
const XMLElement& simpleRequestOf(const XMLElement& document, const HTTPRequest& http, CIMRequest& request) {
    if (document.name != "CIM") {
        failSyntax(document, "the document is no CIM-XML: its root is not CIM");
    }
    checkVersion(document, "CIMVERSION", "2.", "unsupported-cim-version");
    checkVersion(document, "DTDVERSION", "2.", "unsupported-dtd-version");
    const XMLElement& message = onlyChild(document, "MESSAGE");
    request.messageID = requiredAttribute(message, "ID");
    checkVersion(message, "PROTOCOLVERSION", "1.", "unsupported-protocol-version");
    const std::string* header = http.header("CIMProtocolVersion");
    if (header && trim(*header) != requiredAttribute(message, "PROTOCOLVERSION")) {
        const bool isKnown = trim(*header).starts_with("1.");
        refuse(isKnown ? badRequest : notImplemented,
               isKnown ? headerMismatch : "unsupported-protocol-version",
               "CIMProtocolVersion is not the PROTOCOLVERSION of the message");
    }
    if (message.child("MULTIREQ")) {
        refuse(notImplemented, "multiple-requests-unsupported", "send one operation in each request");
    }
    return onlyChild(message, "SIMPLEREQ");
}

/// METHODCALL or IMETHODCALL; correlators before it are passed over.
const XMLElement& callOf(const XMLElement& simpleRequest) {
    const auto isCorrelator = [](const XMLElement& child) { return child.name == "CORRELATOR"; };
    const auto& children = simpleRequest.children;
    const auto call = std::find_if_not(children.begin(), children.end(), isCorrelator);
    if (call == children.end() || std::next(call) != children.end() ||
        (call->name != "IMETHODCALL" && call->name != "METHODCALL")) {
        failSyntax(simpleRequest, "it must hold one IMETHODCALL or METHODCALL");
    }
    return *call;
}

void readIntrinsicCall(const XMLElement& call, CIMRequest& request) {
    if (call.children.empty()) {
        failSyntax(call, "it must begin with LOCALNAMESPACEPATH");
    }
    request.nameSpace = withoutOuterSlashes(readNamespace(call.children.front()));
    for (auto parameter = call.children.begin() + 1; parameter != call.children.end(); ++parameter) {
        if (parameter->name != "IPARAMVALUE" || parameter->children.size() > 1) {
            failSyntax(*parameter, "only IPARAMVALUE with one value stands here");
        }
        request.parameters.emplace_back(requiredAttribute(*parameter, "NAME"), &*parameter);
    }
}

void readExtrinsicCall(const XMLElement& call, CIMRequest& request) {
    request.isExtrinsic = true;
    const XMLElement* target = call.child("LOCALINSTANCEPATH");
    target = target ? target : call.child("LOCALCLASSPATH");
    const XMLElement* path = target ? target->child("LOCALNAMESPACEPATH") : nullptr;
    if (!path) {
        failSyntax(call, "it must begin with the path of its target");
    }
    request.nameSpace = withoutOuterSlashes(readNamespace(*path));
}

/// Whether the header names the target: the namespace, and for an extrinsic call a path that begins with it.
bool namesTarget(const std::string& header, const CIMRequest& request) {
    const std::string decoded = percentDecoded(trim(header));
    std::string_view object = withoutOuterSlashes(decoded);
    if (request.isExtrinsic) {
        object = withoutOuterSlashes(object.substr(0, object.find(':')));
    }
    return sameName(object, request.nameSpace);
}

void checkTargetHeaders(const HTTPRequest& http, const CIMRequest& request) {
    const std::string* method = http.header("CIMMethod");
    if (!method || !sameName(percentDecoded(trim(*method)), request.method)) {
        refuse(badRequest, headerMismatch, "CIMMethod is not the method of the message");
    }
    const std::string* object = http.header("CIMObject");
    if (!object || !namesTarget(*object, request)) {
        refuse(badRequest, headerMismatch, "CIMObject is not the target of the message");
    }
}

/// What is read takes many times the memory of its text, so that the size of a body alone is no bound.
void checkMarkup(const std::string& body, std::size_t most) {
    const auto isMarkup = [](char character) { return character == '<' || character == '='; };
    if (static_cast<std::size_t>(std::count_if(body.begin(), body.end(), isMarkup)) > most) {
        refuse(contentTooLarge, "", fmt::format("the message has more than {} tags and attributes", most));
    }
}

XMLElement readDocument(const HTTPRequest& http, const MessageLimits& limits) {
    checkMarkup(http.body, limits.maxMarkup);
    try {
        return readXMLTree(http.body, 0, limits.maxDepth);
    } catch (const ORVXMLError& error) {
        refuse(badRequest, "request-not-well-formed", std::string(error.GetErrorMessage().view()));
    }
}

}  // namespace

CIMRequest CIMRequest::read(const HTTPRequest& http, const MessageLimits& limits) {
    checkAccept(http);
    checkContentType(http);
    checkOperationHeaders(http);
    CIMRequest request;
    request.document = readDocument(http, limits);
    const XMLElement& call = callOf(simpleRequestOf(request.document, http, request));
    request.method = requiredAttribute(call, "NAME");
    if (call.name == "IMETHODCALL") {
        readIntrinsicCall(call, request);
    } else {
        readExtrinsicCall(call, request);
    }
    checkTargetHeaders(http, request);
    request.localAddress = http.localAddress;
    request.localPort = std::to_string(http.localPort);
    return request;
}

}  // namespace velm

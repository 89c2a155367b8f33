#include "velmd/requests/CIMRequest.h"

#include "foundation/utilities/ORVXMLError.h"
#include "velmd/model/CIMName.h"
#include "velmd/requests/RequestHeaders.h"
#include "velmd/wire/CIMReader.h"
#include "velmd/wire/ElementChecks.h"

#include <algorithm>

#include <fmt/format.h>

namespace velm {

namespace {

using wire::failSyntax;
using wire::requiredAttribute;

constexpr unsigned int badRequest = 400;
constexpr unsigned int contentTooLarge = 413;
constexpr unsigned int notImplemented = 501;

constexpr std::string_view headerMismatch = "header-mismatch";

[[noreturn]] void refuse(unsigned int status, std::string_view cimError, const std::string& details) {
    throw RefusedRequest(status, cimError, details);
}

const XMLElement& onlyChild(const XMLElement& element, std::string_view name) {
    if (element.children.size() != 1 || element.children.front().name != name) {
        failSyntax(element, fmt::format("it must hold one {} and nothing else", name));
    }
    return element.children.front();
}

/// Whether it is a version whose first number is `major`, which ends in a dot: "2.3.1".
bool isVersion(std::string_view version, std::string_view major) {
    return version.starts_with(major) && version.size() > major.size() && version.back() != '.' &&
           version.find("..") == version.npos && version.find_first_not_of("0123456789.") == version.npos;
}

void checkVersion(const XMLElement& element, std::string_view attribute, std::string_view major,
                  std::string_view cimError) {
    const std::string& version = requiredAttribute(element, attribute);
    if (!isVersion(version, major)) {
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
    if (header && trimmedHeader(*header) != requiredAttribute(message, "PROTOCOLVERSION")) {
        const bool isKnown = isVersion(trimmedHeader(*header), "1.");
        refuse(isKnown ? badRequest : notImplemented,
               isKnown ? headerMismatch : "unsupported-protocol-version",
               "CIMProtocolVersion is not the PROTOCOLVERSION of the message");
    }
    if (message.child("MULTIREQ") || message.child("MULTIEXPREQ")) {
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
        if (parameter->text.find_first_not_of(" \t\r\n") != std::string::npos) {
            failSyntax(*parameter, "its value is an element, not text");
        }
        request.parameters.emplace_back(requiredAttribute(*parameter, "NAME"), &*parameter);
    }
}

/// LOCALINSTANCEPATH or LOCALCLASSPATH.
const XMLElement& targetOf(const XMLElement& call) {
    const auto isParameter = [](const XMLElement& child) { return child.name == "PARAMVALUE"; };
    if (call.children.empty() || !std::all_of(call.children.begin() + 1, call.children.end(), isParameter)) {
        failSyntax(call, "it must begin with the path of its target, and only PARAMVALUE follows");
    }
    const XMLElement& target = call.children.front();
    const bool isInstance = target.name == "LOCALINSTANCEPATH";
    const char* name = isInstance ? "INSTANCENAME" : "CLASSNAME";
    if ((!isInstance && target.name != "LOCALCLASSPATH") || target.children.size() != 2 ||
        target.children.back().name != name) {
        failSyntax(target, "it is no LOCALINSTANCEPATH or LOCALCLASSPATH");
    }
    return target;
}

void readExtrinsicCall(const XMLElement& call, CIMRequest& request) {
    request.isExtrinsic = true;
    request.nameSpace = withoutOuterSlashes(readNamespace(targetOf(call).children.front()));
}

/// Whether `path` names the class, and keys where the target is an instance. Which keys those are is not
/// compared.
bool namesObject(std::string_view path, const XMLElement& call) {
    const XMLElement& target = targetOf(call);
    const bool isInstance = target.name == "LOCALINSTANCEPATH";
    const std::string& className =
        requiredAttribute(target.children.back(), isInstance ? "CLASSNAME" : "NAME");
    const auto dot = path.find('.');
    return sameName(path.substr(0, dot), className) && isInstance == (dot != path.npos);
}

/// Whether the header names the target: the namespace, and for an extrinsic call the class or the instance
/// behind a colon.
bool namesTarget(const std::string& header, const XMLElement& call, const CIMRequest& request) {
    const std::string decoded = decodedHeader(header);
    const std::string_view object = decoded;
    const auto colon = request.isExtrinsic ? object.find(':') : object.npos;
    return sameName(withoutOuterSlashes(object.substr(0, colon)), request.nameSpace) &&
           (!request.isExtrinsic || (colon != object.npos && namesObject(object.substr(colon + 1), call)));
}

void checkTargetHeaders(const HTTPRequest& http, const XMLElement& call, const CIMRequest& request) {
    const std::string* method = http.header("CIMMethod");
    if (!method || !sameName(decodedHeader(*method), request.method)) {
        refuse(badRequest, headerMismatch, "CIMMethod is not the method of the message");
    }
    const std::string* object = http.header("CIMObject");
    if (!object || !namesTarget(*object, call, request)) {
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
    checkHeaders(http);
    CIMRequest request;
    request.document = readDocument(http, limits);
    const XMLElement& call = callOf(simpleRequestOf(request.document, http, request));
    request.method = requiredAttribute(call, "NAME");
    if (call.name == "IMETHODCALL") {
        readIntrinsicCall(call, request);
    } else {
        readExtrinsicCall(call, request);
    }
    checkTargetHeaders(http, call, request);
    request.localAddress = http.localAddress;
    request.localPort = std::to_string(http.localPort);
    return request;
}

}  // namespace velm

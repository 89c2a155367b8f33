#pragma once

#include "velmd/http/HTTPServer.h"
#include "velmd/wire/XMLElement.h"

#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace velm {

/// How much of a message is read.
struct MessageLimits {
    /// Elements inside each other. A deeper document is refused as not well-formed.
    std::size_t maxDepth = 64;
    /// Tags and attributes, counted as the characters < and = of the text, those in values included. Each may
    /// take over a hundred bytes of memory while the request is answered. Past it the request is refused with
    /// 413.
    std::size_t maxMarkup = 500'000;
};

/// A request that is refused before it becomes an operation: it is answered with an HTTP status and, where
/// the standard names one, a CIMError header (DSP0200, "CIM-XML message headers and error handling").
class RefusedRequest : public std::runtime_error {
public:
    /// `cimError` is empty where the standard names none; `details` is free text.
    RefusedRequest(unsigned int status, std::string_view cimError, const std::string& details)
        : std::runtime_error(details), _status(status), _cimError(cimError) {}

    unsigned int status() const noexcept { return _status; }
    const std::string& cimError() const noexcept { return _cimError; }

private:
    unsigned int _status;
    std::string _cimError;
};

/// One method call of a client (DSP0200): a CIM-XML message whose headers and envelope are in order.
struct CIMRequest {
    std::string messageID;
    /// As the client spelled it; the response repeats it.
    std::string method;
    /// A METHODCALL; an IMETHODCALL otherwise.
    bool isExtrinsic = false;
    /// Of the target, without outer slashes.
    std::string nameSpace;
    /// The names and elements of IPARAMVALUE, in document order; they point into `document`.
    std::vector<std::pair<std::string, const XMLElement*>> parameters;
    /// How the client reached the server.
    std::string localAddress;
    std::string localPort;

    XMLElement document;

    CIMRequest() = default;
    CIMRequest(const CIMRequest&) = delete;
    CIMRequest& operator=(const CIMRequest&) = delete;
    CIMRequest(CIMRequest&&) = default;
    CIMRequest& operator=(CIMRequest&&) = default;

    /// Reads a POST. Headers are checked against the body: CIMOperation, CIMProtocolVersion, CIMMethod and
    /// CIMObject. Throws RefusedRequest, and CIMSyntaxError for a message that the DTD does not allow.
    static CIMRequest read(const HTTPRequest& http, const MessageLimits& limits);
};

}  // namespace velm

#pragma once

#include "velmd/http/HTTPServer.h"

#include <string>
#include <string_view>

namespace velm {

/// Checks what the headers of an operation request say by themselves (DSP0200, "Use of standard HTTP headers"
/// and "CIM-XML message headers"): the response that the client takes, the kind of message, and that each
/// header of which there can be one only is there once. What has to agree with the message is not looked at.
/// Throws RefusedRequest.
void checkHeaders(const HTTPRequest& http);

/// A header value without spaces and tabs at its ends.
std::string_view trimmedHeader(std::string_view value);

/// The same with what is written as in a URI (%-encoded UTF-8) decoded. An escape that is none stays.
std::string decodedHeader(std::string_view value);

}  // namespace velm

#pragma once

#include "velmd/http/HTTPServer.h"

#include <chrono>
#include <string>
#include <string_view>

/// What stands round a handler's answer on the wire. Any thread.
namespace velm {

/// What the Connection header says.
enum class Persistence {
    keepAlive,           ///< Nothing: HTTP/1.1 stays open.
    announcedKeepAlive,  ///< "keep-alive", which HTTP/1.0 needs to hear.
    close,
};

/// What makes a handler's answer unfit to be sent, empty when nothing does: a status that ends no request, a
/// header that would break out of its line.
std::string_view flawOf(const HTTPResponse& response);

/// Whether the body follows the head: no request with HEAD and no status 204 or 304 has one in its answer.
bool isBodySent(unsigned int status, bool isHead);

/// Status line and headers with the empty line behind them. Content-Length, Date, Server and Connection come
/// from here; the response's own, and its Transfer-Encoding, are left out. Requires: flawOf() found nothing.
std::string makeHead(const HTTPResponse& response, Persistence persistence, std::string_view serverName,
                     std::chrono::system_clock::time_point now);

/// As RFC 9110 has it in the Date header: "Sun, 06 Nov 1994 08:49:37 GMT".
std::string formatDate(std::chrono::system_clock::time_point time);

}  // namespace velm

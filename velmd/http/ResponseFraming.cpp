#include "velmd/http/ResponseFraming.h"

#include <algorithm>
#include <ctime>
#include <iterator>

#include <boost/beast/core/string.hpp>
#include <boost/beast/http/status.hpp>
#include <fmt/chrono.h>
#include <fmt/format.h>

namespace velm {

namespace {

namespace http = boost::beast::http;

constexpr std::string_view tokenCharacters =
    "!#$%&'*+-.^_`|~0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz";

constexpr std::string_view ownHeaders[] = {"Content-Length", "Date", "Server", "Connection",
                                           "Transfer-Encoding"};

bool isOwn(std::string_view name) {
    return std::ranges::any_of(ownHeaders,
                               [name](std::string_view own) { return boost::beast::iequals(own, name); });
}

bool isToken(std::string_view text) {
    return !text.empty() && text.find_first_not_of(tokenCharacters) == text.npos;
}

bool isControl(char character) {
    const auto code = static_cast<unsigned char>(character);
    return (code < ' ' && character != '\t') || code == 0x7F;
}

std::string_view reasonOf(unsigned int status) {
    const http::status known = http::int_to_status(status);
    return known == http::status::unknown ? std::string_view()
                                          : std::string_view(http::obsolete_reason(known));
}

}  // namespace

std::string_view flawOf(const HTTPResponse& response) {
    if (response.status < 200 || response.status > 599) {
        return "its status is not between 200 and 599";
    }
    for (const auto& [name, value] : response.headers) {
        if (!isToken(name)) {
            return "the name of a header is not a token";
        }
        if (std::ranges::any_of(value, isControl)) {
            return "the value of a header holds a control character";
        }
    }
    return {};
}

bool isBodySent(unsigned int status, bool isHead) {
    return !isHead && status != 204 && status != 304;
}

std::string makeHead(const HTTPResponse& response, Persistence persistence, std::string_view serverName,
                     std::chrono::system_clock::time_point now) {
    std::string head;
    const auto out = std::back_inserter(head);
    fmt::format_to(out, "HTTP/1.1 {} {}\r\n", response.status, reasonOf(response.status));
    fmt::format_to(out, "Date: {}\r\nServer: {}\r\n", formatDate(now), serverName);
    for (const auto& [name, value] : response.headers) {
        if (!isOwn(name)) {
            fmt::format_to(out, "{}: {}\r\n", name, value);
        }
    }
    if (response.status != 204 && response.status != 304) {
        fmt::format_to(out, "Content-Length: {}\r\n", response.body.size());
    }
    if (persistence != Persistence::keepAlive) {
        fmt::format_to(out, "Connection: {}\r\n", persistence == Persistence::close ? "close" : "keep-alive");
    }
    return head += "\r\n";
}

std::string formatDate(std::chrono::system_clock::time_point time) {
    const auto seconds = std::chrono::system_clock::to_time_t(time);
    return fmt::format("{:%a, %d %b %Y %H:%M:%S} GMT", fmt::gmtime(seconds));
}

}  // namespace velm

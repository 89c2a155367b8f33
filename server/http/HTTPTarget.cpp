#include "server/http/HTTPTarget.h"

#include "foundation/utilities/OrvoBaseException.h"

#include <boost/url/ipv6_address.hpp>
#include <boost/url/parse.hpp>
#include <boost/url/url_view.hpp>
#include <fmt/format.h>

namespace velm {

namespace {

namespace urls = boost::urls;

constexpr std::string_view authorityMark = "//";

struct Spelling {
    std::string url;
    std::string scope;  ///< "%eth0", or nothing.
};

/// Whether `text` is empty or "%" and the name or number of an interface.
bool isScope(std::string_view text) {
    constexpr std::string_view letters = "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz.-_";
    return text.size() != 1 && text.find_first_not_of(letters, 1) == std::string_view::npos;
}

/// Brackets an IPv6 address that stands without, and sets its scope apart, which URLs do not know.
Spelling standardSpelling(std::string_view url) {
    const std::size_t mark = url.find(authorityMark);
    const std::size_t colon = url.rfind(':');
    if (mark == std::string_view::npos || colon < mark) {
        return {std::string(url), {}};
    }
    const std::size_t begin = mark + authorityMark.size();
    std::string_view host = url.substr(begin, colon - begin);
    if (host.starts_with('[') && host.ends_with(']')) {
        host = host.substr(1, host.size() - 2);
    }
    const std::size_t percent = host.find('%');
    const std::string_view address = host.substr(0, percent);
    if (!urls::parse_ipv6_address(address) || !isScope(host.substr(address.size()))) {
        return {std::string(url), {}};
    }
    return {fmt::format("{}[{}]{}", url.substr(0, begin), address, url.substr(colon)),
            std::string(host.substr(address.size()))};
}

bool isPlain(const urls::url_view& url) {
    return url.scheme_id() == urls::scheme::http && !url.has_userinfo() && !url.has_query() &&
           !url.has_fragment() && (url.encoded_path().empty() || url.encoded_path() == "/") &&
           !url.encoded_host().empty() && url.encoded_host().find('%') == std::string_view::npos &&
           url.port_number() != 0;
}

}  // namespace

HTTPTarget HTTPTarget::parse(std::string_view text) {
    const Spelling spelling = standardSpelling(text);
    const auto url = urls::parse_uri(spelling.url);
    if (!url || !isPlain(*url)) {
        throw ORVNetException("ORVHTTPClient::connect",
                              ORVString(fmt::format("\"{}\" is not of the form http://host:port", text)));
    }
    const std::string port = std::to_string(url->port_number());
    return {url->host_address() + spelling.scope, port,
            fmt::format("{}:{}", std::string(url->encoded_host()), port)};
}

}  // namespace velm

#pragma once

#include <string>
#include <string_view>

namespace velm {

/// Whom a URL of the form "http://host:port" names.
struct HTTPTarget {
    std::string host;       ///< For connecting: an IPv6 address without brackets, its scope included.
    std::string port;       ///< 1 to 65535.
    std::string authority;  ///< For the Host header: an IPv6 address with brackets and without its scope.

    /// An IPv6 address may stand with or without brackets. Throws ORVNetException when `url` has another
    /// form.
    static HTTPTarget parse(std::string_view url);
};

}  // namespace velm

#include "velmd/faces/HostCheck.h"

#include <utility>

#include <boost/url/authority_view.hpp>
#include <boost/url/grammar/ci_string.hpp>
#include <boost/url/parse.hpp>

namespace velm {

namespace {

namespace urls = boost::urls;

std::string_view withoutFinalDot(std::string_view name) {
    return name.ends_with('.') ? name.substr(0, name.size() - 1) : name;
}

bool isSameHost(std::string_view one, std::string_view other) {
    return !other.empty() && urls::grammar::ci_is_equal(withoutFinalDot(one), withoutFinalDot(other));
}

}  // namespace

HostCheck::HostCheck(std::string hostName, std::string machineName)
    : _hostName(std::move(hostName)), _machineName(std::move(machineName)) {
}

bool HostCheck::isOwn(std::string_view authority) const {
    const auto parsed = urls::parse_authority(authority);
    if (!parsed || parsed->has_userinfo()) {
        return false;
    }
    switch (parsed->host_type()) {
        case urls::host_type::ipv4:
            return parsed->host_ipv4_address().is_loopback();
        case urls::host_type::ipv6:
            return parsed->host_ipv6_address().is_loopback();
        case urls::host_type::name: {
            const std::string name = parsed->host_name();
            return isSameHost(name, "localhost") || isSameHost(name, _machineName) ||
                   isSameHost(name, _hostName);
        }
        default:
            return false;
    }
}

}  // namespace velm

#pragma once

#include "foundation/handles/ORVSmrPtr.h"
#include "foundation/subscribers/CSubscriberID.h"
#include "velmd/requests/Parameters.h"

#include <string>
#include <string_view>

namespace velm {

/// What is wrong with `host` as a name or address that stands in a URL and in a Host header as it is; empty
/// when nothing is.
///
/// Host names (RFC 1123) have labels of 1 to 63 letters, digits and hyphens, underscores too since machines
/// in the field have them, 253 characters in all. What resolvers take for an IPv4 address, its last label
/// being a number, has to be one in the usual form: four decimal numbers without leading zeros. IPv6
/// addresses come without brackets or zone. There is no user information, port or path.
std::string_view flawOfHost(std::string_view host);

/// The subscriber that SubscriberHost, SubscriberPort and SessionID name. The library compares identities
/// byte for byte: an IPv6 address, which may come in brackets, gets its canonical form (RFC 5952), and
/// numbers have one spelling, decimal digits without a sign or leading zeros. Throws CIMOMException (4) that
/// names the parameter and what is wrong with it.
ORVSmrPtr<CSubscriberID> subscriberIn(const Parameters& parameters);

}  // namespace velm

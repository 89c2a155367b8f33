#pragma once

#include "foundation/handles/ORVSmrPtr.h"
#include "foundation/subscribers/CSubscriberID.h"
#include "velmd/requests/Parameters.h"

#include <string_view>

namespace velm {

/// Whether `host` can stand in a URL as it is: a host name or an IPv4 or IPv6 literal, without user
/// information, port, path or control characters.
bool isHostName(std::string_view host);

/// The subscriber that SubscriberHost, SubscriberPort and SessionID name; IPv6 literals may come in brackets.
/// Throws CIMOMException (4) that names the parameter.
ORVSmrPtr<CSubscriberID> subscriberIn(const Parameters& parameters);

}  // namespace velm

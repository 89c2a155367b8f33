#include "foundation/subscribers/CSubscriberID.h"

#include <fmt/format.h>

CSubscriberID::CSubscriberID(const ORVString& hostName, const ORVString& portNumber, std::uint32_t sessionID)
    : _hostName(hostName), _portNumber(portNumber), _sessionID(sessionID) {
}

ORVString CSubscriberID::toString() const {
    return std::string_view(fmt::format("{}:{} ({})", _hostName.view(), _portNumber.view(), _sessionID));
}

bool operator==(const CSubscriberID& left, const CSubscriberID& right) noexcept {
    return left._sessionID == right._sessionID && left._portNumber.compareTo(right._portNumber) == 0 &&
           left._hostName.compareTo(right._hostName, ORVString::caseInsensitive) == 0;
}

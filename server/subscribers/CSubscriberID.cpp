#include "foundation/subscribers/CSubscriberID.h"

#include "server/utilities/TextHash.h"

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

std::uint32_t hashKeySubscriberID(const CSubscriberID& id) noexcept {
    const velm::text::HashSecret& secret = velm::text::hashSecret();
    const velm::text::Word host = hashKeyORVStringToLower(id._hostName);
    const velm::text::Word port = hashKeyORVString(id._portNumber);
    return velm::text::ended(
        velm::text::mixed((host << 32 | port) ^ secret.start, secret.factor) ^ id._sessionID, secret);
}

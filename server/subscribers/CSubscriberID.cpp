#include "foundation/subscribers/CSubscriberID.h"

#include "server/utilities/TextHash.h"

#include <algorithm>
#include <cstring>

#include <fmt/format.h>

namespace {

constexpr char tooLong = static_cast<char>(0xFF);

constexpr char lower(char letter) noexcept {
    return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter;
}

std::uint32_t hashOf(const ORVString& hostName, const ORVString& portNumber,
                     std::uint32_t sessionID) noexcept {
    const velm::text::HashSecret& secret = velm::text::hashSecret();
    const velm::text::Word host = hashKeyORVStringToLower(hostName);
    const velm::text::Word port = hashKeyORVString(portNumber);
    return velm::text::ended(velm::text::mixed((host << 32 | port) ^ secret.start, secret.factor) ^ sessionID,
                             secret);
}

}  // namespace

CSubscriberID::CSubscriberID(const ORVString& hostName, const ORVString& portNumber, std::uint32_t sessionID)
    : _hash(hashOf(hostName, portNumber, sessionID)),
      _sessionID(sessionID),
      _hostName(hostName),
      _portNumber(portNumber) {
    const std::string_view host = hostName.view();
    const std::string_view port = portNumber.view();
    if (host.size() + port.size() + 2 > _folded.size()) {
        _folded[0] = tooLong;
        return;
    }
    _folded[0] = static_cast<char>(host.size());
    _folded[1] = static_cast<char>(port.size());
    const auto rest = std::transform(host.begin(), host.end(), _folded.begin() + 2, lower);
    std::copy(port.begin(), port.end(), rest);
}

ORVString CSubscriberID::toString() const {
    return std::string_view(fmt::format("{}:{} ({})", _hostName.view(), _portNumber.view(), _sessionID));
}

bool operator==(const CSubscriberID& left, const CSubscriberID& right) noexcept {
    if (left._hash != right._hash || left._sessionID != right._sessionID) {
        return false;
    }
    if (left._folded[0] != tooLong || right._folded[0] != tooLong) {
        // No more than is there: the rest may lie on another cache line.
        const std::size_t length = std::size_t{2} + static_cast<unsigned char>(left._folded[0]) +
                                   static_cast<unsigned char>(left._folded[1]);
        return std::memcmp(left._folded.data(), right._folded.data(),
                           std::min(length, left._folded.size())) == 0;
    }
    return left._portNumber.compareTo(right._portNumber) == 0 &&
           left._hostName.compareTo(right._hostName, ORVString::caseInsensitive) == 0;
}

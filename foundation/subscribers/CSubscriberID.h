#pragma once

#include "foundation/Export.h"
#include "foundation/utilities/ORVString.h"

#include <array>
#include <cstdint>

/// Who a subscriber is: where it listens, and its session. Immutable; any thread may read it.
///
/// Identities are compared on every look-up of a subscriber: what is compared stands in the object itself.
class VELM_EXPORT CSubscriberID {
public:
    /// `hostName` is a name or an address, IPv6 without brackets; `portNumber` is decimal text.
    CSubscriberID(const ORVString& hostName, const ORVString& portNumber, std::uint32_t sessionID);

    ORVString getHostName() const { return _hostName; }
    ORVString getPortNumber() const { return _portNumber; }
    std::uint32_t getSessionID() const { return _sessionID; }

    /// "host:port (session)".
    ORVString toString() const;

    /// Equal when host (letter case ignored), port and session are equal.
    friend VELM_EXPORT bool operator==(const CSubscriberID& left, const CSubscriberID& right) noexcept;
    friend bool operator!=(const CSubscriberID& left, const CSubscriberID& right) noexcept {
        return !(left == right);
    }

    friend std::uint32_t hashKeySubscriberID(const CSubscriberID& id) noexcept;

private:
    std::uint32_t _hash;
    std::uint32_t _sessionID;
    /// Host in lower case and port, one after the other, with their lengths; the first is 0xFF when they are
    /// too long.
    std::array<char, 40> _folded{};
    ORVString _hostName;
    ORVString _portNumber;
};

/// A hash that goes with operator==: the letter case of the host is ignored.
inline std::uint32_t hashKeySubscriberID(const CSubscriberID& id) noexcept {
    return id._hash;
}

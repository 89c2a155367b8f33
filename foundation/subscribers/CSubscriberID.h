#pragma once

#include "foundation/Export.h"
#include "foundation/utilities/ORVString.h"

#include <cstdint>

/// Who a subscriber is: where it listens, and its session. Immutable; any thread may read it.
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

    friend VELM_EXPORT std::uint32_t hashKeySubscriberID(const CSubscriberID& id) noexcept;

private:
    ORVString _hostName;
    ORVString _portNumber;
    std::uint32_t _sessionID;
};

/// A hash that goes with operator==: the letter case of the host is ignored. Allocates nothing.
VELM_EXPORT std::uint32_t hashKeySubscriberID(const CSubscriberID& id) noexcept;

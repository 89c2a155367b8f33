#pragma once

#include "providers/network_links/RouteMessages.h"
#include "providers/support/Instances.h"

#include <cstdint>
#include <optional>
#include <string>

namespace velm::network_links {

inline constexpr const char* portClass = "CIM_EthernetPort";
inline constexpr const char* endpointClass = "CIM_IPProtocolEndpoint";

/// What rtnetlink does not say of a link and its driver may know.
struct LinkSpeed {
    std::optional<std::uint64_t> bitsPerSecond;
    std::optional<bool> isFullDuplex;
};

/// Asks the driver of the link in the network namespace of `socket`, of whatever kind it is.
LinkSpeed readLinkSpeed(int socket, const std::string& linkName);

/// A link with all that CIM_EthernetPort says of it.
struct Port {
    Link link;
    LinkSpeed speed;
};

/// Puts links and addresses into CIM terms, as the CIM Schema 2.49 names them. Any thread may call it.
///
/// CIM_EthernetPort: the key DeviceID is the name of the link as keyTextOf() writes it. EnabledState is 2
/// (enabled) or 3 (disabled), as the administrator set it; OperationalStatus tells whether it works: 2 (OK),
/// 10 (stopped), 13 (lost communication: no carrier), 15 (dormant), 16 (supporting entity in error), 0
/// (unknown).
///
/// CIM_IPProtocolEndpoint: the key Name is that DeviceID, a space, and the address as `ip address` shows it:
/// "eth0 192.0.2.1/24", "ppp0 192.0.2.1 peer 192.0.2.2/32". EnabledState is 2 (enabled), 10 (starting: it is
/// being probed for duplicates) or 6 (enabled but offline: there was one).
class LinkModel {
public:
    explicit LinkModel(const ORVString& nameSpace);

    static std::string deviceIDOf(const Link& link);
    static std::string endpointNameOf(const Link& link, const AddressKey& address);

    providers::InstanceName portName(const std::string& deviceID) const;
    providers::InstanceName endpointName(const std::string& name) const;

    ORVSmrPtr<IOrvoObject> port(const Port& port) const;
    ORVSmrPtr<IOrvoObject> endpoint(const Link& link, const Address& address) const;

    /// The names of the properties in which the two differ.
    static ORVSmrPtr<ORVValSlist<ORVString>> changes(const Port& before, const Port& after);
    static ORVSmrPtr<ORVValSlist<ORVString>> changes(const Address& before, const Address& after);

private:
    providers::InstanceName _name(const char* className, const char* key, const std::string& value) const;

    const ORVString _nameSpace;
    const ORVString _computerName;
};

}  // namespace velm::network_links

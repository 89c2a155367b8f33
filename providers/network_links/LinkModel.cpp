#include "providers/network_links/LinkModel.h"

#include "foundation/object_model/COrvoInstanceName.h"
#include "foundation/object_model/COrvoType.h"
#include "foundation/object_model/COrvoValue.h"
#include "providers/support/KeyText.h"

#include <arpa/inet.h>
#include <array>
#include <cstring>
#include <sys/ioctl.h>
#include <sys/socket.h>

#include <linux/ethtool.h>
#include <linux/if.h>
#include <linux/if_addr.h>
#include <linux/sockios.h>

namespace velm::network_links {

using providers::array;
using providers::flag;
using providers::InstanceName;
using providers::number;
using providers::object;
using providers::text;
using providers::Value;

namespace {

constexpr std::uint64_t enabled = 2;
constexpr std::uint64_t disabled = 3;
constexpr std::uint64_t enabledButOffline = 6;
constexpr std::uint64_t starting = 10;

Value uint16(std::uint64_t value) {
    return number(value, COrvoType::uint16);
}

Value uint64OrNull(std::optional<std::uint64_t> value) {
    return value ? number(*value, COrvoType::uint64) : COrvoValue::null(COrvoType::uint64);
}

std::uint64_t operationalStatusOf(const Link& link) {
    if (!link.isEnabled) {
        return 10;
    }
    switch (link.operationalState) {
        case IF_OPER_UP:
            return 2;
        case IF_OPER_DOWN:
        case IF_OPER_NOTPRESENT:
            return 13;
        case IF_OPER_LOWERLAYERDOWN:
            return 16;
        case IF_OPER_DORMANT:
            return 15;
        default:
            return link.isRunning ? 2 : 0;  // Simple drivers leave the state unknown.
    }
}

/// As CIM writes a MAC address: upper case digits, nothing between them.
ORVString hexadecimal(const std::string& bytes) {
    constexpr const char* digits = "0123456789ABCDEF";
    std::string result;
    for (const char byte : bytes) {
        const auto value = static_cast<unsigned char>(byte);
        result += digits[value >> 4];
        result += digits[value & 0xF];
    }
    return ORVString(std::string_view(result));
}

std::string addressText(int family, const std::string& bytes) {
    std::array<char, INET6_ADDRSTRLEN> result{};
    inet_ntop(family, bytes.data(), result.data(), result.size());
    return result.data();
}

ORVString subnetMask(std::uint8_t prefixLength) {
    const std::uint32_t mask = prefixLength == 0 ? 0 : htonl(~std::uint32_t{0} << (32 - prefixLength));
    std::string bytes(sizeof mask, '\0');
    std::memcpy(bytes.data(), &mask, sizeof mask);
    return ORVString(addressText(AF_INET, bytes));
}

std::uint64_t enabledStateOf(const Address& address) {
    if ((address.flags & IFA_F_DADFAILED) != 0) {
        return enabledButOffline;
    }
    const bool isProbed = (address.flags & IFA_F_TENTATIVE) != 0 && (address.flags & IFA_F_OPTIMISTIC) == 0;
    return isProbed ? starting : enabled;
}

struct PortProperty {
    const char* name;
    Value (*of)(const Port&);
};

constexpr PortProperty portProperties[] = {
    {"EnabledState", [](const Port& port) { return uint16(port.link.isEnabled ? enabled : disabled); }},
    {"OperationalStatus",
     [](const Port& port) { return array({uint16(operationalStatusOf(port.link))}, COrvoType::uint16); }},
    {"NetworkAddresses",
     [](const Port& port) { return array({text(hexadecimal(port.link.address))}, COrvoType::string); }},
    {"PermanentAddress",
     [](const Port& port) {
         const std::string& address = port.link.permanentAddress;
         return text(address.empty() ? ORVString() : hexadecimal(address));
     }},
    {"ActiveMaximumTransmissionUnit", [](const Port& port) { return uint64OrNull(port.link.mtu); }},
    {"SupportedMaximumTransmissionUnit",
     [](const Port& port) {
         return uint64OrNull(port.link.maxMtu == 0 ? std::nullopt
                                                   : std::optional<std::uint64_t>(port.link.maxMtu));
     }},
    {"Speed", [](const Port& port) { return uint64OrNull(port.speed.bitsPerSecond); }},
    {"FullDuplex",
     [](const Port& port) {
         const auto duplex = port.speed.isFullDuplex;
         return duplex ? flag(*duplex) : COrvoValue::null(COrvoType::boolean);
     }},
};

providers::Properties propertiesOf(const Address& address) {
    const AddressKey& key = address.key;
    const ORVString local(addressText(key.family, key.local));
    providers::Properties properties{{"EnabledState", uint16(enabledStateOf(address))}};
    if (key.family == AF_INET) {
        properties.emplace_back("IPv4Address", text(local));
        properties.emplace_back("SubnetMask", text(subnetMask(key.prefixLength)));
        properties.emplace_back("ProtocolIFType", uint16(4096));
    } else {
        properties.emplace_back("IPv6Address", text(local));
        properties.emplace_back("PrefixLength", number(key.prefixLength, COrvoType::uint8));
        properties.emplace_back("IPv6SubnetPrefixLength", uint16(key.prefixLength));
        properties.emplace_back("ProtocolIFType", uint16(4097));
    }
    return properties;
}

}  // namespace

LinkSpeed readLinkSpeed(int socket, const std::string& linkName) {
    ethtool_cmd command{};
    command.cmd = ETHTOOL_GSET;
    ifreq request{};
    if (linkName.size() >= sizeof request.ifr_name) {
        return {};
    }
    std::memcpy(request.ifr_name, linkName.data(), linkName.size());
    request.ifr_data = reinterpret_cast<char*>(&command);
    if (ioctl(socket, SIOCETHTOOL, &request) < 0) {
        return {};
    }
    LinkSpeed speed;
    const std::uint32_t megabits = ethtool_cmd_speed(&command);
    if (megabits != 0 && megabits != static_cast<std::uint32_t>(SPEED_UNKNOWN)) {
        speed.bitsPerSecond = std::uint64_t{megabits} * 1'000'000;
    }
    if (command.duplex == DUPLEX_FULL || command.duplex == DUPLEX_HALF) {
        speed.isFullDuplex = command.duplex == DUPLEX_FULL;
    }
    return speed;
}

LinkModel::LinkModel(const ORVString& nameSpace)
    : _nameSpace(nameSpace), _computerName(providers::computerName()) {
}

std::string LinkModel::deviceIDOf(const Link& link) {
    return std::string(providers::keyTextOf(link.name).view());
}

std::string LinkModel::endpointNameOf(const Link& link, const AddressKey& address) {
    const std::string local = addressText(address.family, address.local);
    const std::string peer =
        address.peer.empty() ? std::string() : " peer " + addressText(address.family, address.peer);
    return deviceIDOf(link) + " " + local + peer + "/" + std::to_string(address.prefixLength);
}

InstanceName LinkModel::_name(const char* className, const char* key, const std::string& value) const {
    COrvoInstanceName::KeyBindings keys;
    keys.append({"SystemCreationClassName", text("CIM_ComputerSystem")});
    keys.append({"SystemName", text(_computerName)});
    keys.append({"CreationClassName", text(className)});
    keys.append({key, text(ORVString(value))});
    return InstanceName(new COrvoInstanceName(_nameSpace, className, keys));
}

InstanceName LinkModel::portName(const std::string& deviceID) const {
    return _name(portClass, "DeviceID", deviceID);
}

InstanceName LinkModel::endpointName(const std::string& name) const {
    return _name(endpointClass, "Name", name);
}

ORVSmrPtr<IOrvoObject> LinkModel::port(const Port& port) const {
    const std::string deviceID = deviceIDOf(port.link);
    providers::Properties properties{{"Name", text(ORVString(deviceID))},
                                     {"ElementName", text(ORVString(deviceID))},
                                     {"LinkTechnology", uint16(2)}};
    for (const PortProperty& property : portProperties) {
        properties.emplace_back(property.name, property.of(port));
    }
    return object(portName(deviceID), properties);
}

ORVSmrPtr<IOrvoObject> LinkModel::endpoint(const Link& link, const Address& address) const {
    return object(endpointName(endpointNameOf(link, address.key)), propertiesOf(address));
}

ORVSmrPtr<ORVValSlist<ORVString>> LinkModel::changes(const Port& before, const Port& after) {
    ORVSmrPtr<ORVValSlist<ORVString>> names(new ORVValSlist<ORVString>);
    for (const PortProperty& property : portProperties) {
        if (property.of(before)->toString() != property.of(after)->toString()) {
            names->append(property.name);
        }
    }
    return names;
}

ORVSmrPtr<ORVValSlist<ORVString>> LinkModel::changes(const Address& before, const Address& after) {
    ORVSmrPtr<ORVValSlist<ORVString>> names(new ORVValSlist<ORVString>);
    if (enabledStateOf(before) != enabledStateOf(after)) {
        names->append("EnabledState");
    }
    return names;
}

}  // namespace velm::network_links

#include "providers/network_links/RouteMessages.h"

#include <cstring>
#include <functional>
#include <net/if.h>
#include <net/if_arp.h>
#include <string>
#include <string_view>
#include <sys/socket.h>
#include <vector>

#include <gtest/gtest.h>
#include <linux/if_addr.h>
#include <linux/if_link.h>
#include <linux/netlink.h>
#include <linux/rtnetlink.h>

using namespace std::string_literals;
using namespace velm::network_links;

namespace {

template <class T>
std::string bytesOf(const T& value) {
    return {reinterpret_cast<const char*>(&value), sizeof value};
}

std::string padded(std::string bytes) {
    bytes.resize(NLMSG_ALIGN(bytes.size()));
    return bytes;
}

std::string attribute(unsigned short type, const std::string& value) {
    const rtattr header{static_cast<unsigned short>(RTA_LENGTH(value.size())), type};
    return padded(bytesOf(header) + value);
}

std::string message(unsigned short type, const std::string& payload, unsigned short flags = 0) {
    const nlmsghdr header{static_cast<unsigned int>(NLMSG_LENGTH(payload.size())), type, flags, 0, 0};
    return padded(bytesOf(header) + payload);
}

struct LinkHeader {
    unsigned char family = AF_UNSPEC;
    unsigned short type = ARPHRD_ETHER;
    unsigned int flags = IFF_UP | IFF_RUNNING;
};

std::string linkPayload(const std::string& attributes, const LinkHeader& header = {}) {
    ifinfomsg info{};
    info.ifi_family = header.family;
    info.ifi_type = header.type;
    info.ifi_index = 7;
    info.ifi_flags = header.flags;
    return padded(bytesOf(info)) + attributes;
}

std::string fullLink() {
    return linkPayload(attribute(IFLA_IFNAME, "eth0"s + '\0') + attribute(IFLA_MTU, bytesOf(1500u)) +
                       attribute(IFLA_MAX_MTU, bytesOf(9000u)) + attribute(IFLA_OPERSTATE, "\6") +
                       attribute(IFLA_ADDRESS, "\2\0\0\0\0\1"s) +
                       attribute(IFLA_PERM_ADDRESS, "\2\0\0\0\0\2"s) +
                       attribute(IFLA_AF_SPEC | NLA_F_NESTED, "what nobody reads"));
}

std::string addressPayload(unsigned char family, unsigned char prefixLength, const std::string& attributes) {
    ifaddrmsg info{};
    info.ifa_family = family;
    info.ifa_prefixlen = prefixLength;
    info.ifa_flags = IFA_F_TENTATIVE;
    info.ifa_index = 7;
    return padded(bytesOf(info)) + attributes;
}

const std::string v4 = "\xC0\0\2\1"s;
const std::string v4peer = "\xC0\0\2\2"s;
const std::string v6 = "\x20\1\x0d\xb8\0\0\0\0\0\0\0\0\0\0\0\1"s;

RouteMessages read(const std::string& bytes) {
    return readRouteMessages(std::as_bytes(std::span(bytes)));
}

template <class T>
T only(const RouteMessages& messages) {
    EXPECT_TRUE(messages.isComplete);
    EXPECT_EQ(messages.events.size(), 1u);
    return std::get<T>(messages.events.at(0));
}

TEST(RouteMessages, ReadALink) {
    const Link link = only<Link>(read(message(RTM_NEWLINK, fullLink())));
    EXPECT_EQ(link.index, 7);
    EXPECT_EQ(link.name, "eth0");
    EXPECT_TRUE(link.isEthernet);
    EXPECT_TRUE(link.isEnabled);
    EXPECT_TRUE(link.isRunning);
    EXPECT_EQ(link.operationalState, 6);
    EXPECT_EQ(link.mtu, 1500u);
    EXPECT_EQ(link.maxMtu, 9000u);
    EXPECT_EQ(link.address, "\2\0\0\0\0\1"s);
    EXPECT_EQ(link.permanentAddress, "\2\0\0\0\0\2"s);
}

TEST(RouteMessages, ReadWhatIsGone) {
    EXPECT_EQ(only<LinkGone>(read(message(RTM_DELLINK, fullLink()))).index, 7);
    const auto key = only<AddressGone>(
                         read(message(RTM_DELADDR, addressPayload(AF_INET6, 64, attribute(IFA_ADDRESS, v6)))))
                         .key;
    EXPECT_EQ(key.local, v6);
}

TEST(RouteMessages, ReadAddresses) {
    const auto plain = only<Address>(read(message(
        RTM_NEWADDR, addressPayload(AF_INET, 24, attribute(IFA_ADDRESS, v4) + attribute(IFA_LOCAL, v4)))));
    EXPECT_EQ(plain.key, (AddressKey{7, AF_INET, v4, "", 24}));
    EXPECT_EQ(plain.flags, static_cast<unsigned int>(IFA_F_TENTATIVE));

    const auto pointToPoint = only<Address>(read(
        message(RTM_NEWADDR,
                addressPayload(AF_INET, 32, attribute(IFA_ADDRESS, v4peer) + attribute(IFA_LOCAL, v4)))));
    EXPECT_EQ(pointToPoint.key, (AddressKey{7, AF_INET, v4, v4peer, 32}));

    const auto manyFlags = only<Address>(read(message(
        RTM_NEWADDR, addressPayload(AF_INET6, 64,
                                    attribute(IFA_ADDRESS, v6) +
                                        attribute(IFA_FLAGS, bytesOf(unsigned{IFA_F_NOPREFIXROUTE}))))));
    EXPECT_EQ(manyFlags.key, (AddressKey{7, AF_INET6, v6, "", 64}));
    EXPECT_EQ(manyFlags.flags, static_cast<unsigned int>(IFA_F_NOPREFIXROUTE));
}

TEST(RouteMessages, ReadSeveralInOneDatagram) {
    const auto messages = read(message(RTM_NEWLINK, fullLink(), NLM_F_MULTI) +
                               message(RTM_NEWLINK, fullLink(), NLM_F_MULTI | NLM_F_DUMP_INTR) +
                               message(NLMSG_DONE, bytesOf(0)));
    EXPECT_TRUE(messages.isComplete);
    EXPECT_TRUE(messages.isInterrupted);
    ASSERT_EQ(messages.events.size(), 3u);
    EXPECT_EQ(std::get<AnswerEnd>(messages.events[2]).error, 0);
}

TEST(RouteMessages, ReadWhyThereIsNoAnswer) {
    EXPECT_EQ(only<AnswerEnd>(read(message(NLMSG_ERROR, bytesOf(nlmsgerr{-EPERM, {}})))).error, EPERM);
    EXPECT_EQ(only<AnswerEnd>(read(message(NLMSG_DONE, bytesOf(-EBUSY)))).error, EBUSY);
}

TEST(RouteMessages, LeaveOutWhatIsAboutSomethingElse) {
    const std::string name = attribute(IFLA_IFNAME, "eth0");
    const std::string others[] = {
        message(RTM_NEWROUTE, "whatever"),
        message(NLMSG_NOOP, ""),
        // A port that leaves its bridge, and news of a wireless driver.
        message(RTM_DELLINK, linkPayload(name, {.family = AF_BRIDGE})),
        message(RTM_NEWLINK, linkPayload(name, {.family = AF_BRIDGE})),
        message(RTM_NEWLINK, linkPayload(attribute(IFLA_WIRELESS, "news"))),
        message(RTM_NEWADDR, addressPayload(AF_APPLETALK, 8, attribute(IFA_ADDRESS, "\1\2\3"))),
        "",
    };
    for (const std::string& bytes : others) {
        const auto messages = read(bytes);
        EXPECT_TRUE(messages.isComplete);
        EXPECT_TRUE(messages.events.empty());
    }
}

TEST(RouteMessages, KnowLinksThatAreNotEthernet) {
    const auto loopback = message(
        RTM_NEWLINK, linkPayload(attribute(IFLA_IFNAME, "lo"), {.type = ARPHRD_LOOPBACK, .flags = IFF_UP}));
    const Link link = only<Link>(read(loopback));
    EXPECT_FALSE(link.isEthernet);
    EXPECT_FALSE(link.isRunning);
}

struct Malformed {
    const char* what;
    std::string bytes;
};

std::ostream& operator<<(std::ostream& stream, const Malformed& malformed) {
    return stream << malformed.what;
}

std::string withLength(std::string bytes, std::size_t position, unsigned int length, std::size_t size) {
    std::memcpy(bytes.data() + position, &length, size);
    return bytes;
}

class MalformedRouteMessages : public testing::TestWithParam<Malformed> {};

TEST_P(MalformedRouteMessages, AreNoticed_AndWhatStoodBeforeThemIsKept) {
    const auto messages = read(message(RTM_DELLINK, fullLink()) + GetParam().bytes);
    EXPECT_FALSE(messages.isComplete);
    EXPECT_EQ(messages.events.size(), 1u);
}

INSTANTIATE_TEST_SUITE_P(
    Cases, MalformedRouteMessages,
    testing::Values(
        Malformed{"half a header", "12345678"},
        Malformed{"a message shorter than its header",
                  withLength(message(RTM_NEWLINK, fullLink()), 0, 15, 4)},
        Malformed{"a message of no length", withLength(message(RTM_NEWLINK, fullLink()), 0, 0, 4)},
        Malformed{"a message longer than the datagram",
                  withLength(message(RTM_NEWLINK, fullLink()), 0, 100'000, 4)},
        Malformed{"a message of immense length", withLength(message(RTM_NEWLINK, ""), 0, 0xFFFFFFFFu, 4)},
        Malformed{"a link without a header", message(RTM_NEWLINK, "123")},
        Malformed{"an address without a header", message(RTM_NEWADDR, "")},
        Malformed{"an attribute shorter than its header",
                  message(RTM_NEWLINK, withLength(linkPayload(attribute(IFLA_IFNAME, "eth0")), 16, 3, 2))},
        Malformed{"an attribute longer than the message",
                  message(RTM_NEWLINK, withLength(linkPayload(attribute(IFLA_IFNAME, "eth0")), 16, 13, 2))},
        Malformed{"an address of no length", message(RTM_NEWADDR, addressPayload(AF_INET, 24, ""))},
        Malformed{"an address of another length",
                  message(RTM_NEWADDR, addressPayload(AF_INET, 24, attribute(IFA_LOCAL, v6)))},
        Malformed{
            "a peer of another length",
            message(RTM_NEWADDR,
                    addressPayload(AF_INET, 24, attribute(IFA_LOCAL, v4) + attribute(IFA_ADDRESS, v6)))},
        Malformed{"a prefix longer than the address",
                  message(RTM_NEWADDR, addressPayload(AF_INET, 33, attribute(IFA_LOCAL, v4)))},
        Malformed{"a report of lost messages", message(NLMSG_OVERRUN, "")}));

TEST(RouteMessages, SurviveEveryCutAndEveryChangedByte) {
    const std::string sound = message(RTM_NEWLINK, fullLink()) +
                              message(RTM_NEWADDR, addressPayload(AF_INET, 24, attribute(IFA_LOCAL, v4))) +
                              message(NLMSG_ERROR, bytesOf(nlmsgerr{-EPERM, {}}));
    for (std::size_t length = 0; length < sound.size(); ++length) {
        // Exactly as long as it may be read.
        const std::vector<char> cut(sound.begin(), sound.begin() + static_cast<std::ptrdiff_t>(length));
        const auto messages = readRouteMessages(std::as_bytes(std::span(cut)));
        EXPECT_LT(messages.events.size(), 3u);
    }
    for (std::size_t position = 0; position < sound.size(); ++position) {
        for (const int flip : {0x01, 0x80, 0xFF}) {
            std::vector<char> changed(sound.begin(), sound.end());
            changed[position] = static_cast<char>(changed[position] ^ flip);
            EXPECT_LE(readRouteMessages(std::as_bytes(std::span(changed))).events.size(), 3u);
        }
    }
}

}  // namespace

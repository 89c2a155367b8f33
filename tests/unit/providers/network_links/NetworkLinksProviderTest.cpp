#include "foundation/object_model/COrvoInstanceName.h"
#include "tests/unit/providers/network_links/NetworkFixture.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <stdexcept>
#include <string>
#include <sys/socket.h>
#include <unistd.h>
#include <vector>

#include <gmock/gmock.h>
#include <linux/netlink.h>
#include <linux/rtnetlink.h>

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;
using velm::network_links::LinkModel;
using velm::network_links::NetworkLinksProvider;
using velm::test::lineOf;
using velm::test::NetworkLinks;
using velm::test::RecordingObserver;
using velm::test::Report;
using velm::test::spawn;

namespace {

TEST_F(NetworkLinks, AreKnownAndNotReported_WhenTheyWereThereBefore) {
    ip({"address", "add", "192.0.2.1/24", "dev", "v0"});
    load();
    EXPECT_THAT(linesAfterSync(), IsEmpty());
    EXPECT_THAT(enumerate("CIM_EthernetPort", "DeviceID"), ElementsAre("v0", "v1"));
    EXPECT_THAT(enumerate("CIM_IPProtocolEndpoint", "Name"), Contains("v0 192.0.2.1/24"));
    const auto classes = provider().getClassNames();
    EXPECT_THAT((std::vector<ORVString>(classes->begin(), classes->end())),
                ElementsAre("CIM_EthernetPort", "CIM_IPProtocolEndpoint"));
}

TEST_F(NetworkLinks, AreReportedAsTheyComeAndGo) {
    load();
    ip({"link", "add", "w0", "type", "veth", "peer", "name", "w1"});
    EXPECT_THAT(linesAfterSync(),
                UnorderedElementsAre("Creation CIM_EthernetPort w0", "Creation CIM_EthernetPort w1"));
    ip({"link", "delete", "w0"});
    EXPECT_THAT(linesAfterSync(),
                UnorderedElementsAre("Destruction CIM_EthernetPort w0", "Destruction CIM_EthernetPort w1"));
    EXPECT_THAT(enumerate("CIM_EthernetPort", "DeviceID"), ElementsAre("v0", "v1"));
}

TEST_F(NetworkLinks, HaveTheirAddressesReportedAsTheyComeAndGo) {
    load();
    ip({"address", "add", "192.0.2.1/24", "dev", "v0"});
    ip({"address", "add", "192.0.2.9", "peer", "192.0.2.10/32", "dev", "v1"});
    ip({"address", "delete", "192.0.2.1/24", "dev", "v0"});
    EXPECT_THAT(linesAfterSync(),
                ElementsAre("Creation CIM_IPProtocolEndpoint v0 192.0.2.1/24",
                            "Creation CIM_IPProtocolEndpoint v1 192.0.2.9 peer 192.0.2.10/32",
                            "Destruction CIM_IPProtocolEndpoint v0 192.0.2.1/24"));
}

TEST_F(NetworkLinks, HaveTheirIPv6AddressesReportedAsTheyComeAndGo) {
    if (!isIPv6There()) {
        GTEST_SKIP() << "there is no IPv6 here";
    }
    load();
    ip({"link", "set", "v0", "up"});
    // The kernel tells of an IPv6 address some time after it was added.
    ip({"address", "add", "2001:db8::1/64", "dev", "v0", "nodad"});
    EXPECT_TRUE(waitFor("Creation CIM_IPProtocolEndpoint v0 2001:db8::1/64"));
    ip({"address", "delete", "2001:db8::1/64", "dev", "v0"});
    EXPECT_TRUE(waitFor("Destruction CIM_IPProtocolEndpoint v0 2001:db8::1/64"));
}

TEST_F(NetworkLinks, GoAfterTheirAddresses) {
    load();
    ip({"address", "add", "192.0.2.1/24", "dev", "v0"});
    linesAfterSync();
    ip({"link", "delete", "v0"});
    const auto lines = linesAfterSync();
    const auto endpoint = std::ranges::find(lines, "Destruction CIM_IPProtocolEndpoint v0 192.0.2.1/24");
    const auto port = std::ranges::find(lines, "Destruction CIM_EthernetPort v0");
    ASSERT_NE(port, lines.end());
    EXPECT_LT(endpoint, port);
    EXPECT_EQ(lines.size(), 3u);
}

TEST_F(NetworkLinks, AreDestroyedAndCreated_WhenTheyAreRenamed) {
    load();
    ip({"address", "add", "192.0.2.1/24", "dev", "v0"});
    linesAfterSync();
    ip({"link", "set", "v0", "name", "outside"});
    EXPECT_THAT(linesAfterSync(),
                ElementsAre("Destruction CIM_IPProtocolEndpoint v0 192.0.2.1/24",
                            "Destruction CIM_EthernetPort v0", "Creation CIM_EthernetPort outside",
                            "Creation CIM_IPProtocolEndpoint outside 192.0.2.1/24"));
    EXPECT_TRUE(provider().getInstance(nameSpace, model.portName("v0"), nullptr).IsNull());
    EXPECT_FALSE(provider().getInstance(nameSpace, model.portName("outside"), nullptr).IsNull());
}

TEST_F(NetworkLinks, MayHaveNamesThatAreNotUTF8) {
    load();
    ip({"link", "set", "v0", "name", "caf\xE9"});
    ip({"address", "add", "192.0.2.1/24", "dev", "caf\xE9"});
    EXPECT_THAT(linesAfterSync(),
                ElementsAre("Destruction CIM_EthernetPort v0", R"(Creation CIM_EthernetPort caf\xE9)",
                            R"(Creation CIM_IPProtocolEndpoint caf\xE9 192.0.2.1/24)"));
    EXPECT_FALSE(provider().getInstance(nameSpace, model.portName(R"(caf\xE9)"), nullptr).IsNull());
}

TEST_F(NetworkLinks, StayWhenTheyLeaveABridge) {
    if (spawn({"ip", "link", "add", "br0", "type", "bridge"}) != 0) {
        GTEST_SKIP() << "there are no bridges here";
    }
    load();
    ip({"link", "set", "v0", "master", "br0"});
    ip({"link", "set", "v0", "nomaster"});
    EXPECT_THAT(linesAfterSync(), IsEmpty());
}

TEST_F(NetworkLinks, AreGivenAsTheEventsSpeakOfThem) {
    load();
    ip({"link", "add", "w0", "type", "veth", "peer", "name", "w1"});
    ip({"address", "add", "192.0.2.1/24", "dev", "w0"});
    ASSERT_TRUE(waitFor("Creation CIM_IPProtocolEndpoint w0 192.0.2.1/24"));
    for (const Report& report : observer().reports()) {
        const auto object = provider().getInstance(nameSpace, report.object->getInstanceName(), nullptr);
        ASSERT_FALSE(object.IsNull()) << lineOf(report);
        ASSERT_EQ(object->getPropertyCount(), report.object->getPropertyCount());
        for (unsigned int i = 0; i < object->getPropertyCount(); ++i) {
            const auto property = object->getProperty(i);
            EXPECT_EQ(property->getValue()->toString().data(), report.property(property->getName().data()));
        }
    }
}

TEST_F(NetworkLinks, TellTheirSpeed) {
    load();
    ip({"link", "set", "v0", "up"});
    ip({"link", "set", "v1", "up"});
    const auto port = provider().getInstance(nameSpace, model.portName("v0"), nullptr);
    EXPECT_EQ(port->getProperty("Speed")->getValue()->toString(), "10000000000");  // What every veth claims.
    EXPECT_EQ(port->getProperty("FullDuplex")->getValue()->toString(), "TRUE");
}

TEST_F(NetworkLinks, AreNotGivenForNamesThatNameNone) {
    load();
    EXPECT_TRUE(provider().getInstance(nameSpace, nullptr, nullptr).IsNull());
    EXPECT_TRUE(provider().getInstance(nameSpace, className("CIM_EthernetPort"), nullptr).IsNull());
    EXPECT_TRUE(provider().getInstance(nameSpace, model.portName("lo"), nullptr).IsNull());
    EXPECT_TRUE(provider().getInstance(nameSpace, model.portName("missing"), nullptr).IsNull());
    EXPECT_TRUE(provider().getInstance(nameSpace, model.endpointName("v0 192.0.2.1/24"), nullptr).IsNull());
    const ORVSmrPtr<IOrvoInstanceName> incomplete(
        new COrvoInstanceName(nameSpace, "CIM_EthernetPort", "DeviceID", "v0"));
    EXPECT_TRUE(provider().getInstance(nameSpace, incomplete, nullptr).IsNull());
    EXPECT_TRUE(provider().getInstance(nameSpace, LinkModel("root/other").portName("v0"), nullptr).IsNull());
    EXPECT_TRUE(provider().enumerateInstanceNames(nameSpace, "CIM_DataFile", nullptr).IsNull());
    EXPECT_TRUE(provider().enumerateInstanceNames("root/other", "CIM_EthernetPort", nullptr)->isEmpty());
}

/// The netlink address of the one socket of this process that hears of links.
unsigned int providersAddress() {
    std::ifstream table("/proc/thread-self/net/netlink");
    std::string line;
    while (std::getline(table, line)) {
        unsigned int protocol = 0;
        unsigned int port = 0;
        unsigned int groups = 0;
        if (sscanf(line.c_str(), "%*s %u %u %x", &protocol, &port, &groups) == 3 &&
            protocol == NETLINK_ROUTE && groups != 0) {
            return port;
        }
    }
    return 0;
}

TEST_F(NetworkLinks, AreNotForgedByOtherProcesses) {
    load();
    const unsigned int address = providersAddress();
    ASSERT_NE(address, 0u);
    struct {
        nlmsghdr header;
        ifinfomsg body;
    } forged{};
    forged.header = {sizeof forged, RTM_DELLINK, 0, 0, 0};
    forged.body.ifi_index = 2;
    sockaddr_nl receiver{};
    receiver.nl_family = AF_NETLINK;
    receiver.nl_pid = address;
    const int sender = socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_ROUTE);
    for (const std::string& datagram :
         {std::string(reinterpret_cast<const char*>(&forged), sizeof forged), std::string("malformed")}) {
        ASSERT_EQ(sendto(sender, datagram.data(), datagram.size(), 0, reinterpret_cast<sockaddr*>(&receiver),
                         sizeof receiver),
                  static_cast<ssize_t>(datagram.size()))
            << std::strerror(errno);
    }
    close(sender);
    EXPECT_THAT(linesAfterSync(), IsEmpty());
    EXPECT_EQ(_log.count(messagesLostLine), 0u);
}

TEST_F(NetworkLinks, ReportNothingMore_OnceTheProviderIsDeleted) {
    load();
    linesAfterSync();
    unload();
    ip({"link", "delete", "v0"});
    EXPECT_EQ(observer().count(), 0u);
    EXPECT_EQ(providersAddress(), 0u);
}

TEST(NetworkLinksArgument, MustBeEmpty) {
    const ORVSmrPtr<IOrvoSubscriber> observer(new RecordingObserver);
    EXPECT_THROW(NetworkLinksProvider({observer, "root/cimv2", "eth0"}), std::invalid_argument);
}

}  // namespace

#include "providers/network_links/LinkTable.h"

#include "tests/unit/providers/network_links/NetworkReports.h"

#include <string>
#include <sys/socket.h>
#include <vector>

#include <gmock/gmock.h>
#include <linux/if_addr.h>

using namespace std::string_literals;
using namespace velm::network_links;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;
using velm::ChangeInterest;

namespace {

Link link(int index, const std::string& name, bool isEthernet = true) {
    return {.index = index, .name = name, .isEthernet = isEthernet, .isEnabled = true, .mtu = 1500};
}

Address address(int link, char last, std::uint32_t flags = 0) {
    return {{link, AF_INET, "\xC0\0\2"s + last, "", 24}, flags};
}

class LinkTableTest : public testing::Test {
protected:
    LinkTableTest() : _observer(new velm::test::RecordingObserver), _handle(_observer) {}

    std::vector<std::string> lines() {
        const auto result = velm::test::linesOf(_observer->reports());
        _observer->clear();
        return result;
    }

    LinkTable makeTable(const NetworkState& present) {
        return LinkTable(
            _model, _reporter,
            [this](const std::string&) {
                ++_speedReads;
                return _speed;
            },
            present);
    }

    static NetworkState stateOf(const std::vector<Link>& links, const std::vector<Address>& addresses) {
        NetworkState state;
        for (const Link& each : links) {
            state.links.emplace(each.index, each);
        }
        for (const Address& each : addresses) {
            state.addresses.emplace(each.key, each);
        }
        return state;
    }

    LinkSpeed _speed;
    int _speedReads = 0;

private:
    velm::test::RecordingObserver* _observer;
    ORVSmrPtr<IOrvoSubscriber> _handle;
    const LinkModel _model{"root/cimv2"};
    const velm::providers::Reporter _reporter{"LinkTableTest", _handle};
};

TEST_F(LinkTableTest, ReportsARenamedLinkAndItsAddressesAsOthers) {
    LinkTable table = makeTable(stateOf({link(2, "a")}, {address(2, 1), address(2, 2)}));
    table.apply(link(2, "b"));
    EXPECT_THAT(lines(), ElementsAre("Destruction CIM_IPProtocolEndpoint a 192.0.2.1/24",
                                     "Destruction CIM_IPProtocolEndpoint a 192.0.2.2/24",
                                     "Destruction CIM_EthernetPort a", "Creation CIM_EthernetPort b",
                                     "Creation CIM_IPProtocolEndpoint b 192.0.2.1/24",
                                     "Creation CIM_IPProtocolEndpoint b 192.0.2.2/24"));
    EXPECT_THAT(table.endpointNames(), ElementsAre("b 192.0.2.1/24", "b 192.0.2.2/24"));
}

TEST_F(LinkTableTest, ReportsOnlyAddresses_WhenTheLinkIsNotEthernet) {
    LinkTable table = makeTable({});
    table.apply(link(1, "lo", false));
    table.apply(address(1, 1));
    table.apply(LinkGone{1});
    EXPECT_THAT(lines(), ElementsAre("Creation CIM_IPProtocolEndpoint lo 192.0.2.1/24",
                                     "Destruction CIM_IPProtocolEndpoint lo 192.0.2.1/24"));
    EXPECT_THAT(table.deviceIDs(), IsEmpty());
}

TEST_F(LinkTableTest, ReportsOnce_WhatIsToldTwice) {
    LinkTable table = makeTable({});
    table.apply(link(2, "a"));
    table.apply(link(2, "a"));
    table.apply(address(2, 1));
    table.apply(address(2, 1));
    table.apply(AddressGone{address(2, 1).key});
    table.apply(AddressGone{address(2, 1).key});
    table.apply(LinkGone{2});
    table.apply(LinkGone{2});
    EXPECT_THAT(
        lines(),
        ElementsAre("Creation CIM_EthernetPort a", "Creation CIM_IPProtocolEndpoint a 192.0.2.1/24",
                    "Destruction CIM_IPProtocolEndpoint a 192.0.2.1/24", "Destruction CIM_EthernetPort a"));
}

TEST_F(LinkTableTest, IgnoresAddressesOfUnknownLinks) {
    LinkTable table = makeTable(stateOf({}, {address(3, 1)}));
    table.apply(address(3, 2));
    EXPECT_THAT(lines(), IsEmpty());
    EXPECT_THAT(table.endpointNames(), IsEmpty());
}

TEST_F(LinkTableTest, ReportsTheDifference_WhenItIsResynchronised) {
    LinkTable table =
        makeTable(stateOf({link(2, "kept"), link(3, "gone")}, {address(2, 1), address(2, 2), address(3, 1)}));
    table.resynchronise(stateOf({link(2, "kept"), link(4, "new")}, {address(2, 2), address(4, 1)}));
    EXPECT_THAT(lines(), ElementsAre("Destruction CIM_IPProtocolEndpoint gone 192.0.2.1/24",
                                     "Destruction CIM_EthernetPort gone",
                                     "Destruction CIM_IPProtocolEndpoint kept 192.0.2.1/24",
                                     "Creation CIM_EthernetPort new",
                                     "Creation CIM_IPProtocolEndpoint new 192.0.2.1/24"));
    EXPECT_THAT(table.deviceIDs(), UnorderedElementsAre("kept", "new"));
}

TEST_F(LinkTableTest, DestroysBeforeItCreates_WhenLinksHaveExchangedTheirNames) {
    LinkTable table = makeTable(stateOf({link(2, "a"), link(3, "b")}, {address(2, 1)}));
    table.resynchronise(stateOf({link(2, "b"), link(3, "a")}, {address(2, 1)}));
    EXPECT_THAT(lines(), ElementsAre("Destruction CIM_IPProtocolEndpoint a 192.0.2.1/24",
                                     "Destruction CIM_EthernetPort a", "Destruction CIM_EthernetPort b",
                                     "Creation CIM_EthernetPort b", "Creation CIM_EthernetPort a",
                                     "Creation CIM_IPProtocolEndpoint b 192.0.2.1/24"));
}

TEST_F(LinkTableTest, ReportsChangesOnlyToWhomItConcerns) {
    LinkTable table = makeTable(stateOf({link(2, "a"), link(3, "b")}, {address(2, 1)}));
    const auto change = [&] {
        Link a = link(2, "a");
        a.mtu = 9000;
        table.apply(a);
        Link b = link(3, "b");
        b.mtu = 9000;
        table.apply(b);
        table.apply(address(2, 1, IFA_F_TENTATIVE));
        table.apply(link(2, "a"));
        table.apply(link(3, "b"));
        table.apply(address(2, 1));
    };
    change();
    EXPECT_THAT(lines(), IsEmpty());
    EXPECT_EQ(_speedReads, 0);

    table.startPortChanges("a", nullptr);
    change();
    const std::string ofPort = "Change CIM_EthernetPort a [ActiveMaximumTransmissionUnit]";
    EXPECT_THAT(lines(), ElementsAre(ofPort, ofPort));
    EXPECT_TRUE(table.stopPortChanges("a", nullptr));

    table.startEndpointChanges(ChangeInterest::everything, nullptr);
    change();
    const std::string ofEndpoint = "Change CIM_IPProtocolEndpoint a 192.0.2.1/24 [EnabledState]";
    EXPECT_THAT(lines(), ElementsAre(ofEndpoint, ofEndpoint));
    EXPECT_TRUE(table.stopEndpointChanges(ChangeInterest::everything, nullptr));
    change();
    EXPECT_THAT(lines(), IsEmpty());
}

TEST_F(LinkTableTest, ReportsAChangeOfSpeedSinceTheRegistration) {
    LinkTable table = makeTable(stateOf({link(2, "a")}, {}));
    _speed = {1'000'000'000, true};
    table.startPortChanges("a", nullptr);
    table.apply(link(2, "a"));
    EXPECT_THAT(lines(), IsEmpty());
    _speed = {100'000'000, true};
    table.apply(link(2, "a"));
    EXPECT_THAT(lines(), ElementsAre("Change CIM_EthernetPort a [Speed]"));
}

TEST_F(LinkTableTest, ForgetsInterestInAnObjectWithTheObject) {
    LinkTable table = makeTable(stateOf({link(2, "a")}, {address(2, 1)}));
    table.startPortChanges("a", nullptr);
    table.startEndpointChanges("a 192.0.2.1/24", nullptr);
    table.apply(LinkGone{2});
    EXPECT_FALSE(table.stopPortChanges("a", nullptr));
    EXPECT_FALSE(table.stopEndpointChanges("a 192.0.2.1/24", nullptr));
}

}  // namespace

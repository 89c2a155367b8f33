#include "providers/network_links/LinkModel.h"

#include "tests/support/SchemaCheck.h"
#include "tests/support/SharedFolder.h"

#include <string>
#include <sys/socket.h>
#include <vector>

#include <gmock/gmock.h>
#include <linux/if.h>
#include <linux/if_addr.h>

using namespace std::string_literals;
using namespace velm::network_links;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

const std::string v4 = "\xC0\0\2\1"s;
const std::string v4peer = "\xC0\0\2\2"s;
const std::string v6 = "\x20\1\x0d\xb8\0\0\0\0\0\0\0\0\0\0\0\1"s;

Link ethernet(const std::string& name = "eth0") {
    return {.index = 2,
            .name = name,
            .isEthernet = true,
            .isEnabled = true,
            .isRunning = true,
            .operationalState = IF_OPER_UP,
            .mtu = 1500,
            .maxMtu = 9000,
            .address = "\2\0\0\0\xAB\xCD"s,
            .permanentAddress = "\2\0\0\0\0\1"s};
}

std::string propertyOf(const ORVSmrPtr<IOrvoObject>& object, const char* name) {
    return object->getProperty(name)->getValue()->toString().data();
}

std::vector<std::string> textsOf(const ORVSmrPtr<ORVValSlist<ORVString>>& names) {
    std::vector<std::string> texts;
    for (const ORVString& name : *names) {
        texts.emplace_back(name.view());
    }
    return texts;
}

class LinkModelTest : public testing::Test {
protected:
    const LinkModel model{"root/cimv2"};
};

TEST_F(LinkModelTest, SaysOfAPortWhatIsKnownOfIt) {
    const auto object = model.port({ethernet(), {10'000'000'000, true}});
    EXPECT_EQ(object->getInstanceName()->toString(), model.portName("eth0")->toString());
    EXPECT_EQ(propertyOf(object, "DeviceID"), "eth0");
    EXPECT_EQ(propertyOf(object, "SystemCreationClassName"), "CIM_ComputerSystem");
    EXPECT_EQ(propertyOf(object, "EnabledState"), "2");
    EXPECT_EQ(propertyOf(object, "OperationalStatus"), "{2}");
    EXPECT_EQ(propertyOf(object, "NetworkAddresses"), "{02000000ABCD}");
    EXPECT_EQ(propertyOf(object, "PermanentAddress"), "020000000001");
    EXPECT_EQ(propertyOf(object, "ActiveMaximumTransmissionUnit"), "1500");
    EXPECT_EQ(propertyOf(object, "SupportedMaximumTransmissionUnit"), "9000");
    EXPECT_EQ(propertyOf(object, "Speed"), "10000000000");
    EXPECT_EQ(propertyOf(object, "FullDuplex"), "TRUE");
}

TEST_F(LinkModelTest, SaysNothingOfWhatIsNotKnown) {
    Link link = ethernet();
    link.maxMtu = 0;
    link.permanentAddress.clear();
    const auto object = model.port({link, {}});
    for (const char* name : {"SupportedMaximumTransmissionUnit", "PermanentAddress", "Speed", "FullDuplex"}) {
        EXPECT_EQ(propertyOf(object, name), "NULL") << name;
    }
}

struct Status {
    bool isEnabled;
    bool isRunning;
    std::uint8_t operationalState;
    const char* status;
};

class OperationalStatus : public testing::TestWithParam<Status> {};

TEST_P(OperationalStatus, FollowsTheLink) {
    Link link = ethernet();
    link.isEnabled = GetParam().isEnabled;
    link.isRunning = GetParam().isRunning;
    link.operationalState = GetParam().operationalState;
    EXPECT_EQ(propertyOf(LinkModel("").port({link, {}}), "OperationalStatus"), GetParam().status);
}

INSTANTIATE_TEST_SUITE_P(States, OperationalStatus,
                         testing::Values(Status{true, true, IF_OPER_UP, "{2}"},
                                         Status{false, false, IF_OPER_DOWN, "{10}"},
                                         Status{true, false, IF_OPER_DOWN, "{13}"},
                                         Status{true, false, IF_OPER_NOTPRESENT, "{13}"},
                                         Status{true, false, IF_OPER_LOWERLAYERDOWN, "{16}"},
                                         Status{true, true, IF_OPER_DORMANT, "{15}"},
                                         Status{true, true, IF_OPER_UNKNOWN, "{2}"},
                                         Status{true, false, IF_OPER_UNKNOWN, "{0}"}));

TEST_F(LinkModelTest, NamesEndpointsAsIpDoes) {
    const auto nameOf = [](const AddressKey& key) { return LinkModel::endpointNameOf(ethernet(), key); };
    EXPECT_EQ(nameOf({2, AF_INET, v4, "", 24}), "eth0 192.0.2.1/24");
    EXPECT_EQ(nameOf({2, AF_INET, v4, v4peer, 32}), "eth0 192.0.2.1 peer 192.0.2.2/32");
    EXPECT_EQ(nameOf({2, AF_INET6, v6, "", 64}), "eth0 2001:db8::1/64");
    EXPECT_EQ(LinkModel::endpointNameOf(ethernet("\xE9"), {2, AF_INET, v4, "", 24}), R"(\xE9 192.0.2.1/24)");
}

TEST_F(LinkModelTest, SaysOfAnEndpointWhatItsFamilyHas) {
    const auto four = model.endpoint(ethernet(), {{2, AF_INET, v4, "", 20}, 0});
    EXPECT_EQ(propertyOf(four, "IPv4Address"), "192.0.2.1");
    EXPECT_EQ(propertyOf(four, "SubnetMask"), "255.255.240.0");
    EXPECT_EQ(propertyOf(four, "ProtocolIFType"), "4096");
    EXPECT_TRUE(four->getProperty("IPv6Address").IsNull());

    const auto six = model.endpoint(ethernet(), {{2, AF_INET6, v6, "", 64}, 0});
    EXPECT_EQ(propertyOf(six, "IPv6Address"), "2001:db8::1");
    EXPECT_EQ(propertyOf(six, "PrefixLength"), "64");
    EXPECT_EQ(propertyOf(six, "IPv6SubnetPrefixLength"), "64");
    EXPECT_EQ(propertyOf(six, "ProtocolIFType"), "4097");
    EXPECT_TRUE(six->getProperty("IPv4Address").IsNull());
}

TEST_F(LinkModelTest, KnowsEverySubnetMask) {
    const auto maskOf = [&](std::uint8_t length) {
        return propertyOf(model.endpoint(ethernet(), {{2, AF_INET, v4, "", length}, 0}), "SubnetMask");
    };
    EXPECT_EQ(maskOf(0), "0.0.0.0");
    EXPECT_EQ(maskOf(1), "128.0.0.0");
    EXPECT_EQ(maskOf(24), "255.255.255.0");
    EXPECT_EQ(maskOf(32), "255.255.255.255");
}

TEST_F(LinkModelTest, TellsWhetherAnAddressCanBeUsed) {
    const auto stateOf = [&](std::uint32_t flags) {
        return propertyOf(model.endpoint(ethernet(), {{2, AF_INET6, v6, "", 64}, flags}), "EnabledState");
    };
    EXPECT_EQ(stateOf(IFA_F_PERMANENT), "2");
    EXPECT_EQ(stateOf(IFA_F_TENTATIVE), "10");
    EXPECT_EQ(stateOf(IFA_F_TENTATIVE | IFA_F_OPTIMISTIC), "2");
    EXPECT_EQ(stateOf(IFA_F_TENTATIVE | IFA_F_DADFAILED), "6");
}

TEST_F(LinkModelTest, NamesWhatChanged) {
    const Port before{ethernet(), {}};
    Port after = before;
    EXPECT_THAT(textsOf(LinkModel::changes(before, after)), IsEmpty());
    after.link.isEnabled = false;
    after.link.mtu = 9000;
    after.speed.bitsPerSecond = 1'000'000'000;
    EXPECT_THAT(textsOf(LinkModel::changes(before, after)),
                ElementsAre("EnabledState", "OperationalStatus", "ActiveMaximumTransmissionUnit", "Speed"));
    const Address probed{{2, AF_INET6, v6, "", 64}, IFA_F_TENTATIVE};
    const Address usable{{2, AF_INET6, v6, "", 64}, IFA_F_PERMANENT};
    EXPECT_THAT(textsOf(LinkModel::changes(probed, usable)), ElementsAre("EnabledState"));
    EXPECT_THAT(textsOf(LinkModel::changes(usable, usable)), IsEmpty());
}

/// The classes that the server starts with, and all of the CIM Schema.
class LinkModelSchema : public LinkModelTest, public testing::WithParamInterface<std::string> {};

TEST_P(LinkModelSchema, HasTheKeysPropertiesAndTypesOfTheModel) {
    VELM_SKIP_WITHOUT(GetParam());
    const velm::test::SchemaCheck schema(GetParam());
    EXPECT_THAT(schema.problemsOf(*model.port({ethernet(), {1'000'000, false}})), IsEmpty());
    EXPECT_THAT(schema.problemsOf(*model.port({{.index = 1, .name = "x"}, {}})), IsEmpty());
    EXPECT_THAT(schema.problemsOf(*model.endpoint(ethernet(), {{2, AF_INET, v4, "", 24}, 0})), IsEmpty());
    EXPECT_THAT(schema.problemsOf(*model.endpoint(ethernet(), {{2, AF_INET6, v6, "", 64}, 0})), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(Schemas, LinkModelSchema,
                         testing::Values(VELM_SOURCE_DIR "/velmd/schema/shipped.xml",
                                         velm::test::realSchema().string()));

}  // namespace

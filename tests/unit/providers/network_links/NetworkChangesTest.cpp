#include "tests/unit/providers/network_links/NetworkFixture.h"

#include <algorithm>
#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>

using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using velm::network_links::LinkModel;
using velm::test::lineOf;
using velm::test::NetworkLinks;
using velm::test::RecordingObserver;
using velm::test::Report;

namespace {

TEST_F(NetworkLinks, HaveTheirChangesReported_OnlyWhileSomebodyIsRegistered) {
    load();
    const auto changeMtu = [&](const char* mtu) { ip({"link", "set", "v0", "mtu", mtu}); };
    const std::string line = "Change CIM_EthernetPort v0 [ActiveMaximumTransmissionUnit]";
    changeMtu("1400");
    EXPECT_THAT(linesAfterSync(), IsEmpty());

    ASSERT_TRUE(start(className("CIM_EthernetPort")));
    changeMtu("1300");
    EXPECT_THAT(linesAfterSync(), ElementsAre(line));
    ASSERT_TRUE(stop(className("CIM_EthernetPort")));
    changeMtu("1200");
    EXPECT_THAT(linesAfterSync(), IsEmpty());
    EXPECT_FALSE(stop(className("CIM_EthernetPort")));

    ASSERT_TRUE(start(model.portName("v1")));
    changeMtu("1300");
    EXPECT_THAT(linesAfterSync(), IsEmpty());
    ASSERT_TRUE(start(model.portName("v0")));
    changeMtu("1400");
    EXPECT_THAT(linesAfterSync(), ElementsAre(line));
}

TEST_F(NetworkLinks, TellThatTheyGoUpAndDown) {
    load();
    ASSERT_TRUE(start(className("CIM_LogicalDevice")));
    ip({"link", "set", "v0", "up"});
    EXPECT_TRUE(waitForChange("EnabledState", "2"));
    ip({"link", "set", "v1", "up"});
    EXPECT_TRUE(waitForChange("OperationalStatus", "{2}"));
    ip({"link", "set", "v1", "down"});
    EXPECT_TRUE(observer().waitFor([](const Report& report) {
        return report.key("DeviceID") == "v1" && report.property("EnabledState") == "3" &&
               report.property("OperationalStatus") == "{10}";
    }));
    // The other end has lost its peer.
    EXPECT_TRUE(observer().waitFor([](const Report& report) {
        return report.key("DeviceID") == "v0" && report.property("EnabledState") == "2" &&
               report.property("OperationalStatus") == "{16}";
    }));
}

TEST_F(NetworkLinks, TellThatTheirEthernetAddressChanges) {
    load();
    ASSERT_TRUE(start(model.portName("v0")));
    ip({"link", "set", "v0", "address", "02:00:00:00:ab:cd"});
    EXPECT_THAT(linesAfterSync(), ElementsAre("Change CIM_EthernetPort v0 [NetworkAddresses]"));
    const auto port = provider().getInstance(nameSpace, model.portName("v0"), nullptr);
    EXPECT_EQ(port->getProperty("NetworkAddresses")->getValue()->toString(), "{02000000ABCD}");
}

TEST_F(NetworkLinks, TellThatAnAddressBecomesUsable) {
    if (!isIPv6There()) {
        GTEST_SKIP() << "there is no IPv6 here";
    }
    load();
    ASSERT_TRUE(start(className("CIM_ProtocolEndpoint")));
    ip({"link", "set", "v0", "up"});
    ip({"link", "set", "v1", "up"});
    ip({"address", "add", "2001:db8::1/64", "dev", "v0"});
    EXPECT_TRUE(observer().waitFor([](const Report& report) {
        return lineOf(report) == "Creation CIM_IPProtocolEndpoint v0 2001:db8::1/64" &&
               report.property("EnabledState") == "10";
    }));
    EXPECT_TRUE(observer().waitFor([](const Report& report) {
        return lineOf(report) == "Change CIM_IPProtocolEndpoint v0 2001:db8::1/64 [EnabledState]" &&
               report.property("EnabledState") == "2";
    }));
}

TEST_F(NetworkLinks, TakeRegistrationsForTheirClassesAndThoseAbove) {
    load();
    for (const char* name : {"CIM_EthernetPort", "cim_ethernetport", "CIM_NetworkPort", "CIM_LogicalElement",
                             "CIM_IPProtocolEndpoint", "CIM_ServiceAccessPoint", "CIM_ManagedElement"}) {
        EXPECT_TRUE(start(className(name))) << name;
        EXPECT_TRUE(stop(className(name))) << name;
        EXPECT_FALSE(stop(className(name))) << name;
        EXPECT_TRUE(start(className(name), IOrvoIndication::IndicationCreation)) << name;
    }
    EXPECT_FALSE(start(nullptr));
    EXPECT_FALSE(start(className("CIM_DataFile")));
    EXPECT_FALSE(start(LinkModel("root/other").portName("v0")));
    EXPECT_FALSE(stop(nullptr));
    EXPECT_EQ(_log.count("Told to start reporting Change of every CIM_EthernetPort"), 1u);
}

TEST_F(NetworkLinks, LoseNothing_WhenTheKernelDropsMessages) {
    load();
    ASSERT_TRUE(start(className("CIM_EthernetPort")));
    ip({"address", "add", "192.0.2.1/24", "dev", "v0"});
    linesAfterSync();
    observer().hold();
    ip({"link", "add", "w0", "type", "veth", "peer", "name", "w1"});
    ASSERT_TRUE(observer().waitUntilHolding());

    std::string lines;
    for (int i = 0; i < 3000; ++i) {
        lines += "link set v0 mtu " + std::to_string(1000 + i % 2) + "\n";
    }
    lines +=
        "link set v0 mtu 900\n"
        "link delete w0\n"
        "link add x0 type veth peer name x1\n"
        "address delete 192.0.2.1/24 dev v0\n"
        "address add 192.0.2.2/24 dev v1\n";
    ipBatch(lines);
    observer().release();
    ASSERT_TRUE(_log.waitForMessage(messagesLostLine, RecordingObserver::patience));
    ASSERT_TRUE(waitFor("Creation CIM_IPProtocolEndpoint v1 192.0.2.2/24"));
    const auto reported = linesAfterSync();

    EXPECT_THAT(reported, AllOf(Contains("Creation CIM_EthernetPort x0").Times(1),
                                Contains("Creation CIM_EthernetPort x1").Times(1),
                                Contains("Destruction CIM_IPProtocolEndpoint v0 192.0.2.1/24").Times(1),
                                Contains("Creation CIM_IPProtocolEndpoint v1 192.0.2.2/24").Times(1)));
    for (const char* end : {"w0", "w1"}) {
        EXPECT_EQ(std::ranges::count(reported, std::string("Creation CIM_EthernetPort ") + end),
                  std::ranges::count(reported, std::string("Destruction CIM_EthernetPort ") + end));
    }
    EXPECT_THAT(reported, Contains("Change CIM_EthernetPort v0 [ActiveMaximumTransmissionUnit]"));
    EXPECT_EQ(provider()
                  .getInstance(nameSpace, model.portName("v0"), nullptr)
                  ->getProperty("ActiveMaximumTransmissionUnit")
                  ->getValue()
                  ->getUint64(),
              900u);
    EXPECT_THAT(enumerate("CIM_EthernetPort", "DeviceID"), ElementsAre("v0", "v1", "x0", "x1"));
}

TEST_F(NetworkLinks, ServeManyThreadsAtOnce) {
    load();
    std::atomic<bool> goesOn = true;
    std::vector<std::thread> callers;
    for (int i = 0; i < 3; ++i) {
        callers.emplace_back([&, i] {
            while (goesOn) {
                const auto name = i == 0 ? className("CIM_ManagedElement") : model.portName("w0");
                start(name);
                provider().getInstance(nameSpace, model.portName("w0"), nullptr);
                provider().enumerateInstanceNames(nameSpace, "CIM_IPProtocolEndpoint", nullptr);
                stop(name);
            }
        });
    }
    std::string lines;
    for (int i = 0; i < 20; ++i) {
        lines +=
            "link add w0 type veth peer name w1\n"
            "address add 192.0.2.1/24 dev w0\n"
            "link set w0 up\n"
            "link delete w0\n";
    }
    ipBatch(lines);
    linesAfterSync();
    goesOn = false;
    for (std::thread& caller : callers) {
        caller.join();
    }
    EXPECT_THAT(enumerate("CIM_EthernetPort", "DeviceID"), ElementsAre("v0", "v1"));
}

}  // namespace

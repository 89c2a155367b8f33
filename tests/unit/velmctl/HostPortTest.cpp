#include "velmctl/client/HostPort.h"

#include "velmctl/client/ClientError.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace velm;

TEST(HostPort, IsReadFromItsText) {
    const struct {
        const char* text;
        HostPort expected;
    } cases[] = {{"127.0.0.1:80", {"127.0.0.1", "80"}},
                 {"localhost:65535", {"localhost", "65535"}},
                 {"[::1]:5988", {"::1", "5988"}},
                 {"localhost", {"localhost", "5988"}},
                 {"[::1]", {"::1", "5988"}}};
    for (const auto& [text, expected] : cases) {
        EXPECT_EQ(HostPort::parse(text, "5988"), expected) << text;
    }
    EXPECT_EQ((HostPort{"::1", "80"}.text()), "[::1]:80");
    EXPECT_EQ((HostPort{"localhost", "80"}.text()), "localhost:80");
}

TEST(HostPort, IsRefused_WhenItIsNone) {
    for (const char* text :
         {"", ":80", "localhost:", "localhost:0", "localhost:65536", "localhost:x", "localhost:080", "::1",
          "http://localhost:80", "user@localhost:80", "local host:80", "localhost"}) {
        try {
            HostPort::parse(text);
            ADD_FAILURE() << text;
        } catch (const ClientError& error) {
            EXPECT_EQ(error.kind(), ClientError::Kind::badAddress) << text;
            EXPECT_THAT(error.what(), testing::HasSubstr("is not HOST:PORT")) << text;
        }
    }
}

TEST(LoopbackAddresses, AreThoseOfThisMachine) {
    EXPECT_THAT(loopbackAddresses("127.1.2.3"), testing::ElementsAre("127.1.2.3"));
    EXPECT_THAT(loopbackAddresses("::1"), testing::ElementsAre("::1"));
    for (const char* host : {"192.0.2.1", "0.0.0.0", "::"}) {
        EXPECT_THROW(loopbackAddresses(host), ClientError) << host;
    }
}

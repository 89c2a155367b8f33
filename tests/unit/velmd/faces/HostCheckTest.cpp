#include "velmd/faces/HostCheck.h"

#include <string>

#include <gtest/gtest.h>

namespace velm::test {

namespace {

struct Row {
    const char* name;
    const char* authority;
    bool isOwn;
};

void PrintTo(const Row& row, std::ostream* out) {
    *out << row.authority;
}

constexpr Row rows[]{
    {"LoopbackAndPort", "127.0.0.1:5988", true},
    {"LoopbackAlone", "127.0.0.1", true},
    {"OtherLoopback", "127.8.9.10:1", true},
    {"LoopbackV6", "[::1]:5988", true},
    {"LoopbackV6Alone", "[::1]", true},
    {"LoopbackV6InFull", "[0:0:0:0:0:0:0:1]", true},
    {"Localhost", "localhost:5988", true},
    {"LocalhostInCapitals", "LOCALHOST", true},
    {"LocalhostWithADot", "localhost.", true},
    {"Machine", "node7.example.org:80", true},
    {"MachineInCapitals", "Node7.Example.ORG.", true},
    {"Configured", "cim.example.org", true},
    {"NoPortBehindTheColon", "localhost:", true},

    {"Stranger", "rebound.example.net:5988", false},
    {"LocalhostInAName", "localhost.example.net", false},
    {"NameBeforeLocalhost", "evil.localhost", false},
    {"MachineInAName", "node7.example.org.evil.net", false},
    {"LoopbackInAName", "127.0.0.1.example.net", false},
    {"OtherAddress", "192.168.0.1:5988", false},
    {"AnyAddress", "0.0.0.0:5988", false},
    {"OtherV6", "[2001:db8::1]", false},
    {"AnyV6", "[::]", false},
    {"MappedV6", "[::ffff:10.0.0.1]", false},
    {"UserBefore", "localhost@evil.net", false},
    {"UserBeforeOwn", "evil@localhost", false},
    {"Empty", "", false},
    {"OnlyAPort", ":5988", false},
    {"Number", "2130706433", false},
    {"ShortNumber", "127.1", false},
    {"TwoDots", "localhost..", false},
    {"Path", "localhost/x", false},
    {"NoPort", "localhost:evil", false},
    {"Space", "localhost evil.net", false},
};

class HostChecked : public testing::TestWithParam<Row> {};

}  // namespace

TEST_P(HostChecked, IsOwnOrNot) {
    const HostCheck check("cim.example.org", "node7.example.org");
    EXPECT_EQ(check.isOwn(GetParam().authority), GetParam().isOwn);
}

INSTANTIATE_TEST_SUITE_P(Hosts, HostChecked, testing::ValuesIn(rows),
                         [](const auto& row) { return row.param.name; });

TEST(HostCheck, TakesNoNameForItsOwn_WhenItKnowsNone) {
    const HostCheck check("", "");
    EXPECT_FALSE(check.isOwn(""));
    EXPECT_FALSE(check.isOwn("."));
    EXPECT_TRUE(check.isOwn("localhost"));
}

}  // namespace velm::test

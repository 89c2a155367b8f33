#include "tests/unit/velmd/requests/RequestSupport.h"

// Who a subscriber says it is: hosts, ports and sessions that are taken, and those that are refused.

namespace velm::test {

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

const IParameters creation{{"IndicationType", value("Creation")}};

}  // namespace

namespace {

struct AddressCase {
    const char* name;
    std::string host;
    std::string port;
    std::string session;
    /// The identity, or the parameter that is refused.
    const char* expected;
};

void PrintTo(const AddressCase& row, std::ostream* out) {
    *out << row.name;
}

const std::string label(63, 'a');
const std::string longestHost = label + '.' + label + '.' + label + '.' + std::string(61, 'a');

const AddressCase addressCases[]{
    {"Name", "listener.example", "5990", "7", "listener.example:5990 (7)"},
    {"Underscore", "my_host-1", "1", "0", "my_host-1:1 (0)"},
    {"IPv4", "127.0.0.1", "65535", "4294967295", "127.0.0.1:65535 (4294967295)"},
    {"IPv6", "::1", "5990", "7", "::1:5990 (7)"},
    {"IPv6InBrackets", "[2001:db8::7]", "5990", "7", "2001:db8::7:5990 (7)"},
    {"LeadingZeros", "a", "05990", "007", "a:5990 (7)"},
    {"Longest", longestHost, "5990", "7", nullptr},

    {"EmptyHost", "", "5990", "7", "SubscriberHost"},
    {"TooLong", longestHost + "a", "5990", "7", "SubscriberHost"},
    {"ThreeHundred", std::string(300, 'a'), "5990", "7", "SubscriberHost"},
    {"LineEnd", "a&#13;&#10;X-Evil: b", "5990", "7", "SubscriberHost"},
    {"LineFeed", "a\nb", "5990", "7", "SubscriberHost"},
    {"Tab", "a\tb", "5990", "7", "SubscriberHost"},
    {"Space", "a b", "5990", "7", "SubscriberHost"},
    {"OuterSpace", " a", "5990", "7", "SubscriberHost"},
    {"UserInformation", "user@host", "5990", "7", "SubscriberHost"},
    {"Password", "user:secret@host", "5990", "7", "SubscriberHost"},
    {"Port", "host:80", "5990", "7", "SubscriberHost"},
    {"Path", "host/path", "5990", "7", "SubscriberHost"},
    {"URL", "http://host", "5990", "7", "SubscriberHost"},
    {"Query", "host?a", "5990", "7", "SubscriberHost"},
    {"Fragment", "host#a", "5990", "7", "SubscriberHost"},
    {"Percent", "host%0d", "5990", "7", "SubscriberHost"},
    {"NotASCII", "h\xC3\xB6st", "5990", "7", "SubscriberHost"},
    {"LeadingDot", ".host", "5990", "7", "SubscriberHost"},
    {"LeadingHyphen", "-host", "5990", "7", "SubscriberHost"},
    {"BracketedName", "[host]", "5990", "7", "SubscriberHost"},
    {"BracketedIPv4", "[127.0.0.1]", "5990", "7", "SubscriberHost"},
    {"OpenBracket", "[::1", "5990", "7", "SubscriberHost"},
    {"EmptyBrackets", "[]", "5990", "7", "SubscriberHost"},
    {"TwoBrackets", "[[::1]]", "5990", "7", "SubscriberHost"},
    {"BracketsAndPort", "[::1]:80", "5990", "7", "SubscriberHost"},
    {"Zone", "fe80::1%eth0", "5990", "7", "SubscriberHost"},
    {"BrokenIPv6", "1::2::3", "5990", "7", "SubscriberHost"},

    {"PortZero", "a", "0", "7", "SubscriberPort"},
    {"PortTooLarge", "a", "65536", "7", "SubscriberPort"},
    {"PortHuge", "a", "99999999999999999999", "7", "SubscriberPort"},
    {"PortNegative", "a", "-1", "7", "SubscriberPort"},
    {"PortWithPlus", "a", "+80", "7", "SubscriberPort"},
    {"PortHexadecimal", "a", "0x50", "7", "SubscriberPort"},
    {"PortName", "a", "http", "7", "SubscriberPort"},
    {"PortEmpty", "a", "", "7", "SubscriberPort"},
    {"PortWithSpace", "a", " 80", "7", "SubscriberPort"},
    {"PortWithMore", "a", "80/", "7", "SubscriberPort"},

    {"SessionTooLarge", "a", "80", "4294967296", "SessionID"},
    {"SessionNegative", "a", "80", "-1", "SessionID"},
    {"SessionText", "a", "80", "first", "SessionID"},
    {"SessionEmpty", "a", "80", "", "SessionID"},
};

class SubscriberAddresses : public RequestTest, public testing::WithParamInterface<AddressCase> {};

}  // namespace

TEST_P(SubscriberAddresses, AreTakenOrRefused_InEveryRequest) {
    const AddressCase& row = GetParam();
    const IParameters identity = subscriber(row.host, row.port, row.session);
    const std::string expected = row.expected ? row.expected : longestHost + ":5990 (7)";
    const bool isTaken = expected.find('(') != std::string::npos;
    const Answer answers[]{call("HeartBeat", identity), call("Subscribe", identity + creation),
                           call("Unsubscribe", identity + creation)};
    for (const Answer& answer : answers) {
        EXPECT_EQ(answer.code(), isTaken ? 0 : 4);
        EXPECT_THAT(answer.description(),
                    HasSubstr(isTaken ? "" : "the parameter '" + expected + "' must be "));
    }
    if (isTaken) {
        EXPECT_THAT(manager.calls(),
                    ElementsAre("heartBeat " + expected,
                                "subscribe " + expected + " Creation <null> <null> <null> at 127.0.0.9 5988",
                                "unsubscribe " + expected + " Creation <null> <null> <null>"));
    } else {
        EXPECT_EQ(call("RegisterNotificationChannel", identity).code(), 4);
        EXPECT_THAT(manager.calls(), IsEmpty());
    }
}

INSTANTIATE_TEST_SUITE_P(Identity, SubscriberAddresses, testing::ValuesIn(addressCases),
                         [](const auto& row) { return row.param.name; });

}  // namespace velm::test

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
    /// The identity, or the parameter that is refused and why.
    const char* expected;
};

void PrintTo(const AddressCase& row, std::ostream* out) {
    *out << row.name;
}

const std::string label(63, 'a');
const std::string longestHost = label + '.' + label + '.' + label + '.' + std::string(61, 'a');

constexpr const char* character = "SubscriberHost' holds a character that no host name has";
constexpr const char* emptyLabel = "SubscriberHost' has an empty label";
constexpr const char* longLabel = "SubscriberHost' has a label of more than 63 characters";
constexpr const char* hyphen = "SubscriberHost' has a label that begins or ends with a hyphen";
constexpr const char* number = "SubscriberHost' ends in a number and is no IPv4 address";
constexpr const char* colon = "SubscriberHost' holds a colon and is no IPv6 address";
constexpr const char* brackets = "SubscriberHost' holds no IPv6 address in brackets";
constexpr const char* tooLong = "SubscriberHost' has more than 253 characters";
constexpr const char* noPort = "SubscriberPort' must be a number of decimal digits";
constexpr const char* portZeros = "SubscriberPort' must be a number without leading zeros";
constexpr const char* portRange = "SubscriberPort' must be a number from 1 to 65535";
constexpr const char* noSession = "SessionID' must be a number of decimal digits";
constexpr const char* sessionZeros = "SessionID' must be a number without leading zeros";
constexpr const char* sessionRange = "SessionID' must be a number from 0 to 4294967295";

const AddressCase addressCases[]{
    {"Name", "listener.example", "5990", "7", "listener.example:5990 (7)"},
    {"InCapitals", "Listener.EXAMPLE", "5990", "7", "Listener.EXAMPLE:5990 (7)"},
    {"Underscore", "my_host-1", "1", "0", "my_host-1:1 (0)"},
    {"DigitsFirst", "3com.1e100.net", "5990", "7", "3com.1e100.net:5990 (7)"},
    {"NumberFirst", "127.0.0.1.example", "5990", "7", "127.0.0.1.example:5990 (7)"},
    {"NearlyHexadecimal", "0xbeg", "5990", "7", "0xbeg:5990 (7)"},
    {"HyphensInside", "a--b.xn--bcher-kva.example", "5990", "7", "a--b.xn--bcher-kva.example:5990 (7)"},
    {"OneLetter", "a", "5990", "7", "a:5990 (7)"},
    {"IPv4", "127.0.0.1", "65535", "4294967295", "127.0.0.1:65535 (4294967295)"},
    {"IPv6", "::1", "5990", "7", "::1:5990 (7)"},
    {"IPv6InBrackets", "[2001:db8::7]", "5990", "7", "2001:db8::7:5990 (7)"},
    {"IPv6InCapitals", "2001:DB8::A", "5990", "7", "2001:db8::a:5990 (7)"},
    {"IPv6InFull", "[2001:0db8:0000:0000:0000:0000:0000:0007]", "5990", "7", "2001:db8::7:5990 (7)"},
    {"IPv6WithIPv4", "::FFFF:127.0.0.1", "5990", "7", "::ffff:127.0.0.1:5990 (7)"},
    {"Longest", longestHost, "5990", "7", nullptr},

    {"EmptyHost", "", "5990", "7", "SubscriberHost' is empty"},
    {"TooLong", longestHost + "a", "5990", "7", tooLong},
    {"ThreeHundred", std::string(300, 'a'), "5990", "7", tooLong},
    {"LongLabel", label + "a", "5990", "7", longLabel},
    {"LongLabelInside", "a." + label + "a.b", "5990", "7", longLabel},
    {"LineEnd", "a&#13;&#10;X-Evil: b", "5990", "7", colon},
    {"LineFeed", "a\nb", "5990", "7", character},
    {"Tab", "a\tb", "5990", "7", character},
    {"Space", "a b", "5990", "7", character},
    {"OuterSpace", " a", "5990", "7", character},
    {"TrailingSpace", "a ", "5990", "7", character},
    {"UserInformation", "user@host", "5990", "7", character},
    {"Password", "user:secret@host", "5990", "7", colon},
    {"Port", "host:80", "5990", "7", colon},
    {"IPv4AndPort", "127.0.0.1:80", "5990", "7", colon},
    {"Path", "host/path", "5990", "7", character},
    {"URL", "http://host", "5990", "7", colon},
    {"Query", "host?a", "5990", "7", character},
    {"Fragment", "host#a", "5990", "7", character},
    {"Percent", "host%0d", "5990", "7", character},
    {"NotASCII", "h\xC3\xB6st", "5990", "7", character},
    {"LeadingDot", ".host", "5990", "7", emptyLabel},
    {"TrailingDot", "host.example.", "5990", "7", emptyLabel},
    {"TwoDots", "a..b", "5990", "7", emptyLabel},
    {"OnlyADot", ".", "5990", "7", emptyLabel},
    {"LeadingHyphen", "-host", "5990", "7", hyphen},
    {"TrailingHyphen", "host-", "5990", "7", hyphen},
    {"LeadingHyphenInside", "a.-b.c", "5990", "7", hyphen},
    {"TrailingHyphenInside", "a.b-.c", "5990", "7", hyphen},

    {"Zero", "0", "5990", "7", number},
    {"OneNumber", "2130706433", "5990", "7", number},
    {"TwoNumbers", "127.1", "5990", "7", number},
    {"ThreeNumbers", "127.0.1", "5990", "7", number},
    {"FiveNumbers", "127.0.0.0.1", "5990", "7", number},
    {"Hexadecimal", "0x7f000001", "5990", "7", number},
    {"HexadecimalInCapitals", "0X7F000001", "5990", "7", number},
    {"HexadecimalPart", "127.0.0.0x1", "5990", "7", number},
    {"OnlyThePrefix", "0x", "5990", "7", number},
    {"Octal", "010.0.0.1", "5990", "7", number},
    {"OctalAtTheEnd", "127.0.0.01", "5990", "7", number},
    {"PartTooLarge", "127.0.0.256", "5990", "7", number},
    {"NameBeforeANumber", "host.example.1", "5990", "7", number},

    {"BracketedName", "[host]", "5990", "7", brackets},
    {"BracketedIPv4", "[127.0.0.1]", "5990", "7", brackets},
    {"OpenBracket", "[::1", "5990", "7", brackets},
    {"OnlyABracket", "[", "5990", "7", brackets},
    {"ClosingBracket", "::1]", "5990", "7", colon},
    {"EmptyBrackets", "[]", "5990", "7", brackets},
    {"TwoBrackets", "[[::1]]", "5990", "7", brackets},
    {"BracketsAndPort", "[::1]:80", "5990", "7", brackets},
    {"BracketsAndSpace", "[::1] ", "5990", "7", brackets},
    {"Zone", "fe80::1%eth0", "5990", "7", colon},
    {"ZoneInBrackets", "[fe80::1%25eth0]", "5990", "7", brackets},
    {"BrokenIPv6", "1::2::3", "5990", "7", colon},
    {"ShortIPv6", "1:2:3:4:5:6:7", "5990", "7", colon},
    {"LongPartIPv6", "::12345", "5990", "7", colon},
    {"IPv6WithPartOfIPv4", "::127.1", "5990", "7", colon},
    {"IPv6WithOctalIPv4", "::ffff:010.0.0.1", "5990", "7", colon},

    {"PortZero", "a", "0", "7", portRange},
    {"PortTooLarge", "a", "65536", "7", portRange},
    {"PortHuge", "a", "99999999999999999999", "7", portRange},
    {"PortNegative", "a", "-1", "7", noPort},
    {"PortWithPlus", "a", "+80", "7", noPort},
    {"PortHexadecimal", "a", "0x50", "7", noPort},
    {"PortName", "a", "http", "7", noPort},
    {"PortEmpty", "a", "", "7", noPort},
    {"PortWithSpace", "a", " 80", "7", noPort},
    {"PortWithSpaceBehind", "a", "80 ", "7", noPort},
    {"PortWithMore", "a", "80/", "7", noPort},
    {"PortWithLeadingZero", "a", "080", "7", portZeros},
    {"PortOfZeros", "a", "00", "7", portZeros},

    {"SessionTooLarge", "a", "80", "4294967296", sessionRange},
    {"SessionHuge", "a", "80", "99999999999999999999", sessionRange},
    {"SessionNegative", "a", "80", "-1", noSession},
    {"SessionWithPlus", "a", "80", "+1", noSession},
    {"SessionHexadecimal", "a", "80", "0x1", noSession},
    {"SessionWithSpaces", "a", "80", " 1 ", noSession},
    {"SessionText", "a", "80", "first", noSession},
    {"SessionFraction", "a", "80", "1.0", noSession},
    {"SessionOtherDigits", "a", "80", "\xD9\xA1", noSession},
    {"SessionEmpty", "a", "80", "", noSession},
    {"SessionWithLeadingZeros", "a", "80", "007", sessionZeros},
};

class SubscriberAddresses : public RequestTest, public testing::WithParamInterface<AddressCase> {};

}  // namespace

TEST_P(SubscriberAddresses, AreTakenOrRefused_InEveryRequest) {
    const AddressCase& row = GetParam();
    const IParameters identity = subscriber(row.host, row.port, row.session);
    const std::string expected = row.expected ? row.expected : longestHost + ":5990 (7)";
    const bool isTaken = expected.ends_with(')');
    const Answer answers[]{call("HeartBeat", identity), call("Subscribe", identity + creation),
                           call("Unsubscribe", identity + creation)};
    for (const Answer& answer : answers) {
        EXPECT_EQ(answer.code(), isTaken ? 0 : 4);
        EXPECT_THAT(answer.description(),
                    HasSubstr(isTaken ? "" : "INVALID_PARAMETER: the parameter '" + expected));
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

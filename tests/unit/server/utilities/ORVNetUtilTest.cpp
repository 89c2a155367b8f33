#include "foundation/utilities/ORVNetUtil.h"

#include <ifaddrs.h>
#include <memory>
#include <netdb.h>
#include <netinet/in.h>
#include <string>
#include <string_view>
#include <sys/socket.h>
#include <vector>

#include <gtest/gtest.h>

using namespace std::string_view_literals;

namespace {

bool isLocal(std::string_view host, int addressFamily = 0) {
    return ORVNetUtil::isLoopBackAddress(host, addressFamily);
}

/// The addresses of this machine's interfaces as text, scopes included.
std::vector<std::string> interfaceAddresses() {
    std::vector<std::string> texts;
    ifaddrs* first = nullptr;
    if (getifaddrs(&first) != 0) {
        return texts;
    }
    const std::unique_ptr<ifaddrs, decltype(&freeifaddrs)> interfaces(first, &freeifaddrs);
    for (const ifaddrs* entry = first; entry; entry = entry->ifa_next) {
        const int family = entry->ifa_addr ? entry->ifa_addr->sa_family : AF_UNSPEC;
        if (family == AF_INET || family == AF_INET6) {
            char text[NI_MAXHOST];
            const socklen_t length = family == AF_INET ? sizeof(sockaddr_in) : sizeof(sockaddr_in6);
            if (getnameinfo(entry->ifa_addr, length, text, sizeof text, nullptr, 0, NI_NUMERICHOST) == 0) {
                texts.emplace_back(text);
            }
        }
    }
    return texts;
}

}  // namespace

TEST(NetUtil, KnowsLoopBackLiterals) {
    for (std::string_view host :
         {"127.0.0.1"sv, "127.0.0.0"sv, "127.255.255.255"sv, "127.9.8.7"sv, "::1"sv, "[::1]"sv,
          "0:0:0:0:0:0:0:1"sv, "::1%lo"sv, "[::1%1]"sv, "::ffff:127.0.0.1"sv, "::FFFF:7f01:203"sv,
          "[::ffff:127.9.9.9]"sv, "0.0.0.0"sv, "::"sv}) {
        EXPECT_TRUE(isLocal(host)) << host;
    }
}

TEST(NetUtil, TellsLiteralsOfOtherMachines) {
    for (std::string_view host :
         {"126.255.255.255"sv, "128.0.0.1"sv, "192.0.2.1"sv, "::2"sv, "2001:db8::1"sv, "[2001:db8::1]"sv,
          "::ffff:192.0.2.1"sv, "::127.0.0.1"sv, "2001:db8::ffff:7f00:1"sv}) {
        EXPECT_FALSE(isLocal(host)) << host;
    }
}

TEST(NetUtil, AnswersLiteralsWhateverTheFamily) {
    EXPECT_TRUE(isLocal("127.0.0.1", AF_INET6));
    EXPECT_TRUE(isLocal("::1", AF_INET));
}

TEST(NetUtil, KnowsTheAddressesOfTheMachinesInterfaces) {
    const std::vector<std::string> addresses = interfaceAddresses();
    EXPECT_FALSE(addresses.empty());
    for (const std::string& address : addresses) {
        EXPECT_TRUE(isLocal(address)) << address;
        EXPECT_TRUE(isLocal("[" + address + "]")) << address;
    }
}

TEST(NetUtil, ResolvesNames) {
    EXPECT_TRUE(isLocal("localhost"));
    EXPECT_TRUE(isLocal("LOCALHOST"));
    EXPECT_TRUE(isLocal("localhost", AF_INET));
}

TEST(NetUtil, LimitsTheLookUpOfNamesToTheFamily) {
    // No resolver knows addresses of this family.
    EXPECT_FALSE(isLocal("localhost", AF_UNIX));
}

TEST(NetUtil, TakesWhatIsNoHostForNotLocal) {
    for (std::string_view host :
         {""sv, "["sv, "[]"sv, "[127.0.0.1"sv, "127.0.0.1]"sv, "%lo"sv, "127.0.0.1\0.example.org"sv,
          "local host"sv, "localhost\r\nX: y"sv, "no-such-host.invalid"sv}) {
        EXPECT_FALSE(isLocal(host)) << host;
    }
    EXPECT_FALSE(ORVNetUtil::isLoopBackAddress(ORVString(), 0));
    EXPECT_FALSE(isLocal(std::string(100'000, 'a')));
}

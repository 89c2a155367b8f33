#include "velmd/http/Listening.h"

#include "tests/support/LogCapture.h"
#include "tests/unit/velmd/http/TestClient.h"
#include "velmd/http/HTTPServer.h"

#include <cstdint>
#include <cstring>
#include <fcntl.h>
#include <net/if.h>
#include <netinet/in.h>
#include <sched.h>
#include <stdexcept>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <system_error>
#include <thread>

#include <gmock/gmock.h>

using namespace velm;
using namespace velm::test;
using testing::AllOf;
using testing::HasSubstr;
using testing::StartsWith;

namespace {

class RefusedAddress : public testing::TestWithParam<const char*> {};

template <class Exception, class Operation>
std::string messageOf(Operation operation) {
    try {
        operation();
    } catch (const Exception& failure) {
        return failure.what();
    }
    ADD_FAILURE() << "nothing was thrown";
    return {};
}

/// The kernel's struct in6_ifreq, whose header does not go together with <netinet/in.h>.
struct InterfaceAddress {
    in6_addr address = IN6ADDR_LOOPBACK_INIT;
    std::uint32_t prefixLength = 128;
    int interface = 1;
};

/// Moves the calling thread into a network of its own, with a loopback interface that has no IPv6 address.
/// False where the tests may not do this.
bool enterNetworkWithoutIPv6() {
    if (::unshare(CLONE_NEWNET) != 0) {
        return false;
    }
    const Descriptor socket(::socket(AF_INET6, SOCK_DGRAM, 0));
    ifreq loopback{};
    std::strcpy(loopback.ifr_name, "lo");
    loopback.ifr_flags = IFF_UP;
    InterfaceAddress address;
    return ::ioctl(socket.get(), SIOCSIFFLAGS, &loopback) == 0 &&
           ::ioctl(socket.get(), SIOCDIFADDR, &address) == 0;
}

}  // namespace

TEST_P(RefusedAddress, IsNamed_BecauseItIsNoLoopbackLiteral) {
    HTTPServer::Options options = loopbackOptions();
    options.addresses = {"127.0.0.1", GetParam()};
    EXPECT_EQ(messageOf<std::invalid_argument>([&] { HTTPServer(options, echo); }),
              std::string("Cannot listen on '") + GetParam() +
                  "': only loopback addresses are allowed (127.0.0.0/8 and ::1)");
}

INSTANTIATE_TEST_SUITE_P(Listening, RefusedAddress,
                         testing::Values("", "0.0.0.0", "::", "localhost", "10.0.0.1", "126.255.255.255",
                                         "128.0.0.1", "::2", "fe80::1", "::ffff:127.0.0.1", "127.1",
                                         "127.0.0.1 ", "[::1]", "::1%lo", "127.0.0.1:80",
                                         "http://127.0.0.1"));

TEST(Listening, NeedsAnAddressAndAWorker) {
    HTTPServer::Options options = loopbackOptions();
    options.addresses = {};
    EXPECT_EQ(messageOf<std::invalid_argument>([&] { HTTPServer(options, echo); }),
              "There is no address to listen on");
    options = loopbackOptions();
    options.workers = 0;
    EXPECT_EQ(messageOf<std::invalid_argument>([&] { HTTPServer(options, echo); }),
              "An HTTP server needs at least one worker");
}

TEST(Listening, SharesOnePort_WhenTheKernelChoosesIt) {
    const Listening listening = listenOn({"127.0.0.1", "::1", "127.0.0.77"}, 0);
    ASSERT_EQ(listening.sockets.size(), 3U);
    ASSERT_NE(listening.port, 0);
    for (const Descriptor& socket : listening.sockets) {
        sockaddr_in6 own{};
        socklen_t size = sizeof own;
        ASSERT_EQ(::getsockname(socket.get(), reinterpret_cast<sockaddr*>(&own), &size), 0);
        EXPECT_EQ(ntohs(own.sin6_port), listening.port);
        EXPECT_TRUE(::fcntl(socket.get(), F_GETFD) & FD_CLOEXEC);
        EXPECT_TRUE(::fcntl(socket.get(), F_GETFL) & O_NONBLOCK);
    }
}

TEST(Listening, NamesAddressAndPort_WhenSomebodyElseListensThere) {
    const Listening first = listenOn({"127.0.0.1"}, 0);
    const std::string port = std::to_string(first.port);
    EXPECT_EQ(messageOf<std::system_error>([&] {
                  listenOn({"127.0.0.2", "127.0.0.1"}, first.port);
              }),
              "Cannot listen on 127.0.0.1 port " + port + ": Address already in use");
    HTTPServer::Options options = loopbackOptions();
    options.port = first.port;
    EXPECT_EQ(messageOf<std::system_error>([&] { HTTPServer(options, echo); }),
              "Cannot listen on 127.0.0.1 port " + port + ": Address already in use");
}

TEST(Listening, ChoosesAnotherPort_WhenTheFirstIsTakenOnOneAddress) {
    std::vector<Listening> taken;
    for (int count = 0; count < 100; ++count) {
        taken.push_back(listenOn({"127.0.0.2"}, 0));
        EXPECT_EQ(listenOn({"127.0.0.1", "127.0.0.2"}, 0).sockets.size(), 2U);
    }
}

TEST(Listening, GivesUp_WhenNoPortIsFreeOnAllAddresses) {
    EXPECT_THAT(messageOf<std::system_error>([] {
                    listenOn({"127.0.0.1", "127.0.0.1"}, 0);
                }),
                AllOf(StartsWith("Cannot listen on 127.0.0.1 port "), HasSubstr("Address already in use")));
}

TEST(Listening, TakesItsPortAgain_WhenConnectionsOfItsPredecessorLinger) {
    HTTPServer::Options options = loopbackOptions();
    for (int count = 0; count < 2; ++count) {
        HTTPServer server(options, echo);
        options.port = server.port();
        TestClient client(server.port());
        client.send("GET / HTTP/1.0\r\n\r\n");
        EXPECT_EQ(client.receiveAll(), responseBytes("200 OK", "GET / ", "close"));
    }
}

TEST(Listening, LeavesOutIPv6WithALine_WhenTheMachineHasNone) {
    const LogCapture log;
    bool isPossible = false;
    std::string answer;
    std::string failure;
    std::thread([&] {
        isPossible = enterNetworkWithoutIPv6();
        if (!isPossible) {
            return;
        }
        HTTPServer::Options options = loopbackOptions();
        options.addresses = {"::1", "127.0.0.1"};
        HTTPServer server(options, echo);
        TestClient client(server.port());
        client.send("GET / HTTP/1.0\r\n\r\n");
        answer = client.receiveAll();
        failure = messageOf<std::system_error>([] { listenOn({"::1"}, 5988); });
    }).join();
    if (!isPossible) {
        GTEST_SKIP() << "a network namespace cannot be made here";
    }
    EXPECT_EQ(answer, responseBytes("200 OK", "GET / ", "close"));
    EXPECT_EQ(failure, "Cannot listen on ::1 port 5988: Cannot assign requested address");
    EXPECT_THAT(log.records(), testing::ElementsAre(
                                   IsLogLine("HTTPServer",
                                             "Cannot listen on ::1 port 0: Cannot assign requested address; "
                                             "the other addresses are served",
                                             OrvoTraceLog::SeverityWarning)));
}

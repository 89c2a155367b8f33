#include "foundation/http/ORVHTTPTransport.h"

#include "tests/support/ScriptedListener.h"
#include "tests/unit/server/http/LoopbackPair.h"

#include <array>
#include <atomic>
#include <chrono>
#include <csignal>
#include <fcntl.h>
#include <latch>
#include <netinet/in.h>
#include <string>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>
#include <vector>

#include <gmock/gmock.h>

using namespace std::chrono_literals;
using testing::HasSubstr;
using testing::MatchesRegex;
using velm::test::LoopbackPair;
using velm::test::netFailureOf;
using velm::test::RefusingPort;
using velm::test::ScriptedListener;
using Clock = std::chrono::steady_clock;

namespace {

/// Far above every deadline that a test sets, far below what a test may take.
constexpr auto longTime = 20s;
/// More than the kernel keeps for a peer that does not read.
constexpr std::size_t tooMuch = 64 * 1024 * 1024;

std::size_t receiveByte(ORVHTTPTransport& transport) {
    char byte;
    return transport.receive(&byte, 1);
}

/// A port whose queue of connections is full, so that connecting to it hangs.
class FullPort {
public:
    FullPort() {
        _address.sin_family = AF_INET;
        _address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        auto* generic = reinterpret_cast<sockaddr*>(&_address);
        socklen_t size = sizeof _address;
        _sockets.push_back(::socket(AF_INET, SOCK_STREAM, 0));
        EXPECT_EQ(::bind(_sockets[0], generic, size), 0);
        EXPECT_EQ(::listen(_sockets[0], 0), 0);
        EXPECT_EQ(::getsockname(_sockets[0], generic, &size), 0);
        for (int count = 0; count < 4; ++count) {
            _sockets.push_back(::socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK, 0));
            ::connect(_sockets.back(), generic, size);
        }
    }
    FullPort(const FullPort&) = delete;
    FullPort& operator=(const FullPort&) = delete;
    ~FullPort() {
        for (const int socket : _sockets) {
            ::close(socket);
        }
    }

    ORVString port() const { return ORVString(std::to_string(ntohs(_address.sin_port)).c_str()); }

private:
    sockaddr_in _address{};
    std::vector<int> _sockets;
};

}  // namespace

TEST(HTTPTransport, SendsEveryByte_WhenThePeerReadsMoreSlowlyThanItSends) {
    LoopbackPair pair;
    std::string bytes(16 * 1024 * 1024, '\0');
    for (std::size_t index = 0; index < bytes.size(); ++index) {
        bytes[index] = static_cast<char>(index % 251);
    }
    std::thread sender([&] { pair.transport()->send(bytes); });
    const std::string received = pair.receive(bytes.size());
    sender.join();
    EXPECT_TRUE(received == bytes);
}

TEST(HTTPTransport, ReceivesWhatIsThereAndThenTheEnd_WhenThePeerSendsAndCloses) {
    LoopbackPair pair;
    pair.send("abc");
    pair.close();
    std::array<char, 16> buffer;
    ASSERT_EQ(pair.transport()->receive(buffer.data(), buffer.size()), 3U);
    EXPECT_EQ(std::string(buffer.data(), 3), "abc");
    EXPECT_EQ(pair.transport()->receive(buffer.data(), buffer.size()), 0U);
}

TEST(HTTPTransport, NamesPeerAndCause_WhenThePeerResets) {
    LoopbackPair pair;
    pair.reset();
    EXPECT_EQ(netFailureOf([&] { receiveByte(*pair.transport()); }),
              "Receiving from " + pair.peerName() + " failed: Connection reset by peer");
    EXPECT_EQ(pair.transport()->nativeHandle(), -1);
}

TEST(HTTPTransport, NamesPeerAndCauseAndRaisesNoSignal_WhenItSendsToAPeerThatIsGone) {
    LoopbackPair pair;
    pair.reset();
    EXPECT_THAT(
        netFailureOf([&] {
            pair.transport()->send("a");
            pair.transport()->send("b");
        }),
        MatchesRegex("Sending to " + pair.peerName() + " failed: (Connection reset by peer|Broken pipe)"));
    EXPECT_EQ(netFailureOf([&] { pair.transport()->send("c"); }),
              "Sending to " + pair.peerName() + " failed: the connection was closed");
}

TEST(HTTPTransport, FailsAtItsDeadlineAndCloses_WhenThePeerIsSilent) {
    LoopbackPair pair;
    pair.transport()->setReceiveTimeout(50);
    EXPECT_EQ(netFailureOf([&] { receiveByte(*pair.transport()); }),
              "Receiving from " + pair.peerName() + " failed: timed out after 50 ms");
    EXPECT_EQ(pair.receive(1), "");
    EXPECT_EQ(netFailureOf([&] { pair.transport()->send("a"); }),
              "Sending to " + pair.peerName() + " failed: the connection was closed");
}

TEST(HTTPTransport, FailsAtItsDeadline_WhenThePeerNeverStopsSending) {
    LoopbackPair pair;
    std::thread peer([&] {
        while (pair.send(std::string(4096, 'x'))) {
        }
    });
    pair.transport()->setReceiveTimeout(100);
    const auto start = Clock::now();
    EXPECT_THAT(netFailureOf([&] {
                    while (Clock::now() - start < longTime) {
                        receiveByte(*pair.transport());
                    }
                }),
                HasSubstr("timed out after 100 ms"));
    pair.dropTransport();
    peer.join();
}

TEST(HTTPTransport, HasNoReceiveDeadline_WhenItIsSetToZero) {
    LoopbackPair pair;
    pair.transport()->setReceiveTimeout(1);
    pair.transport()->setReceiveTimeout(0);
    pair.send("a");
    EXPECT_EQ(receiveByte(*pair.transport()), 1U);
}

TEST(HTTPTransport, FailsAtItsSendTimeOut_WhenThePeerDoesNotRead) {
    LoopbackPair pair;
    pair.transport()->setSendTimeout(100);
    const std::string bytes(tooMuch, 'x');
    EXPECT_EQ(netFailureOf([&] { pair.transport()->send(bytes); }),
              "Sending to " + pair.peerName() + " failed: timed out after 100 ms");
    EXPECT_EQ(pair.transport()->nativeHandle(), -1);
}

TEST(HTTPTransport, FailsTheReceiverAtOnce_WhenAnotherThreadCloses) {
    LoopbackPair pair;
    std::latch started(1);
    std::string failure;
    std::thread receiver([&] {
        started.count_down();
        failure = netFailureOf([&] { receiveByte(*pair.transport()); });
    });
    started.wait();
    pair.transport()->close();
    pair.transport()->close();
    receiver.join();
    EXPECT_EQ(failure, "Receiving from " + pair.peerName() + " failed: the connection was closed");
}

TEST(HTTPTransport, FailsTheSenderAtOnce_WhenAnotherThreadCloses) {
    LoopbackPair pair;
    pair.transport()->setSendTimeout(0);
    const std::string bytes(tooMuch, 'x');
    std::string failure;
    std::thread sender([&] { failure = netFailureOf([&] { pair.transport()->send(bytes); }); });
    EXPECT_EQ(pair.receive(1), "x");
    pair.transport()->close();
    sender.join();
    EXPECT_EQ(failure, "Sending to " + pair.peerName() + " failed: the connection was closed");
}

TEST(HTTPTransport, FailsSenderAndReceiver_WhenAThirdThreadCloses) {
    LoopbackPair pair;
    const std::string bytes(tooMuch, 'x');
    std::thread sender([&] { netFailureOf([&] { pair.transport()->send(bytes); }); });
    std::thread receiver([&] { netFailureOf([&] { receiveByte(*pair.transport()); }); });
    EXPECT_EQ(pair.receive(1), "x");
    pair.transport()->close();
    sender.join();
    receiver.join();
}

TEST(HTTPTransport, SendsOneWholeCallAfterTheOther_WhenTwoThreadsSend) {
    LoopbackPair pair;
    constexpr std::size_t size = 4 * 1024 * 1024;
    std::thread first([&] { pair.transport()->send(std::string(size, 'a')); });
    std::thread second([&] { pair.transport()->send(std::string(size, 'b')); });
    const std::string received = pair.receive(2 * size);
    first.join();
    second.join();
    ASSERT_EQ(received.size(), 2 * size);
    EXPECT_EQ(received.find_first_not_of(received.front()), size);
    EXPECT_EQ(received.find(received.front(), size), std::string::npos);
}

TEST(HTTPTransport, WaitsForTheAnswer_WhenTheSocketNeverBlocks) {
    LoopbackPair pair;
    const int socket = pair.transport()->nativeHandle();
    ::fcntl(socket, F_SETFL, ::fcntl(socket, F_GETFL) | O_NONBLOCK);
    for (const long timeout : {0L, 10'000L}) {
        pair.transport()->setReceiveTimeout(timeout);
        std::thread peer([&] { pair.send("a"); });
        EXPECT_EQ(receiveByte(*pair.transport()), 1U);
        peer.join();
    }
    pair.transport()->setReceiveTimeout(50);
    EXPECT_THAT(netFailureOf([&] { receiveByte(*pair.transport()); }), HasSubstr("timed out after 50 ms"));
}

TEST(HTTPTransport, KeepsAnEarlyAnswer_WhenThePeerClosesBeforeTheRequestIsIn) {
    LoopbackPair pair;
    const std::string bytes(tooMuch, 'x');
    std::thread peer([&] {
        pair.receive(1);
        pair.send("answer");
        pair.close();
    });
    pair.transport()->sendRequest(bytes);
    peer.join();
    std::array<char, 16> buffer;
    EXPECT_EQ(pair.transport()->receive(buffer.data(), buffer.size()), 6U);
}

TEST(HTTPTransport, FailsToSendARequest_WhenThePeerClosesWithoutAnAnswer) {
    LoopbackPair pair;
    const std::string bytes(tooMuch, 'x');
    std::thread peer([&] {
        pair.receive(1);
        pair.close();
    });
    netFailureOf([&] { pair.transport()->sendRequest(bytes); });
    peer.join();
    EXPECT_EQ(pair.transport()->nativeHandle(), -1);
}

TEST(HTTPTransport, WaitsForThePeerToCloseFirst_WhenItIsToCloseAfterIt) {
    LoopbackPair pair;
    pair.send("ab");
    receiveByte(*pair.transport());
    std::thread closing([&] { pair.transport()->closeAfterPeer(10'000); });
    pair.close();
    closing.join();
    EXPECT_EQ(pair.transport()->nativeHandle(), -1);
}

TEST(HTTPTransport, ClosesWhenTheTimeIsOver_WhenThePeerDoesNotCloseFirst) {
    LoopbackPair pair;
    pair.send("ab");
    receiveByte(*pair.transport());
    const auto start = Clock::now();
    pair.transport()->closeAfterPeer(50);
    EXPECT_GE(Clock::now() - start, 50ms);
    EXPECT_EQ(pair.receive(1), "");
}

TEST(HTTPTransport, ClosesWhenTheTimeIsOver_WhenThePeerNeverStopsSending) {
    LoopbackPair pair;
    pair.send("ab");
    receiveByte(*pair.transport());
    std::thread peer([&] {
        while (pair.send(std::string(4096, 'x'))) {
        }
    });
    const auto start = Clock::now();
    pair.transport()->closeAfterPeer(50);
    EXPECT_GE(Clock::now() - start, 50ms);
    pair.dropTransport();
    peer.join();
}

TEST(HTTPTransport, StillNamesThePeer_WhenThatIsGone) {
    LoopbackPair pair;
    pair.reset();
    netFailureOf([&] { receiveByte(*pair.transport()); });
    EXPECT_EQ(pair.transport()->getPeer(), ORVString(pair.peerName()));
}

TEST(HTTPTransport, ClosesAtOnce_WhenThePeerHasSaidNothing) {
    LoopbackPair pair;
    const auto start = Clock::now();
    pair.transport()->closeAfterPeer(60'000);
    EXPECT_LT(Clock::now() - start, longTime);
    EXPECT_EQ(pair.receive(1), "");
}

TEST(HTTPTransport, IsNotInheritedByChildren_WhenItTakesASocketOver) {
    const ORVHTTPTransport transport(::socket(AF_INET, SOCK_STREAM, 0));
    EXPECT_TRUE(::fcntl(transport.nativeHandle(), F_GETFD) & FD_CLOEXEC);
}

TEST(HTTPTransport, ConnectsToEachLoopbackAddress_WhenSomebodyListens) {
    for (const char* address : {"127.0.0.1", "127.0.0.2", "::1"}) {
        ScriptedListener listener(velm::test::goodAnswer(), address);
        const auto transport = ORVHTTPTransport::connect(address, listener.port().c_str(), 10'000);
        EXPECT_TRUE(listener.waitForConnections(1)) << address;
        const std::string host = address == std::string("::1") ? "[::1]" : address;
        EXPECT_EQ(transport->getPeer(), ORVString((host + ':' + listener.port()).c_str()));
    }
}

TEST(HTTPTransport, ConnectsToAName_WhenTheSystemKnowsIt) {
    ScriptedListener listener;
    const auto transport = ORVHTTPTransport::connect("localhost", listener.port().c_str(), 10'000);
    EXPECT_TRUE(listener.waitForConnections(1));
}

TEST(HTTPTransport, NamesPeerAndCause_WhenNobodyListens) {
    const RefusingPort port;
    EXPECT_EQ(netFailureOf([&] { ORVHTTPTransport::connect("127.0.0.1", port.port().c_str(), 10'000); }),
              "Connecting to 127.0.0.1:" + port.port() + " failed: Connection refused");
    const RefusingPort port6("::1");
    EXPECT_EQ(netFailureOf([&] { ORVHTTPTransport::connect("::1", port6.port().c_str(), 10'000); }),
              "Connecting to [::1]:" + port6.port() + " failed: Connection refused");
}

TEST(HTTPTransport, FailsAtItsDeadline_WhenThePeerDoesNotTakeTheConnection) {
    const FullPort full;
    EXPECT_THAT(netFailureOf([&] { ORVHTTPTransport::connect("127.0.0.1", full.port(), 100); }),
                HasSubstr("failed: timed out after 100 ms"));
}

TEST(HTTPTransport, WaitsOnForItsDeadline_WhenSignalsInterruptTheConnecting) {
    struct sigaction former {};
    struct sigaction interrupting {};
    interrupting.sa_handler = [](int) {};
    ASSERT_EQ(::sigaction(SIGUSR1, &interrupting, &former), 0);
    const FullPort full;
    std::atomic<bool> hasFailed{false};
    std::string failure;
    const auto start = Clock::now();
    std::thread connecting([&] {
        failure = netFailureOf([&] { ORVHTTPTransport::connect("127.0.0.1", full.port(), 200); });
        hasFailed = true;
    });
    while (!hasFailed) {
        ::pthread_kill(connecting.native_handle(), SIGUSR1);
        std::this_thread::yield();
    }
    connecting.join();
    EXPECT_THAT(failure, HasSubstr("failed: timed out after 200 ms"));
    EXPECT_GE(Clock::now() - start, 200ms);
    ::sigaction(SIGUSR1, &former, nullptr);
}

TEST(HTTPTransport, IsNotInheritedByChildren_WhenItConnected) {
    ScriptedListener listener;
    const auto transport = ORVHTTPTransport::connect("127.0.0.1", listener.port().c_str(), 10'000);
    EXPECT_TRUE(::fcntl(transport->nativeHandle(), F_GETFD) & FD_CLOEXEC);
}

TEST(HTTPTransport, SendsUnderItsOwnTimeOut_WhenItConnectedWithAShorterOne) {
    ScriptedListener listener(velm::test::hangingAnswer());
    const auto transport = ORVHTTPTransport::connect("127.0.0.1", listener.port().c_str(), 50);
    transport->setSendTimeout(10'000);
    const std::string body(tooMuch / 16, 'x');
    transport->send("POST / HTTP/1.1\r\nContent-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body);
    EXPECT_TRUE(listener.waitForRequests(1));
}

TEST(HTTPTransport, RefusesToConnect_WhenHostOrPortIsNone) {
    const auto failure = [](std::string_view host, const char* port) {
        return netFailureOf([&] { ORVHTTPTransport::connect(ORVString(host), port, 10'000); });
    };
    EXPECT_EQ(failure("", "80"), "Connecting to :80 failed: not a host name");
    EXPECT_THAT(failure(std::string_view("127.0.0.1\0x", 11), "80"), HasSubstr("failed: not a host name"));
    EXPECT_THAT(failure("no such\r\nhost", "80"), HasSubstr("failed: Host not found"));
    for (const char* port : {"", "0", "http", "-1", "65536", "80x"}) {
        EXPECT_EQ(failure("127.0.0.1", port),
                  "Connecting to 127.0.0.1:" + std::string(port) + " failed: not a port number");
    }
}

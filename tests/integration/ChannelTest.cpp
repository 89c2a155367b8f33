#include "tests/support/LibraryHost.h"
#include "tests/support/LogCapture.h"

#include <arpa/inet.h>
#include <chrono>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <gmock/gmock.h>

// Persistent channels over real TCP connections.
namespace velm::test {
namespace {

using namespace std::chrono_literals;
using testing::HasSubstr;

/// A TCP connection on loopback: the client's end to read from, the server's end as a channel.
class TcpChannel {
public:
    TcpChannel() {
        const int acceptor = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t size = sizeof address;
        auto* generic = reinterpret_cast<sockaddr*>(&address);
        bind(acceptor, generic, size);
        listen(acceptor, 1);
        getsockname(acceptor, generic, &size);
        _client = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        connect(_client, generic, size);
        const int server = accept4(acceptor, nullptr, nullptr, SOCK_CLOEXEC);
        ::close(acceptor);
        connection =
            new CSubscriberNetworkConnection(ORVSmrPtr<ORVHTTPTransport>(new ORVHTTPTransport(server)));
    }
    ~TcpChannel() { close(); }

    void close() {
        if (_client >= 0) {
            ::close(std::exchange(_client, -1));
        }
    }

    void reset() {
        const linger now{1, 0};
        setsockopt(_client, SOL_SOCKET, SO_LINGER, &now, sizeof now);
        close();
    }

    /// Reads until `text` has come, for 10 seconds at the most; answers all that came.
    std::string readUntil(const std::string& text) {
        const auto deadline = std::chrono::steady_clock::now() + 10s;
        while (_received.find(text) == std::string::npos && std::chrono::steady_clock::now() < deadline) {
            pollfd wait{_client, POLLIN, 0};
            char buffer[4096];
            if (poll(&wait, 1, 100) > 0) {
                const ssize_t count = recv(_client, buffer, sizeof buffer, 0);
                if (count <= 0) {
                    break;
                }
                _received.append(buffer, static_cast<std::size_t>(count));
            }
        }
        return std::exchange(_received, {});
    }

    ORVSmrPtr<CSubscriberNetworkConnection> connection;

private:
    int _client = -1;
    std::string _received;
};

class PersistentChannel : public testing::Test {
protected:
    void open(TcpChannel& channel) {
        host.manager->registerNotificationChannel(id, "server.example.org", "5988", channel.connection, 0);
        ASSERT_THAT(channel.readUntil("</CIM>"), HasSubstr("<RETURNVALUE TYPE=\"uint32\">"));
    }

    bool waitUntilForgotten() {
        const auto deadline = std::chrono::steady_clock::now() + 10s;
        while (host.isKnown(id)) {
            if (std::chrono::steady_clock::now() > deadline) {
                return false;
            }
            std::this_thread::yield();
        }
        return true;
    }

    LibraryHost host{{{"ManagedElement", ""}, {"DataFile", "ManagedElement"}}};
    LogCapture log;
    ORVSmrPtr<CSubscriberID> id{new CSubscriberID("client.example.org", "40000", 3)};
};

TEST_F(PersistentChannel, CarriesIndicationsAsHTTPResponses) {
    TcpChannel channel;
    open(channel);
    host.subscribe(id, "DataFile");

    host.report("DataFile", "one");
    host.report("DataFile", "two");

    std::string received = channel.readUntil("two");
    received += channel.readUntil("</CIM>");
    EXPECT_THAT(received, testing::StartsWith("HTTP/1.1 200 OK\r\nCIMOperation: MethodResponse\r\n"
                                              "Content-Type: application/xml; charset=\"utf-8\"\r\n"));
    EXPECT_LT(received.find("one"), received.find("two"));
    const std::size_t second = received.find("HTTP/1.1 200 OK", 1);
    ASSERT_NE(second, std::string::npos);
    // Each message says how long it is, so that the client can tell them apart.
    EXPECT_NE(received.find("Content-Length: "), std::string::npos);
    EXPECT_NE(received.find("Content-Length: ", second), std::string::npos);
}

TEST_F(PersistentChannel, IsRemovedAtOnce_WhenThePeerCloses) {
    TcpChannel channel;
    open(channel);
    channel.close();
    EXPECT_TRUE(waitUntilForgotten());
}

TEST_F(PersistentChannel, IsRemovedAtOnce_WhenThePeerResets) {
    TcpChannel channel;
    open(channel);
    channel.reset();
    EXPECT_TRUE(waitUntilForgotten());
}

TEST_F(PersistentChannel, CarriesOnOnTheNewConnection_WhenTheClientRegistersAgain) {
    TcpChannel first;
    TcpChannel second;
    open(first);
    open(second);
    first.close();
    host.subscribe(id, "DataFile");
    host.report("DataFile", "again");
    EXPECT_THAT(second.readUntil("again"), HasSubstr("again"));
}

TEST_F(PersistentChannel, DoesNotKeepTheManagersDestructorWaiting_WhenThePeerDoesNotRead) {
    TcpChannel channel;
    open(channel);
    host.subscribe(id, "DataFile");
    for (int i = 0; i < 2000; ++i) {
        host.report("DataFile", ORVString(std::string(2000, 'x')));
    }
    channel.readUntil("HTTP/1.1 200 OK");
    const auto start = std::chrono::steady_clock::now();
    host.manager.reset();
    EXPECT_LT(std::chrono::steady_clock::now() - start, 5s);
    channel.reset();
}

}  // namespace
}  // namespace velm::test

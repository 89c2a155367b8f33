#include "foundation/http/ORVHTTPTransport.h"
#include "tests/support/LogCapture.h"
#include "tests/unit/velmd/requests/RequestSupport.h"

#include <array>
#include <stdexcept>
#include <sys/socket.h>
#include <unistd.h>

// RegisterNotificationChannel over a real pair of sockets.

namespace velm::test {

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

const IParameters identity = subscriber("127.0.0.1", "5990", "7");

/// The client's end, and the server's until somebody takes it over.
class SocketPair {
public:
    SocketPair() {
        if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, _ends.data()) != 0) {
            throw std::system_error(errno, std::generic_category());
        }
    }
    SocketPair(const SocketPair&) = delete;
    SocketPair& operator=(const SocketPair&) = delete;
    ~SocketPair() { closeClient(); }

    int server() const { return _ends[1]; }
    void closeClient() {
        if (_ends[0] >= 0) {
            ::close(std::exchange(_ends[0], -1));
        }
    }

    /// Everything until the server closes.
    std::string receiveAll() const {
        std::string all;
        std::array<char, 4096> buffer{};
        for (ssize_t size = 1; size > 0;) {
            size = ::recv(_ends[0], buffer.data(), buffer.size(), 0);
            all.append(buffer.data(), size > 0 ? static_cast<std::size_t>(size) : 0U);
        }
        return all;
    }

private:
    std::array<int, 2> _ends{-1, -1};
};

const std::string opening =
    "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n<CIM CIMVERSION=\"2.0\" DTDVERSION=\"2.0\"><MESSAGE "
    "ID=\"1001\" "
    "PROTOCOLVERSION=\"1.0\"><SIMPLERSP><IMETHODRESPONSE NAME=\"RegisterNotificationChannel\">";

}  // namespace

using NotificationChannel = RequestTest;

TEST_F(NotificationChannel, GetsTheResponseUpToTheOpening_AndTheManagerWritesTheRest) {
    const std::string rest = "<RETURNVALUE TYPE=\"uint32\">\n<VALUE>1</VALUE></RETURNVALUE>";
    manager.onChannel = [&](CSubscriberNetworkConnection& connection) {
        const auto stream = connection.getOutputStream();
        *stream << rest;
        stream->flush();
        connection.getTransport()->close();
    };
    const Answer answer = call("RegisterNotificationChannel", identity);
    ASSERT_TRUE(answer.http.takeOver);
    EXPECT_EQ(answer.http.body, "");
    EXPECT_THAT(manager.calls(), IsEmpty());
    SocketPair sockets;
    answer.http.takeOver(sockets.server());
    EXPECT_THAT(manager.calls(),
                ElementsAre("registerNotificationChannel 127.0.0.1:5990 (7) at 127.0.0.9 5988"));
    EXPECT_EQ(sockets.receiveAll(),
              "HTTP/1.1 200 OK\r\nContent-Type: application/xml; charset=utf-8\r\n"
              "CIMOperation: MethodResponse\r\nContent-Length: " +
                  std::to_string(opening.size() + rest.size()) + "\r\n\r\n" + opening + rest);
}

TEST_F(NotificationChannel, RepeatsIDAndMethodOfTheRequest) {
    manager.onChannel = [](CSubscriberNetworkConnection& connection) {
        connection.getOutputStream()->flush();
        connection.getTransport()->close();
    };
    std::string body = intrinsicCall("registernotificationchannel", identity);
    body.replace(body.find("1001"), 4, "x&quot;y");
    const Answer answer = send(post(body, "RegisterNotificationChannel"));
    SocketPair sockets;
    answer.http.takeOver(sockets.server());
    EXPECT_THAT(
        sockets.receiveAll(),
        testing::EndsWith("<MESSAGE ID=\"x&quot;y\" PROTOCOLVERSION=\"1.0\"><SIMPLERSP><IMETHODRESPONSE "
                          "NAME=\"registernotificationchannel\">"));
}

TEST_F(NotificationChannel, IsRefusedLikeAnyRequest_BeforeTheConnectionIsTaken) {
    EXPECT_EQ(call("RegisterNotificationChannel").code(), 4);
    EXPECT_EQ(call("RegisterNotificationChannel", identity, "root/nowhere").code(), 3);
    EXPECT_FALSE(call("RegisterNotificationChannel").http.takeOver);
}

TEST_F(NotificationChannel, ClosesTheConnectionWithALogLine_WhenTheManagerFails) {
    const LogCapture log;
    const std::pair<std::function<void()>, const char*> rows[]{
        {[] { throw ORVNetException("ORVHTTPTransport::send", "Sending failed", 32); }, "Sending failed"},
        {[] { throw std::runtime_error("no memory"); }, "no memory"},
        {[] { throw 5; }, "an exception of an unknown type"}};
    for (const auto& [fault, reason] : rows) {
        manager.fault = fault;
        SocketPair sockets;
        call("RegisterNotificationChannel", identity).http.takeOver(sockets.server());
        EXPECT_EQ(sockets.receiveAll(), "");
        EXPECT_EQ(log.count(std::string("The channel of 127.0.0.1:5990 (7) could not be opened: ") + reason),
                  1U);
    }
}

TEST_F(NotificationChannel, OutlivesTheRequestThatOpenedIt) {
    manager.onChannel = [](CSubscriberNetworkConnection& connection) {
        connection.getOutputStream()->flush();
    };
    std::function<void(int)> takeOver;
    {
        const Answer answer = call("RegisterNotificationChannel", identity);
        takeOver = answer.http.takeOver;
    }
    SocketPair sockets;
    takeOver(sockets.server());
    EXPECT_THAT(sockets.receiveAll(), testing::EndsWith(opening));
}

}  // namespace velm::test

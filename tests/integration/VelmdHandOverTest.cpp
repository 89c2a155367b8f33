// A client that asks for a channel and takes nothing of the responses that precede it. What is written on a
// channel as it opens is written under the lock that every subscription, heartbeat and report needs.

#include "tests/support/ScriptedListener.h"
#include "tests/support/VelmdItems.h"
#include "tests/support/VelmdProcess.h"
#include "tests/support/WBEMClient.h"

#include <algorithm>
#include <arpa/inet.h>
#include <chrono>
#include <memory>
#include <netinet/in.h>
#include <poll.h>
#include <string>
#include <sys/socket.h>
#include <unistd.h>
#include <vector>

#include <gmock/gmock.h>

using namespace velm::test;
using std::chrono::milliseconds;
using std::chrono::seconds;
using std::chrono::steady_clock;

namespace {

constexpr const char* channelPort = "1";

/// A client that sends, and receives nothing.
class HostileClient {
public:
    explicit HostileClient(std::uint16_t port) : _socket(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        const int size = 2048;
        ::setsockopt(_socket, SOL_SOCKET, SO_RCVBUF, &size, sizeof size);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(port);
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        EXPECT_EQ(::connect(_socket, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    }
    HostileClient(const HostileClient&) = delete;
    HostileClient& operator=(const HostileClient&) = delete;
    ~HostileClient() { ::close(_socket); }

    void send(const std::string& bytes) const {
        EXPECT_EQ(::send(_socket, bytes.data(), bytes.size(), MSG_DONTWAIT | MSG_NOSIGNAL),
                  static_cast<ssize_t>(bytes.size()));
    }

    bool isReset() const {
        pollfd watched{_socket, 0, 0};
        return ::poll(&watched, 1, 0) > 0 && (watched.revents & POLLERR) != 0;
    }

private:
    int _socket;
};

std::string repeated(const std::string& text, int count) {
    std::string all;
    while (count-- > 0) {
        all += text;
    }
    return all;
}

class VelmdHandOver : public testing::Test {
protected:
    VelmdHandOver() {
        EXPECT_EQ(client.call("CreateClass", {{"NewClass", itemClass("EX_Item")}}).status(), 0);
    }

    /// Responses that fill what the kernels take, more or less, and a request for a channel behind them.
    std::string pipeline(int largeOnes, int smallOnes) const {
        const auto identity = WBEMClient::subscriber(channelPort);
        return repeated(client.request("EnumerateClassNames"), largeOnes) +
               repeated(client.request("HeartBeat", identity), smallOnes) +
               client.request("RegisterNotificationChannel", identity);
    }

    /// The longest of a round of requests, each of which needs the lock.
    milliseconds serve(ScriptedListener& listener, unsigned int round) {
        const auto subscriber = WBEMClient::subscriber(listener.port());
        const auto start = steady_clock::now();
        EXPECT_EQ(client.call("HeartBeat", subscriber).status(), 0);
        const std::string item = itemInstance("EX_Item", std::to_string(round));
        EXPECT_EQ(client.call("CreateInstance", {{"NewInstance", item}}).status(), 0);
        EXPECT_TRUE(
            client
                .call("Subscribe", subscriber + WBEMClient::Parameters{{"IndicationType", value("Creation")},
                                                                       {"ClassName", className("EX_Item")}})
                .has("TRUE"));
        return std::chrono::duration_cast<milliseconds>(steady_clock::now() - start);
    }

    TemporaryDirectory directory;
    VelmdProcess velmd{directory.path(), {"--set", "Limits.WriteSeconds=2"}};
    WBEMClient client{velmd.port()};
};

}  // namespace

TEST_F(VelmdHandOver, ServesEverybodyElse_WhileAClientTakesNothingAndThenResetsIt) {
    // How much the kernels take differs: with one of them, the channel comes when nothing more goes in.
    std::vector<std::unique_ptr<HostileClient>> hostile;
    for (int smallOnes = 0; smallOnes < 40; smallOnes += 2) {
        hostile.push_back(std::make_unique<HostileClient>(velmd.port()));
        hostile.back()->send(pipeline(20, smallOnes));
    }
    ScriptedListener listener(goodAnswer());
    const auto areReset = [&] {
        return std::ranges::all_of(hostile, [](const auto& one) { return one->isReset(); });
    };
    milliseconds longest(0);
    unsigned int round = 0;
    const auto deadline = steady_clock::now() + seconds(20);
    while (!areReset() && steady_clock::now() < deadline) {
        longest = std::max(longest, serve(listener, ++round));
    }
    EXPECT_TRUE(areReset());
    EXPECT_GT(round, 10U);
    EXPECT_LT(longest, milliseconds(1500)) << "somebody waited for a client that takes nothing";
    EXPECT_TRUE(listener.waitForRequests(1));
    EXPECT_TRUE(velmd.waitForLog("was reset: it takes nothing of the responses before its channel"));
    EXPECT_THAT(velmd.log(),
                testing::Not(testing::HasSubstr("Received a RegisterNotificationChannel request")));
}

TEST_F(VelmdHandOver, RefusesAChannel_WhenItsMessageIDWouldNotFitWhereNobodyMayWait) {
    const auto identity = WBEMClient::subscriber(channelPort);
    std::string request = client.request("RegisterNotificationChannel", identity);
    const std::string longID(3000, '7');
    const auto withLongID = [&](const std::string& bytes) {
        std::string changed = bytes;
        changed.replace(changed.find("ID=\"1001\"") + 4, 4, longID);
        const auto length = changed.find("Content-Length: ") + 16;
        const auto end = changed.find("\r\n", length);
        const auto size = std::stoul(changed.substr(length, end - length)) + longID.size() - 4;
        return changed.replace(length, end - length, std::to_string(size));
    };
    ResponseSocket socket(velmd.port());
    socket.send(withLongID(request));
    const WBEMAnswer refused = socket.next();
    EXPECT_EQ(refused.status(), 4);
    EXPECT_EQ(refused.description(), "CIM_ERR_INVALID_PARAMETER: the message ID is too long for a channel");
    socket.send(withLongID(client.request("HeartBeat", identity)));
    EXPECT_EQ(socket.next().status(), 0) << "other requests may have any";
}

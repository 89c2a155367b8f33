#include "tests/support/DTDCheck.h"
#include "tests/support/ScriptedListener.h"
#include "tests/support/VelmdProcess.h"
#include "tests/support/WBEMClient.h"

#include <atomic>
#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

// A hundred listeners and ten channels, ten thousand events: everybody gets exactly what they asked for, in
// order, and nothing twice. Each instance counts its changes in its property Size.

using namespace velm::test;
using namespace std::chrono_literals;

namespace {

constexpr int itemCount = 100;
constexpr int changesEach = 100;
constexpr int channelCount = 10;
constexpr int writerCount = 4;

std::string itemName(int item) {
    return "<INSTANCENAME CLASSNAME=\"EX_Item\"><KEYBINDING NAME=\"Id\"><KEYVALUE>i" + std::to_string(item) +
           "</KEYVALUE></KEYBINDING></INSTANCENAME>";
}

std::string itemWithSize(int item, int size) {
    return "<INSTANCE CLASSNAME=\"EX_Item\"><PROPERTY NAME=\"Id\" TYPE=\"string\"><VALUE>i" +
           std::to_string(item) + "</VALUE></PROPERTY><PROPERTY NAME=\"Size\" TYPE=\"uint32\"><VALUE>" +
           std::to_string(size) + "</VALUE></PROPERTY></INSTANCE>";
}

/// The digits behind the first `mark` in an export message.
int numberAfter(const std::string& body, const std::string& mark) {
    const auto found = body.find(mark);
    return found == std::string::npos ? -1 : std::stoi(body.substr(found + mark.size()));
}

int itemIn(const std::string& body) {
    return numberAfter(body, "EX_Item.Id=&quot;i") >= 0 ? numberAfter(body, "EX_Item.Id=&quot;i")
                                                        : numberAfter(body, "EX_Item.Id=\"i");
}

int sizeIn(const std::string& body) {
    const auto size = body.find("Size");
    return size == std::string::npos ? -1 : numberAfter(body.substr(size), "VALUE&gt;");
}

class VelmdLoad : public testing::Test {
protected:
    VelmdLoad() {
        WBEMClient client(velmd.port());
        const std::string key = "<QUALIFIER NAME=\"Key\" TYPE=\"boolean\"><VALUE>TRUE</VALUE></QUALIFIER>";
        EXPECT_EQ(
            client
                .call("CreateClass",
                      {{"NewClass", "<CLASS NAME=\"EX_Item\"><PROPERTY NAME=\"Id\" TYPE=\"string\">" + key +
                                        "</PROPERTY><PROPERTY NAME=\"Size\" TYPE=\"uint32\"/></CLASS>"}})
                .status(),
            0);
        for (int item = 0; item < itemCount; ++item) {
            EXPECT_EQ(client.call("CreateInstance", {{"NewInstance", itemWithSize(item, 0)}}).status(), 0);
        }
    }

    void subscribe(const WBEMClient::Parameters& subscriber, const WBEMClient::Parameters& target) {
        WBEMClient client(velmd.port());
        const WBEMAnswer answer = client.call(
            "Subscribe", subscriber + WBEMClient::Parameters{{"IndicationType", value("Change")}} + target);
        ASSERT_TRUE(answer.has("TRUE")) << answer.body;
    }

    /// One writer changes its share of the items, all of them in turn.
    void write(int writer) {
        WBEMClient client(velmd.port());
        for (int size = 1; size <= changesEach; ++size) {
            for (int item = writer; item < itemCount; item += writerCount) {
                const WBEMAnswer answer = client.call(
                    "ModifyInstance",
                    {{"ModifiedInstance", "<VALUE.NAMEDINSTANCE>" + itemName(item) +
                                              itemWithSize(item, size) + "</VALUE.NAMEDINSTANCE>"}});
                ASSERT_EQ(answer.status(), 0) << answer.body;
            }
        }
    }

    TemporaryDirectory directory;
    VelmdProcess velmd{directory.path()};
};

/// A client that keeps its connection open, and reads on a thread of its own until the server closes it.
class Channel {
public:
    Channel(std::uint16_t port, unsigned int session) : _socket(port) {
        _socket.send(WBEMClient(port).request("RegisterNotificationChannel", id(session)));
        EXPECT_EQ(_socket.next().httpStatus, 200U);
        _reader = std::thread([this] { _read(); });
    }
    Channel(const Channel&) = delete;
    Channel& operator=(const Channel&) = delete;
    ~Channel() { join(); }

    static WBEMClient::Parameters id(unsigned int session) { return WBEMClient::subscriber("1", session); }

    void join() {
        if (_reader.joinable()) {
            _reader.join();
        }
    }

    /// Messages so far.
    int count() const { return _count; }
    /// How many of them were not the next one of their item. Requires: joined.
    int disorder() const { return _disorder; }

private:
    void _read() {
        std::map<int, int> last;
        while (const std::optional<WBEMAnswer> message = _socket.nextBeforeClose()) {
            const int item = itemIn(message->body);
            _disorder += sizeIn(message->body) == last[item] + 1 ? 0 : 1;
            last[item] = sizeIn(message->body);
            ++_count;
        }
    }

    ResponseSocket _socket;
    std::atomic<int> _count{0};
    int _disorder = 0;
    std::thread _reader;
};

/// Looks again and again until the condition holds.
bool holdsWithinAMinute(const std::function<bool()>& condition) {
    const auto deadline = std::chrono::steady_clock::now() + 60s;
    while (!condition() && std::chrono::steady_clock::now() < deadline) {
        std::this_thread::sleep_for(10ms);
    }
    return condition();
}

}  // namespace

TEST_F(VelmdLoad, ReachesEverySubscriberOnceAndInOrder_WithTenThousandEvents) {
    std::vector<std::unique_ptr<ScriptedListener>> listeners;
    for (int item = 0; item < itemCount; ++item) {
        listeners.push_back(std::make_unique<ScriptedListener>(goodAnswer()));
        subscribe(WBEMClient::subscriber(listeners.back()->port()), {{"InstanceName", itemName(item)}});
    }
    std::vector<std::unique_ptr<Channel>> channels;
    for (unsigned int session = 1; session <= channelCount; ++session) {
        channels.push_back(std::make_unique<Channel>(velmd.port(), session));
        subscribe(Channel::id(session), {{"ClassName", className("EX_Item")}});
    }

    std::vector<std::thread> writers;
    for (int writer = 0; writer < writerCount; ++writer) {
        writers.emplace_back([this, writer] { write(writer); });
    }
    for (std::thread& writer : writers) {
        writer.join();
    }

    for (int item = 0; item < itemCount; ++item) {
        ASSERT_TRUE(listeners[static_cast<std::size_t>(item)]->waitForRequests(changesEach, 60s));
    }
    for (const auto& channel : channels) {
        EXPECT_TRUE(holdsWithinAMinute([&] { return channel->count() >= itemCount * changesEach; }));
    }
    // Whatever else is queued is delivered before the daemon ends, and would be one too many.
    EXPECT_EQ(velmd.terminate(), 0);
    EXPECT_THAT(velmd.log(), testing::HasSubstr("Stopped; nothing was left undone."));
    for (const auto& channel : channels) {
        channel->join();
        EXPECT_EQ(channel->count(), itemCount * changesEach);
        EXPECT_EQ(channel->disorder(), 0);
    }
    for (int item = 0; item < itemCount; ++item) {
        const auto requests = listeners[static_cast<std::size_t>(item)]->requests();
        ASSERT_EQ(requests.size(), static_cast<std::size_t>(changesEach));
        for (int change = 0; change < changesEach; ++change) {
            const std::string& message = requests[static_cast<std::size_t>(change)].body;
            expectValidMessage(message);
            EXPECT_EQ(itemIn(message), item);
            EXPECT_EQ(sizeIn(message), change + 1);
        }
    }
}

#include "foundation/utilities/OrvoBaseException.h"
#include "tests/unit/Indications/IndicationManagerSupport.h"

#include <array>
#include <stdexcept>
#include <sys/socket.h>
#include <system_error>
#include <unistd.h>

#include <gmock/gmock.h>

namespace velm::test {
namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::EndsWith;
using testing::IsEmpty;
using testing::StartsWith;

/// A connected pair of sockets: the server's end as a connection, the client's end to read from.
class Channel {
public:
    Channel() {
        if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, _ends.data()) != 0) {
            throw std::system_error(errno, std::generic_category(), "socketpair");
        }
        connection =
            new CSubscriberNetworkConnection(ORVSmrPtr<ORVHTTPTransport>(new ORVHTTPTransport(_ends[0])));
    }
    ~Channel() { closeClient(); }

    void closeClient() {
        if (_ends[1] >= 0) {
            ::close(std::exchange(_ends[1], -1));
        }
    }

    /// Everything that the server has written so far.
    std::string received() {
        std::array<char, 4096> buffer{};
        const ssize_t size = recv(_ends[1], buffer.data(), buffer.size(), MSG_DONTWAIT);
        return {buffer.data(), size > 0 ? static_cast<std::size_t>(size) : 0};
    }

    ORVSmrPtr<CSubscriberNetworkConnection> connection;

private:
    std::array<int, 2> _ends{-1, -1};
};

constexpr const char* registrar = "CSubscriberNetworkConnectionMonitor::registerNotificationChannel";

class NotificationChannel : public IndicationManagerTest {
protected:
    void registerChannel(const ORVSmrPtr<CSubscriberID>& id, Channel& channel, int unused = 0) {
        manager->registerNotificationChannel(id, "server.example.org", "5988", channel.connection, unused);
    }

    std::string tail() {
        return "<RETURNVALUE TYPE=\"uint32\">\n<VALUE>" +
               std::to_string(inspect(*manager).serverSessionID()) +
               "</VALUE></RETURNVALUE></IMETHODRESPONSE></SIMPLERSP></MESSAGE></CIM>";
    }
};

TEST_F(NotificationChannel, WritesTheTailOfTheResponse) {
    Channel channel;
    registerChannel(makeID(), channel);
    EXPECT_EQ(channel.received(), tail());
}

TEST_F(NotificationChannel, LogsTheRequestOnly_WhenTheClientIsNew) {
    Channel channel;
    registerChannel(makeID(), channel);
    EXPECT_THAT(
        log.records(),
        ElementsAre(IsLogLine(
            registrar,
            "Received a RegisterNotificationChannel request for subscriber " + makeID()->toString(), 3)));
}

TEST_F(NotificationChannel, ReplacesTheFormerSubscriber_WhenTheClientIsKnown) {
    Channel first;
    Channel second;
    registerChannel(makeID(), first);
    subscribeChange(makeID(), file);
    log.clear();

    registerChannel(makeID(), second);

    EXPECT_THAT(
        log.records(),
        ElementsAre(
            IsLogLine(registrar,
                      "Received a RegisterNotificationChannel request for subscriber " + makeID()->toString(),
                      3),
            IsLogLine(registrar,
                      "Removing a previous subscribre record for subscriber " + makeID()->toString(), 3)));
    ASSERT_EQ(manager->getCurrentSubscribers()->entries(), 1u);
    const ORVSmrPtr<CSubscriber> subscriber = manager->findSubscriber(*makeID(), true);
    EXPECT_TRUE(subscriber->getNetworkConnection() == second.connection);
    EXPECT_EQ(subscriber->getLocalHostName(), ORVString("server.example.org"));
    EXPECT_FALSE(inspect(*manager).hasTableKey(file->toString()));
}

TEST_F(NotificationChannel, TellsProvidersOfTheFormerSubscriberUnderNoLock) {
    subscribeChange(makeID(), file);
    addProvider([&](const RecordingProvider::Call&) {
        EXPECT_FALSE(ORVReaderWriterLock::thisThreadHoldsRankedLock());
        return ORVSmrPtr<IOrvoValue>(new COrvoValue(true));
    });
    Channel channel;
    registerChannel(makeID(), channel);
    EXPECT_THAT(methodsCalled(), ElementsAre("deregisterObserver"));
}

TEST_F(NotificationChannel, GivesTheSameSessionEveryTime_WhateverTheLastArgument) {
    for (const int unused : {0, -1, 42}) {
        Channel channel;
        registerChannel(makeID("127.0.0.1", static_cast<std::uint32_t>(unused)), channel, unused);
        EXPECT_EQ(channel.received(), tail());
    }
}

TEST_F(NotificationChannel, ForgetsTheSubscriberAndTellsTheCaller_WhenTheResponseCannotBeWritten) {
    Channel channel;
    channel.closeClient();

    EXPECT_THROW(registerChannel(makeID(), channel), ORVNetException);

    EXPECT_TRUE(manager->getCurrentSubscribers()->isEmpty());
    EXPECT_FALSE(ORVReaderWriterLock::thisThreadHoldsRankedLock());
    EXPECT_THAT(
        log.records(),
        ElementsAre(
            IsLogLine(registrar,
                      "Received a RegisterNotificationChannel request for subscriber " + makeID()->toString(),
                      3),
            IsLogLine("CIndicationManager::registerNotificationChannel",
                      "An unknown exception occured while adding a client's persistent connection, "
                      "removing the subscriber.",
                      1)));
}

TEST_F(NotificationChannel, TellsProvidersOfTheFormerSubscriber_AlsoWhenTheResponseCannotBeWritten) {
    addProvider();
    subscribeChange(makeID(), file);
    calls->clear();
    Channel channel;
    channel.closeClient();
    EXPECT_THROW(registerChannel(makeID(), channel), ORVNetException);
    EXPECT_THAT(methodsCalled(), ElementsAre("deregisterObserver"));
}

TEST_F(NotificationChannel, GivesASendTwoMinutes) {
    class WatchedTransport : public ORVHTTPTransport {
    public:
        using ORVHTTPTransport::ORVHTTPTransport;
        void setSendTimeout(long milliseconds) override { sendTimeout = milliseconds; }
        long sendTimeout = 0;
    };
    std::array<int, 2> ends{};
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()), 0);
    auto* transport = new WatchedTransport(ends[0]);
    const ORVSmrPtr<CSubscriberNetworkConnection> connection(
        new CSubscriberNetworkConnection(ORVSmrPtr<ORVHTTPTransport>(transport)));
    manager->registerNotificationChannel(makeID(), "s", "1", connection, 0);
    EXPECT_EQ(transport->sendTimeout, 120000);
    ::close(ends[1]);
}

TEST_F(NotificationChannel, SaysSoAndThrowsTheFirstFailure_WhenTheRemovalFailsToo) {
    class StubbornManager : public CIndicationManager {
    public:
        using CIndicationManager::CIndicationManager;
        ~StubbornManager() override { CIndicationManagerInspector{*this}.detachThreads(); }
        void removeSubscriber(const CSubscriberID&, bool, bool) override {
            throw std::runtime_error("stubborn");
        }
    };
    StubbornManager stubborn(server);
    Channel channel;
    channel.closeClient();
    EXPECT_THROW(stubborn.registerNotificationChannel(makeID(), "s", "1", channel.connection, 0),
                 ORVNetException);
    ASSERT_EQ(log.records().size(), 3u);
    EXPECT_THAT(log.records()[2], IsLogLine("CIndicationManager::registerNotificationChannel",
                                            "An unknown exception occured while removing a subscriber.", 1));
    EXPECT_FALSE(ORVReaderWriterLock::thisThreadHoldsRankedLock());
}

TEST_F(NotificationChannel, FailsAsANullHandle_WhenThereIsNoConnection) {
    EXPECT_THROW(manager->registerNotificationChannel(makeID(), "s", "1", nullptr, 0),
                 ORVNullPointerException);
    EXPECT_TRUE(manager->getCurrentSubscribers()->isEmpty());
}

class ClockedSubscriber : public CSubscriber {
public:
    using CSubscriber::CSubscriber;
    void updateTimeStamp() override { ++heartBeats; }
    int heartBeats = 0;
};

class HeartBeat : public IndicationManagerTest {
protected:
    ClockedSubscriber& add(const char* host) {
        auto* subscriber = new ClockedSubscriber(makeID(host), "s", "1", nullptr);
        manager->addSubscriber(ORVSmrPtr<CSubscriber>(subscriber));
        return *subscriber;
    }
};

TEST_F(HeartBeat, RefreshesOnlyTheSubscriberThatSentIt) {
    ClockedSubscriber& alive = add("127.0.0.1");
    ClockedSubscriber& other = add("127.0.0.2");
    ORVSmrPtr<CSubscriberID> id = makeID("127.0.0.1");
    manager->heartBeat(id);
    EXPECT_EQ(alive.heartBeats, 1);
    EXPECT_EQ(other.heartBeats, 0);
}

TEST_F(HeartBeat, IsIgnoredSilently_WhenTheIdentityIsUnknownOrNull) {
    ClockedSubscriber& other = add("127.0.0.2");
    ORVSmrPtr<CSubscriberID> unknown = makeID("127.0.0.9");
    ORVSmrPtr<CSubscriberID> null;
    EXPECT_NO_THROW(manager->heartBeat(unknown));
    EXPECT_NO_THROW(manager->heartBeat(null));
    EXPECT_EQ(other.heartBeats, 0);
    EXPECT_THAT(log.records(), IsEmpty());
    EXPECT_FALSE(ORVReaderWriterLock::thisThreadHoldsRankedLock());
}

}  // namespace
}  // namespace velm::test

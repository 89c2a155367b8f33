#include "Indications/IndicationNotifierDelivery.h"

#include "foundation/http/ORVHTTPClient.h"
#include "foundation/utilities/CI_ExFatal.h"
#include "foundation/utilities/ORVNetUtil.h"
#include "foundation/utilities/OrvoBaseException.h"
#include "tests/support/DeliveryLines.h"
#include "tests/support/IndicationNotifierSupport.h"
#include "tests/support/LogCapture.h"
#include "tests/support/ScriptedListener.h"

#include <chrono>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

// The steps of a delivery, one by one, over real sockets: what is sent, and what becomes of the rest of a
// batch or pass.

using namespace std::chrono_literals;
using namespace velm::test;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

using Removal = RecordingManager::Removal;

TEST(IndicationDelivery, KeepsASubscriberOnThisMachine_HoweverOftenItRefuses) {
    const RefusingPort port;
    SelfOwned owned;
    Delivery delivery(owned.self, &ORVNetUtil::isLoopBackAddress);
    const auto subscriber = subscriberAt(port.port());
    LogCapture log;

    for (int attempt = 0; attempt < 3; ++attempt) {
        EXPECT_FALSE(delivery.fire(subscriber, creation()));
    }
    EXPECT_THAT(log.records(),
                areLines({networkFailure, networkFailure, networkFailure}, peerAt(port.port())));
    EXPECT_THAT(owned.manager.removals(), IsEmpty());
}

TEST(IndicationDelivery, LogsTheNetworksOwnWords_WhenTheListenerRefuses) {
    const RefusingPort port;
    ORVString reason;
    std::ostream* request = nullptr;
    try {
        ORVHTTPClient(ORVString("http://" + peerAt(port.port())), ORVHTTPClient::defaultTimeout, false)
            .connect("POST", "/indication", &request);
        FAIL() << "somebody listens";
    } catch (const ORVNetException& refusal) {
        reason = refusal.getMessage();
    }
    SelfOwned owned;
    Delivery delivery(owned.self, &ORVNetUtil::isLoopBackAddress);
    LogCapture log;
    delivery.fire(subscriberAt(port.port()), creation());
    EXPECT_THAT(log.records(),
                ElementsAre(IsLogLine("CIndicationNotifier::_fire",
                                      "Caught the following exception attemptingto stream an indication to " +
                                          ORVString(peerAt(port.port())) + " - " + reason,
                                      4)));
}

TEST(IndicationDelivery, BeginsTheNextMessageAnew_WhenOneOnTheChannelCouldNotBeWritten) {
    ChannelPeer peer;
    SelfOwned owned;
    Delivery delivery(owned.self, &everyHostIsRemote);
    const auto subscriber = subscriberAt("5990", peer.connection());
    EXPECT_FALSE(delivery.fire(subscriber, unsendable()));
    EXPECT_TRUE(delivery.fire(subscriber, creation()));
    const std::string received = peer.receiveUntil("</CIM>");
    EXPECT_THAT(received, StartsWith("HTTP/1.1 200 OK\r\n"));
    EXPECT_EQ(received.rfind("HTTP/1.1 200 OK"), 0U);
}

TEST(IndicationDelivery, RemovesTheSubscriber_WhenThePeerClosedTheChannel) {
    ChannelPeer peer;
    SelfOwned owned;
    Delivery delivery(owned.self, &ORVNetUtil::isLoopBackAddress);
    const auto subscriber = subscriberAt("5990", peer.connection());
    peer.close();

    // The kernel may take a first message before it learns that nobody reads.
    const auto deadline = std::chrono::steady_clock::now() + patience;
    while (delivery.fire(subscriber, creation()) && std::chrono::steady_clock::now() < deadline) {
    }
    EXPECT_THAT(owned.manager.removals(), ElementsAre(Removal{subscriberIDAt("5990"), true, true}));
}

TEST(IndicationDelivery, ClosesTheConnection_AfterTheManagerWasAskedAndNotBefore) {
    Answer hang = hangingAnswer();
    hang.reading = Answer::Reading::nothing;
    ScriptedListener listener(hang);
    SelfOwned owned;
    bool wasClosed = true;
    owned.manager.duringRemoval = [&] {
        wasClosed = !listener.waitForConnections(1) || listener.waitForPeerCloses(1, 100ms);
        throw 42;
    };
    Delivery delivery(owned.self, &everyHostIsRemote);

    EXPECT_FALSE(delivery.fire(subscriberAt(listener.port()), unsendable()));
    EXPECT_FALSE(wasClosed);
    EXPECT_TRUE(listener.waitForPeerCloses(1));
}

TEST(IndicationDelivery, RaisesTheFatalAssertion_WhenThereIsNoResponseStream) {
    try {
        Delivery::_requireResponseStream(nullptr);
        FAIL() << "nothing was thrown";
    } catch (const CI_ExFatal& fatal) {
        EXPECT_EQ(fatal.getLine(), 426U);
        EXPECT_EQ(fatal.getCode(), 0xC902);
        EXPECT_THAT(fatal.what(),
                    AllOf(HasSubstr("Indications/IndicationNotifier"), HasSubstr("istr != NULL")));
    }
}

TEST(IndicationDelivery, Throws_WhenTheSubscriberHasNoIdentity) {
    SelfOwned owned;
    Delivery delivery(owned.self, &everyHostIsRemote);
    ORVSmrPtr<CSubscriber> nobody(new CSubscriber(nullptr, "localhost", "5988", nullptr));
    EXPECT_THROW(delivery.fire(nobody, creation()), ORVNullPointerException);
}

// ---------------------------------------------------------------------------------------------------------------
// What is sent.

TEST(IndicationDelivery, PostsAnExportMessage_WhenTheSubscriberListens) {
    ScriptedListener listener;
    SelfOwned owned;
    Delivery delivery(owned.self, &everyHostIsRemote);

    ASSERT_TRUE(delivery.fire(subscriberAt(listener.port()), creation()));
    const auto request = listener.requests().at(0);
    EXPECT_THAT(request.head, StartsWith("POST /indication HTTP/1.1\r\n"));
    EXPECT_THAT(request.body, StartsWith("<?xml"));
    EXPECT_THAT(request.body,
                AllOf(HasSubstr("<EXPMETHODCALL NAME=\"ExportIndication\""), HasSubstr("CIM_InstCreation"),
                      HasSubstr("server.example"), HasSubstr("5989")));
    EXPECT_TRUE(request.body.find("</MESSAGE></CIM>") != std::string::npos);
    EXPECT_THAT(request.body, Not(HasSubstr("DeliveredOnChannel")));
}

TEST(IndicationDelivery, UsesANewConnection_ForEachIndication) {
    ScriptedListener listener;
    SelfOwned owned;
    Delivery delivery(owned.self, &ORVNetUtil::isLoopBackAddress);
    auto subscriber = subscriberAt(listener.port());
    auto indications = batch({creation(), creation(), creation()});

    delivery._fireindications(subscriber, indications);
    EXPECT_EQ(listener.requestCount(), 3U);
    EXPECT_EQ(listener.connectionCount(), 3U);
}

TEST(IndicationDelivery, ReachesAListener_AtAnIPv6Address) {
    ScriptedListener listener(goodAnswer(), "::1");
    SelfOwned owned;
    Delivery delivery(owned.self, &ORVNetUtil::isLoopBackAddress);
    LogCapture log;

    EXPECT_TRUE(delivery.fire(subscriberAt(listener.port(), nullptr, "::1"), creation()));
    EXPECT_EQ(listener.requestCount(), 1U);
    EXPECT_THAT(log.records(), IsEmpty());
}

TEST(IndicationDelivery, WritesAnHTTPResponseOnTheChannel_AndReadsNoAnswer) {
    ChannelPeer peer;
    SelfOwned owned;
    Delivery delivery(owned.self, &everyHostIsRemote);
    const auto subscriber = subscriberAt("5990", peer.connection());

    for (int message = 0; message < 2; ++message) {
        ASSERT_TRUE(delivery.fire(subscriber, creation()));
        const std::string received = peer.receiveUntil("</CIM>");
        EXPECT_THAT(received, StartsWith("HTTP/1.1 200 OK\r\n"
                                         "CIMOperation: MethodResponse\r\n"
                                         "Content-Type: application/xml; charset=\"utf-8\"\r\n"));
        const auto body = received.find("\r\n\r\n") + 4;
        EXPECT_THAT(received,
                    HasSubstr("Content-Length: " + std::to_string(received.size() - body) + "\r\n"));
        EXPECT_THAT(received.substr(body),
                    AllOf(StartsWith("<?xml"), HasSubstr("<EXPMETHODCALL"), HasSubstr("server.example"),
                          HasSubstr("5989"), HasSubstr("DeliveredOnChannel")));
    }
    EXPECT_THAT(owned.manager.removals(), IsEmpty());
}

// ---------------------------------------------------------------------------------------------------------------
// Batches and passes.

TEST(IndicationBatch, StopsAtTheFirstFailure_AndSaysWhatItDropped) {
    ScriptedListener listener;
    SelfOwned owned;
    Delivery delivery(owned.self, &everyHostIsRemote);
    auto subscriber = subscriberAt(listener.port());
    auto indications = batch({creation(), unsendable(), creation()});
    LogCapture log;

    delivery._fireindications(subscriber, indications);
    EXPECT_EQ(listener.requestCount(), 1U);
    const Line dropped{{"CIndicationNotifier::_fireindications", OrvoTraceLog::SeverityDetail},
                       "Dropped 1 indication(s) queued for PEER because an earlier one failed"};
    EXPECT_THAT(log.records(), areLines({unknownFailure, dropped}, peerAt(listener.port())));
    EXPECT_THAT(owned.manager.removals(),
                ElementsAre(Removal{subscriberIDAt(listener.port()), false, false}));
}

TEST(IndicationBatch, SaysNothingOfDrops_WhenTheLastOneFails) {
    ScriptedListener listener;
    SelfOwned owned;
    Delivery delivery(owned.self, &everyHostIsRemote);
    auto subscriber = subscriberAt(listener.port());
    auto indications = batch({creation(), unsendable()});
    LogCapture log;

    delivery._fireindications(subscriber, indications);
    EXPECT_THAT(log.records(), areLines({unknownFailure}, peerAt(listener.port())));
}

TEST(IndicationBatch, GoesOn_WhenAnAnswerIsAnError) {
    ScriptedListener listener(errorAnswer("no"));
    SelfOwned owned;
    Delivery delivery(owned.self, &everyHostIsRemote);
    auto subscriber = subscriberAt(listener.port());
    auto indications = batch({creation(), creation()});

    delivery._fireindications(subscriber, indications);
    EXPECT_EQ(listener.requestCount(), 2U);
}

TEST(IndicationBatch, SendsNothing_WhenTheQueueIsNullOrEmpty) {
    struct EmptyQueue : CSubscriber {
        explicit EmptyQueue(const std::string& port)
            : CSubscriber(ORVSmrPtr<CSubscriberID>(new CSubscriberID("127.0.0.1", ORVString(port), 8)),
                          "localhost", "5988", nullptr) {}
        IndicationList getIndications() override { return batch({}); }
    };
    ScriptedListener listener;
    SelfOwned owned;
    const auto nothingQueued = subscriberAt(listener.port());
    ASSERT_TRUE(nothingQueued->getIndications().IsNull());
    owned.manager.add(nothingQueued);
    owned.manager.add(ORVSmrPtr<CSubscriber>(new EmptyQueue(listener.port())));
    Delivery delivery(owned.self, &everyHostIsRemote);

    delivery._pass();
    EXPECT_EQ(listener.connectionCount(), 0U);
}

TEST(IndicationPass, SendsToTheNextSubscriber_WhenOneRefuses) {
    const RefusingPort nobody;
    ScriptedListener listener;
    SelfOwned owned;
    const auto refusing = subscriberAt(nobody.port());
    const auto listening = subscriberAt(listener.port());
    queue(refusing, {creation(), creation()});
    queue(listening, {creation()});
    owned.manager.add(refusing);
    owned.manager.add(listening);
    Delivery delivery(owned.self, &everyHostIsRemote);

    delivery._pass();
    EXPECT_EQ(listener.requestCount(), 1U);
    EXPECT_THAT(owned.manager.removals(), ElementsAre(Removal{subscriberIDAt(nobody.port()), false, false}));
}

TEST(IndicationPass, AbandonsTheRest_WhenAnEntryIsNull) {
    ScriptedListener listener;
    SelfOwned owned;
    const auto before = subscriberAt(listener.port());
    const auto behind = subscriberAt(listener.port());
    queue(before, {creation()});
    queue(behind, {creation()});
    owned.manager.add(before);
    owned.manager.add(nullptr);
    owned.manager.add(behind);
    Delivery delivery(owned.self, &everyHostIsRemote);
    LogCapture log;

    EXPECT_THROW(delivery._pass(), ORVNullPointerException);
    EXPECT_THAT(log.records(), areLines({{atExecute, "iter()->key() is NULL"}}, ""));
    EXPECT_EQ(listener.requestCount(), 1U);
    EXPECT_FALSE(behind->getIndications().IsNull());
}

TEST(IndicationPass, DoesNothing_WhenTheManagerHasNoList) {
    struct NoList : RecordingManager {
        ORVSmrPtr<ORVValSlist<ORVSmrPtr<CSubscriber>>> getCurrentSubscribers() override { return nullptr; }
    };
    Delivery delivery(ORVSmrPtr<ISubscriberManager>(new NoList), &everyHostIsRemote);
    LogCapture log;
    EXPECT_NO_THROW(delivery._pass());
    EXPECT_THAT(log.records(), IsEmpty());
}

TEST(IndicationPass, DoesNothing_WhenTheManagerIsDetached) {
    SelfOwned owned;
    Delivery delivery(owned.self, &everyHostIsRemote);
    delivery.detachManager();
    LogCapture log;
    EXPECT_NO_THROW(delivery._pass());
    EXPECT_THAT(log.records(), IsEmpty());
    EXPECT_THAT(owned.manager.passes(), IsEmpty());
}

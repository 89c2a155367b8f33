#include "Indications/IndicationNotifierDelivery.h"
#include "foundation/utilities/ORVNetUtil.h"
#include "tests/support/DeliveryLines.h"
#include "tests/support/IndicationNotifierSupport.h"
#include "tests/support/LogCapture.h"
#include "tests/support/ScriptedListener.h"

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

// The two rules of a delivery as tables, over real sockets: how an answer is judged, and what a failed send
// costs.

using namespace std::chrono_literals;
using namespace velm::test;
using testing::IsEmpty;

using Removal = RecordingManager::Removal;

namespace {

Answer bytewise(Answer answer) {
    answer.pauseAfterByte = 1ms;
    return answer;
}

Answer cutShort(Answer answer) {
    answer.bytes.resize(answer.bytes.size() - 20);
    return answer;
}

Answer message(const std::string& content) {
    return rawAnswer(
        httpResponse("<CIM CIMVERSION=\"2.0\" DTDVERSION=\"2.0\"><MESSAGE ID=\"1\" PROTOCOLVERSION=\"1.0\">" +
                     content + "</MESSAGE></CIM>"));
}

Answer good(const std::string& statusLine, const std::string& headers = {}) {
    return rawAnswer(
        httpResponse(exportResponse("<RETURNVALUE><VALUE>0</VALUE></RETURNVALUE>"), statusLine, headers));
}

Answer goodUpToTheClose() {
    return rawAnswer("HTTP/1.0 200 OK\r\nContent-Type: text/xml\r\n\r\n" +
                     exportResponse("<RETURNVALUE PARAMTYPE=\"uint32\"><VALUE>0</VALUE></RETURNVALUE>"));
}

}  // namespace

// ---------------------------------------------------------------------------------------------------------------
// How an answer is judged: whatever the listener answers, the indication was delivered and the subscriber
// stays.

struct AnswerCase {
    const char* name;
    Answer answer;
    std::vector<Line> lines;
};

class IndicationAnswer : public testing::TestWithParam<AnswerCase> {};

TEST_P(IndicationAnswer, CountsAsDelivered_AndIsLogged) {
    ScriptedListener listener(GetParam().answer);
    SelfOwned owned;
    Delivery delivery(owned.self, &everyHostIsRemote);
    LogCapture log;

    EXPECT_TRUE(delivery.fire(subscriberAt(listener.port()), creation()));
    EXPECT_THAT(log.records(), areLines(GetParam().lines, peerAt(listener.port())));
    EXPECT_THAT(owned.manager.removals(), IsEmpty());
    EXPECT_EQ(listener.requestCount(), 1U);
}

TEST_P(IndicationAnswer, LeavesNothingBehindForTheNextOne) {
    ScriptedListener listener(GetParam().answer);
    ScriptedListener good(goodAnswer());
    SelfOwned owned;
    Delivery delivery(owned.self, &everyHostIsRemote);
    for (int turn = 0; turn < 2; ++turn) {
        LogCapture log;
        EXPECT_TRUE(delivery.fire(subscriberAt(listener.port()), creation()));
        EXPECT_THAT(log.records(), areLines(GetParam().lines, peerAt(listener.port())));
        log.clear();
        EXPECT_TRUE(delivery.fire(subscriberAt(good.port()), creation()));
        EXPECT_THAT(log.records(), IsEmpty());
    }
}

// clang-format off
INSTANTIATE_TEST_SUITE_P(Answers, IndicationAnswer, testing::Values(
    //         what the listener answers                                        the lines in the server log
    AnswerCase{"Zero",                returnValueAnswer("0"),                   {}},
    AnswerCase{"ZeroByteByByte",      bytewise(returnValueAnswer("0")),         {}},
    AnswerCase{"ZeroWithStatus400",   good("HTTP/1.1 400 Bad Request"),         {}},
    AnswerCase{"ZeroInHTTP10",        goodUpToTheClose(),                       {}},
    AnswerCase{"ZeroAfterOddHeaders", good("HTTP/1.0 200 OK", "^ no colon\r\n"), {}},
    AnswerCase{"One",                 returnValueAnswer("1"),                   {improper}},
    AnswerCase{"MinusOne",            message("<SIMPLEEXPRSP><EXPMETHODRESPONSE NAME=\"ExportIndication\"><RETURNVALUE PARAMTYPE=\"sint32\"><VALUE>-1</VALUE></RETURNVALUE></EXPMETHODRESPONSE></SIMPLEEXPRSP>"),
                                                                                {improper}},
    AnswerCase{"NoReturnValue",       emptyAnswer(),                            {improper}},
    AnswerCase{"Error",               errorAnswer("queue is full"),             {{atExecute, "An error was returned in the indication response from PEER - queue is full"}, improper}},
    AnswerCase{"ErrorWithoutText",    errorAnswer(""),                          {{atExecute, "An error was returned in the indication response from PEER - "}, improper}},
    AnswerCase{"NoMethodResponse",    message("<SIMPLEEXPRSP/>"),               {improper}},
    AnswerCase{"OtherMessage",        message("<SIMPLERSP><IMETHODRESPONSE NAME=\"GetInstance\"/></SIMPLERSP>"),
                                                                                {improper}},
    AnswerCase{"ValueThatIsNoNumber", returnValueAnswer("many"),                {notJudged}},
    AnswerCase{"ReturnValueOfNothing", rawAnswer(httpResponse(exportResponse("<RETURNVALUE/>"))),
                                                                                {notJudged}},
    AnswerCase{"NoXML",               rawAnswer(httpResponse("thank you")),     {notXML}},
    AnswerCase{"NoBody",              rawAnswer(httpResponse("")),              {notXML}},
    AnswerCase{"EntityBomb",          rawAnswer(httpResponse("<!DOCTYPE CIM [<!ENTITY a \"aaaaaaaa\">]><CIM>&a;</CIM>")),
                                                                                {notXML}},
    AnswerCase{"NoStatusLine",        rawAnswer("<html>bad request</html>\r\n"), {unreadable}},
    AnswerCase{"HalfAHead",           rawAnswer("HTTP/1.1 200 OK\r\nContent-"), {unreadable}},
    AnswerCase{"HalfABody",           cutShort(returnValueAnswer("0")),         {unreadable}},
    AnswerCase{"NothingAtAll",        closingAnswer(),                          {unreadable}},
    AnswerCase{"Reset",               resettingAnswer(),                        {unreadable}}),
    [](const auto& testCase) { return std::string(testCase.param.name); });
// clang-format on

// ---------------------------------------------------------------------------------------------------------------
// What a failed send costs: who is removed, and with which flags.

namespace {

enum class Way { listens, hasChannel };
enum class Fault { refuses, resetsWhileSending, cannotBeWritten };
enum class Where { here, elsewhere };

struct Flags {
    bool informConnectionMonitor;
    bool cleanupDeletedSubscribers;
};

}  // namespace

struct FailureCase {
    const char* name;
    Way way;
    Fault fault;
    Where where;
    Line line;
    std::optional<Flags> removedWith;
};

class FailedSend : public testing::TestWithParam<FailureCase> {
protected:
    void SetUp() override {
        if (GetParam().fault == Fault::resetsWhileSending) {
            Answer reset = resettingAnswer();
            reset.reading = Answer::Reading::nothing;
            _listener.emplace(reset);
        } else if (GetParam().fault == Fault::cannotBeWritten) {
            Answer hang = hangingAnswer();
            hang.reading = Answer::Reading::nothing;
            _listener.emplace(hang);
        }
        if (GetParam().way == Way::hasChannel && GetParam().fault != Fault::cannotBeWritten) {
            _channel.reset();
        }
    }

    std::string port() const { return _listener ? _listener->port() : _nobody.port(); }

    ORVSmrPtr<CSubscriber> subscriber() const {
        return GetParam().way == Way::hasChannel ? subscriberAt(port(), _channel.connection())
                                                 : subscriberAt(port());
    }

    static ORVSmrPtr<IOrvoIndication> indication() {
        constexpr std::size_t moreThanTheKernelBuffers = 16 * 1024 * 1024;
        switch (GetParam().fault) {
            case Fault::cannotBeWritten:
                return unsendable();
            case Fault::resetsWhileSending:
                return creation(moreThanTheKernelBuffers);
            default:
                return creation();
        }
    }

    static TestNotifier::LocalAddressTest isLocalAddress() {
        return GetParam().where == Where::here ? &ORVNetUtil::isLoopBackAddress : &everyHostIsRemote;
    }

    std::vector<Removal> expectedRemovals() const {
        if (!GetParam().removedWith) {
            return {};
        }
        const Flags flags = *GetParam().removedWith;
        return {{subscriberIDAt(port()), flags.informConnectionMonitor, flags.cleanupDeletedSubscribers}};
    }

    RefusingPort _nobody;
    std::optional<ScriptedListener> _listener;
    ChannelPeer _channel;
};

TEST_P(FailedSend, IsLogged_AndCostsWhatTheRuleSays) {
    SelfOwned owned;
    Delivery delivery(owned.self, isLocalAddress());
    LogCapture log;

    EXPECT_FALSE(delivery.fire(subscriber(), indication()));
    EXPECT_THAT(log.records(), areLines({GetParam().line}, peerAt(port())));
    EXPECT_EQ(owned.manager.removals(), expectedRemovals());
}

TEST_P(FailedSend, StaysUndeliveredAndLogged_WhenTheManagerIsDetached) {
    SelfOwned owned;
    Delivery delivery(owned.self, isLocalAddress());
    delivery.detachManager();
    LogCapture log;

    EXPECT_FALSE(delivery.fire(subscriber(), indication()));
    EXPECT_THAT(log.records(), areLines({GetParam().line}, peerAt(port())));
    EXPECT_THAT(owned.manager.removals(), IsEmpty());
}

TEST_P(FailedSend, StaysUndeliveredAndLogged_WhenTheRemovalFails) {
    SelfOwned owned;
    owned.manager.duringRemoval = [] { throw 42; };
    Delivery delivery(owned.self, isLocalAddress());
    LogCapture log;

    EXPECT_FALSE(delivery.fire(subscriber(), indication()));
    EXPECT_THAT(log.records(), areLines({GetParam().line}, peerAt(port())));
}

// clang-format off
INSTANTIATE_TEST_SUITE_P(Rule, FailedSend, testing::Values(
    //          name                    the subscriber  what happens                where             the line               removed with
    FailureCase{"RefusesHere",          Way::listens,    Fault::refuses,            Where::here,      networkFailure,        {}},
    FailureCase{"RefusesElsewhere",     Way::listens,    Fault::refuses,            Where::elsewhere, networkFailure,        Flags{false, false}},
    FailureCase{"ResetsHere",           Way::listens,    Fault::resetsWhileSending, Where::here,      networkFailure,        {}},
    FailureCase{"ResetsElsewhere",      Way::listens,    Fault::resetsWhileSending, Where::elsewhere, networkFailure,        Flags{false, false}},
    FailureCase{"UnsendableHere",       Way::listens,    Fault::cannotBeWritten,    Where::here,      unknownFailure,        {}},
    FailureCase{"UnsendableElsewhere",  Way::listens,    Fault::cannotBeWritten,    Where::elsewhere, unknownFailure,        Flags{false, false}},
    FailureCase{"ChannelHere",          Way::hasChannel, Fault::refuses,            Where::here,      networkFailure,        Flags{true, true}},
    FailureCase{"ChannelElsewhere",     Way::hasChannel, Fault::refuses,            Where::elsewhere, networkFailure,        Flags{true, true}},
    FailureCase{"UnsendableOnChannel",  Way::hasChannel, Fault::cannotBeWritten,    Where::here,      unknownChannelFailure, Flags{true, true}}),
    [](const auto& testCase) { return std::string(testCase.param.name); });
// clang-format on

#include "tests/support/LibraryHost.h"
#include "tests/support/LogCapture.h"

#include <chrono>

#include <gmock/gmock.h>

// The whole library over real sockets: an indication is reported, and a listener that behaves in some way is
// sent it.
namespace velm::test {
namespace {

using namespace std::chrono_literals;
using testing::AllOf;
using testing::HasSubstr;
using testing::StartsWith;

const std::vector<std::pair<std::string, std::string>> classes = {
    {"ManagedElement", ""}, {"LogicalFile", "ManagedElement"}, {"DataFile", "LogicalFile"}};

class Delivery : public testing::Test {
protected:
    LibraryHost host{classes};
    LogCapture log;
};

TEST_F(Delivery, ReachesAListenerAsAnExportRequest) {
    ScriptedListener listener;
    host.subscribe(LibraryHost::idOf(listener), "LogicalFile");

    host.report("DataFile", "a");

    ASSERT_TRUE(listener.waitForRequests(1));
    const ScriptedListener::Request request = listener.requests().front();
    EXPECT_THAT(request.head,
                AllOf(StartsWith("POST /indication HTTP/1.1\r\n"), HasSubstr("CIMExport: MethodRequest\r\n"),
                      HasSubstr("CIMExportMethod: ExportIndication\r\n")));
    EXPECT_THAT(request.body,
                AllOf(HasSubstr("<INSTANCE CLASSNAME=\"CIM_InstCreation\">"),
                      HasSubstr("root/kob/talmora:DataFile.Id=\"a\""), HasSubstr("server.example.org:5988")));
}

TEST_F(Delivery, KeepsTheOrderOfReports) {
    ScriptedListener listener;
    host.subscribe(LibraryHost::idOf(listener), "DataFile");
    for (int i = 0; i < 50; ++i) {
        host.report("DataFile", ORVString("file-" + std::to_string(i) + "-end"));
    }
    ASSERT_TRUE(listener.waitForRequests(50));
    const auto requests = listener.requests();
    ASSERT_EQ(requests.size(), 50u);
    for (std::size_t i = 0; i < requests.size(); ++i) {
        EXPECT_THAT(requests[i].body, HasSubstr("file-" + std::to_string(i) + "-end"));
    }
}

TEST_F(Delivery, HappensWithinTwoSecondsOfTheReport) {
    ScriptedListener listener;
    host.subscribe(LibraryHost::idOf(listener), "DataFile");
    host.report("DataFile", "a");
    EXPECT_TRUE(listener.waitForRequests(1, 2s));
}

TEST_F(Delivery, ReachesEveryLoopbackAddress) {
    for (const char* address : {"127.0.0.1", "127.0.0.5", "::1"}) {
        ScriptedListener listener(goodAnswer(), address);
        host.subscribe(LibraryHost::idOf(listener), "DataFile");
        host.report("DataFile", "a");
        EXPECT_TRUE(listener.waitForRequests(1)) << address;
        host.manager->removeAllSubscribers(true, true);
    }
}

TEST_F(Delivery, ReachesTheOthers_WhenOneListenerRefuses) {
    RefusingPort nobody;
    const ORVSmrPtr<CSubscriberID> refusing(new CSubscriberID("127.0.0.1", ORVString(nobody.port()), 1));
    ScriptedListener listener;
    host.subscribe(refusing, "DataFile");
    host.subscribe(LibraryHost::idOf(listener), "DataFile");

    host.report("DataFile", "a");

    EXPECT_TRUE(listener.waitForRequests(1));
    // A subscriber on this machine stays, however often it cannot be reached.
    EXPECT_TRUE(host.isKnown(refusing));
    EXPECT_TRUE(log.waitFor([&](const LogCapture::Records& records) {
        return std::any_of(records.begin(), records.end(), [&](const ORVLogRecord& record) {
            return record.component == ORVString("CIndicationNotifier::_fire") &&
                   std::string(record.message.data())
                       .starts_with(
                           "Caught the following exception attemptingto stream an indication to 127.0.0.1:" +
                           nobody.port() + " - ");
        });
    }));
}

struct AnswerCase {
    const char* name;
    Answer answer;
    /// The start of the line that the answer costs; empty for none.
    std::string logged;
};

void PrintTo(const AnswerCase& row, std::ostream* out) {
    *out << row.name;
}

class ListenerAnswer : public Delivery, public testing::WithParamInterface<AnswerCase> {};

TEST_P(ListenerAnswer, CountsAsDelivered_AndTheNextIndicationFollows) {
    ScriptedListener listener(GetParam().answer);
    const auto id = LibraryHost::idOf(listener);
    host.subscribe(id, "DataFile");

    host.report("DataFile", "first");
    host.report("DataFile", "second");

    ASSERT_TRUE(listener.waitForRequests(2));
    EXPECT_THAT(listener.requests()[1].body, HasSubstr("second"));
    EXPECT_TRUE(host.isKnown(id));
    if (!GetParam().logged.empty()) {
        const std::string logged = GetParam().logged;
        EXPECT_TRUE(log.waitFor([&](const LogCapture::Records& records) {
            return std::count_if(records.begin(), records.end(), [&](const ORVLogRecord& record) {
                       return std::string(record.message.data()).starts_with(logged);
                   }) == 2;
        })) << logged;
    }
}

INSTANTIATE_TEST_SUITE_P(
    Of, ListenerAnswer,
    testing::Values(
        AnswerCase{"ReturnValueZero", goodAnswer(), ""},
        AnswerCase{"ReturnValueOne", returnValueAnswer("1"),
                   "An improper method response was received from : "},
        AnswerCase{"NoReturnValue", emptyAnswer(), "An improper method response was received from : "},
        AnswerCase{"Error", errorAnswer("busy"), "An error was returned in the indication response from "},
        AnswerCase{"Garbage", rawAnswer("this is no HTTP"),
                   "Caught the following exception attemptingto read an indication response from "},
        AnswerCase{"HalfAHead", rawAnswer("HTTP/1.1 200 OK\r\nContent-Le"),
                   "Caught the following exception attemptingto read an indication response from "},
        AnswerCase{"HalfABody", rawAnswer("HTTP/1.1 200 OK\r\nContent-Length: 500\r\n\r\n<?xml"),
                   "Caught the following exception attemptingto read an indication response from "},
        AnswerCase{"NoXML", rawAnswer(httpResponse("not xml")),
                   "Caught an XML error while parsing an export method response: "},
        AnswerCase{"NoAnswer", closingAnswer(),
                   "Caught the following exception attemptingto read an indication response from "},
        AnswerCase{"Reset", resettingAnswer(),
                   "Caught the following exception attemptingto read an indication response from "}),
    [](const auto& test) { return std::string(test.param.name); });

TEST_F(Delivery, DoesNotKeepTheManagersDestructorWaiting_WhenTheListenerHangs) {
    ScriptedListener listener(hangingAnswer());
    host.subscribe(LibraryHost::idOf(listener), "DataFile");
    host.report("DataFile", "a");
    ASSERT_TRUE(listener.waitForRequests(1));

    const auto start = std::chrono::steady_clock::now();
    host.manager.reset();
    EXPECT_LT(std::chrono::steady_clock::now() - start, 5s);
}

}  // namespace
}  // namespace velm::test

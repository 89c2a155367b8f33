#include "velmctl/client/StatusReader.h"

#include "velmd/status/StatusJson.h"

#include <stdexcept>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace velm;
using namespace velm::status;
using namespace std::chrono_literals;
using testing::HasSubstr;

namespace {

const Time moment{std::chrono::sys_days{std::chrono::year{2026} / 2 / 28} + 23h + 59min + 58s + 999ms};

/// Something in every member.
ServerStatus sample() {
    const Failure failure{"failed to connect: \xC3\xBC", moment - 5min, moment - 1s, 7};
    ServerStatus status;
    status.version = "1.2.3";
    status.compiler = "GNU 12";
    status.now = moment;
    status.started = moment - 2h;
    status.isReady = true;
    status.notReady = "why";
    status.indicationsEnabled = true;
    status.classes = 31;
    status.connections = 3;
    status.requestsUnderWay = 1;
    status.logsIndications = true;
    status.indicationsLog = "/var/log/x";
    status.counters = {10, 9, 8, 7, 2, {{"connect", 3}}, {{"queue full", 4}}, {{"expired", 1}}, 12, 5};
    status.latency = {{0.5, 1.5}, {3, 4}, 2, 7.25};
    status.operations = {{"Subscribe", "ok", 4}};
    status.providers = {{"files",
                         "/lib/x.so",
                         {"A", "B"},
                         1,
                         2,
                         3,
                         4,
                         failure,
                         {"/srv"},
                         {{"EX_Item", true, "Change", "EX_Other", {"Size"}, moment}},
                         5,
                         {{"getInstance", {{0.5}, {3}, 1, 2.5}}}}};
    status.subscribers = {{"h", "5990", "1", true, moment - 1h, 2, 3, 4, 5, 6, 7, moment - 3s, moment - 4s,
                           failure, true, failure, 8, failure},
                          {}};
    status.removed = {{"h", "5991", "2", false, moment - 9s, "expired", 1, 2, 3, failure, failure}};
    status.rateStep = 5s;
    status.rates = {{1, 0.5, 0.25, 0.125}, {}};
    return status;
}

std::string problemIn(const char* document) {
    try {
        readStatus(document);
    } catch (const std::runtime_error& problem) {
        return problem.what();
    }
    return "none";
}

}  // namespace

TEST(StatusReader, ReadsAllThatTheServerWrites) {
    const std::string document = toJson(sample());
    // What was lost on the way would be missing when it is written again.
    EXPECT_EQ(toJson(readStatus(document)), document);
}

TEST(StatusReader, ReadsTimesToTheMillisecond) {
    EXPECT_EQ(readStatus(toJson(sample())).now, moment);
}

TEST(StatusReader, ReadsOlderAndNewerDocuments) {
    const ServerStatus status =
        readStatus(R"({"version":"9.9","planets":[1,{}],"subscribers":[{"host":"h"}],"counters":{}})");
    EXPECT_EQ(status.version, "9.9");
    EXPECT_FALSE(status.isReady);
    ASSERT_EQ(status.subscribers.size(), 1U);
    EXPECT_EQ(status.subscribers[0].host, "h");
    EXPECT_FALSE(status.subscribers[0].lastFailure);
}

TEST(StatusReader, TellsWhatItCannotRead) {
    EXPECT_THAT(problemIn("hello"), HasSubstr("no JSON object"));
    EXPECT_THAT(problemIn("[]"), HasSubstr("no JSON object"));
    EXPECT_THAT(problemIn("{}"), HasSubstr("no version"));
    EXPECT_THAT(problemIn(R"({"version":1})"), HasSubstr("version: "));
    EXPECT_THAT(problemIn(R"({"version":"1","counters":{"queued":"x"}})"), HasSubstr("counters: queued: "));
    EXPECT_THAT(problemIn(R"({"version":"1","now":"yesterday"})"), HasSubstr("now: "));
    EXPECT_THAT(problemIn(R"({"version":"1","classes":-1})"), HasSubstr("classes: "));
}

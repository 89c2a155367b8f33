#include "server/services/LogLine.h"

#include <string>
#include <string_view>
#include <unistd.h>
#include <vector>

#include <boost/json/parse.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace velm {
namespace {

using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::MatchesRegex;

const char* const timePattern =
    "[0-9]{4}-[0-9]{2}-[0-9]{2}T[0-9]{2}:[0-9]{2}:[0-9]{2}\\.[0-9]{3}[+-][0-9]{2}:[0-9]{2}";

LogLine line(const ORVString& message, int severity = OrvoTraceLog::SeverityInformation,
             unsigned int number = 0) {
    return {"Who::does", message, static_cast<OrvoTraceLog::Severity>(severity), number};
}

std::string text(const LogLine& line, unsigned long repeats = 0) {
    return formatted(line, repeats, ORVLog::Format::text);
}

boost::json::object json(const LogLine& line, unsigned long repeats = 0) {
    const std::string written = formatted(line, repeats, ORVLog::Format::json);
    EXPECT_EQ(written.find('\n'), std::string::npos);
    return boost::json::parse(written).as_object();
}

std::vector<std::string> membersOf(const boost::json::object& object) {
    std::vector<std::string> names;
    for (const auto& member : object) {
        names.emplace_back(member.key());
    }
    return names;
}

TEST(LogLine, HasTimeSeverityThreadComponentAndMessage_AsText) {
    EXPECT_THAT(text(line("it happened")),
                MatchesRegex(std::string(timePattern) + " \\[info\\] \\[" + std::to_string(gettid()) +
                             "\\] Who::does: it happened"));
}

TEST(LogLine, EndsWithNumberAndRepeats_AsText) {
    EXPECT_THAT(text(line("m", 1, 17)), EndsWith("Who::does: m (17)"));
    EXPECT_THAT(text(line("m"), 1), EndsWith("Who::does: m (1 more time)"));
    EXPECT_THAT(text(line("m", 1, 17), 2), EndsWith("Who::does: m (17) (2 more times)"));
}

TEST(LogLine, NamesTheSeverity) {
    const std::vector<std::pair<int, std::string>> names{{0, "error"}, {1, "error"}, {2, "warning"},
                                                         {3, "info"},  {4, "debug"}, {5, "debug"}};
    for (const auto& [severity, name] : names) {
        EXPECT_THAT(text(line("m", severity)), HasSubstr("[" + name + "]"));
        EXPECT_EQ(json(line("m", severity)).at("severity").as_string(), name);
    }
}

TEST(LogLine, HasTimeSeverityComponentThreadAndMessage_AsJSON) {
    const boost::json::object object = json(line("it happened"));
    EXPECT_THAT(membersOf(object), ElementsAre("time", "severity", "component", "thread", "message"));
    EXPECT_THAT(std::string(object.at("time").as_string()), MatchesRegex(timePattern));
    EXPECT_EQ(object.at("component").as_string(), "Who::does");
    EXPECT_EQ(object.at("thread").to_number<int>(), gettid());
    EXPECT_EQ(object.at("message").as_string(), "it happened");
}

TEST(LogLine, HasNumberAndRepeats_AsJSON_WhenTheyAreNotZero) {
    const boost::json::object object = json(line("m", 1, 17), 2);
    EXPECT_THAT(membersOf(object),
                ElementsAre("time", "severity", "component", "thread", "number", "message", "repeats"));
    EXPECT_EQ(object.at("number").to_number<unsigned>(), 17u);
    EXPECT_EQ(object.at("repeats").to_number<unsigned long>(), 2u);
}

TEST(LogLine, HoldsTheSameMessage_InBothFormats) {
    for (const std::string_view message :
         {"plain", "a \"quoted\" \\ word", "line\r\nend\ttab", "bell \a, byte \xFF", "umlaut \xC3\xA4",
          "right to left \xE2\x80\xAE", "{} %v </script>", "", "\xC3"}) {
        const boost::json::object object = json(line(message));
        EXPECT_THAT(text(line(message)),
                    EndsWith("Who::does: " + std::string(object.at("message").as_string())));
    }
}

TEST(LogLine, CannotPretendToBeAnother_WhenTheComponentIsHostile) {
    const LogLine hostile{"x\",\"severity\":\"error\n", "m", OrvoTraceLog::SeverityDetail};
    const boost::json::object object = json(hostile);
    EXPECT_EQ(object.at("component").as_string(), "x\",\"severity\":\"error\\n");
    EXPECT_EQ(object.at("severity").as_string(), "debug");
}

}  // namespace
}  // namespace velm

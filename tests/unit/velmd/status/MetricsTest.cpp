#include "velmd/status/Metrics.h"

#include "tests/support/VelmdProcess.h"

#include <algorithm>
#include <chrono>
#include <sstream>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using namespace velm::status;
using namespace velm::test;
using namespace std::chrono_literals;
using testing::Contains;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

using Lines = std::vector<std::string>;

Lines linesOf(const ServerStatus& status) {
    std::istringstream text(metricsText(status));
    Lines lines;
    for (std::string line; std::getline(text, line);) {
        lines.push_back(line);
    }
    return lines;
}

Subscriber subscriberNumber(std::size_t number) {
    Subscriber subscriber;
    subscriber.host = "127.0.0.1";
    subscriber.port = std::to_string(5000 + number);
    subscriber.session = "1";
    subscriber.queued = number;
    return subscriber;
}

/// Everything that there can be.
ServerStatus fullStatus() {
    ServerStatus status;
    status.version = "0.1.0";
    status.compiler = "GNU 12.2.0";
    status.started = Time(std::chrono::seconds(1'800'000'000));
    status.isReady = true;
    status.counters.reported = 100;
    status.counters.failed = {{"connection refused", 2}, {"other", 0}};
    status.counters.dropped = {{"queue full", 5}};
    status.counters.removed = {{"delivery failed", 1}};
    status.latency = {{0.5, 1}, {3, 4}, 2, 7.5};
    status.operations = {{"GetClass", "ok", 7}, {"GetClass", "6", 2}, {"other", "refused", 1}};
    status.providers.push_back({"files", "/lib/x.so", {"CIM_DataFile"}, 3, 1, 4, 0, {}, {}, {}, 0, {}});
    status.providers[0].observers.emplace_back();
    status.providers[0].observersLeftOut = 6;
    status.providers[0].durations = {{"getInstance", {{0.5, 1}, {1, 2}, 1, 7.5}}};
    status.subscribers.push_back(subscriberNumber(1));
    return status;
}

std::size_t seriesOf(const Lines& lines, const std::string& metric) {
    return static_cast<std::size_t>(std::ranges::count_if(
        lines, [&](const std::string& line) { return line.starts_with(metric + "{"); }));
}

std::string complaintsOfPromtool(const std::string& metrics) {
    const TemporaryDirectory directory;
    const auto file = directory.write("metrics.txt", metrics);
    const auto result =
        runProgram({"/bin/sh", "-c", "exec promtool check metrics < " + file.string() + " 2>&1"});
    return result.exitCode == 0 ? result.output : "exit " + std::to_string(result.exitCode) + result.output;
}

bool hasPromtool() {
    return runProgram({"/bin/sh", "-c", "command -v promtool"}).exitCode == 0;
}

TEST(Metrics, TellCountersWithTheirReasonsAsLabels) {
    const Lines lines = linesOf(fullStatus());
    EXPECT_THAT(lines, Contains("velm_indications_reported_total 100"));
    EXPECT_THAT(lines, Contains("velm_indications_failed_total{reason=\"connection_refused\"} 2"));
    EXPECT_THAT(lines, Contains("velm_indications_failed_total{reason=\"other\"} 0"));
    EXPECT_THAT(lines, Contains("velm_indications_dropped_total{rule=\"queue_full\"} 5"));
    EXPECT_THAT(lines, Contains("velm_subscribers_removed_total{reason=\"delivery_failed\"} 1"));
    EXPECT_THAT(lines, Contains("velm_requests_total{operation=\"GetClass\",status=\"6\"} 2"));
    EXPECT_THAT(lines, Contains("velm_provider_reports_total{provider=\"files\"} 3"));
    EXPECT_THAT(lines, Contains("velm_build_info{version=\"0.1.0\",compiler=\"GNU 12.2.0\"} 1"));
    EXPECT_THAT(lines, Contains("# TYPE velm_indications_reported_total counter"));
    EXPECT_THAT(lines, Contains("velm_ready 1"));
}

TEST(Metrics, TellTheLatencyAsACumulativeHistogram) {
    const Lines lines = linesOf(fullStatus());
    EXPECT_THAT(lines, Contains("# TYPE velm_delivery_latency_seconds histogram"));
    EXPECT_THAT(lines, Contains("velm_delivery_latency_seconds_bucket{le=\"0.5\"} 3"));
    EXPECT_THAT(lines, Contains("velm_delivery_latency_seconds_bucket{le=\"1\"} 7"));
    EXPECT_THAT(lines, Contains("velm_delivery_latency_seconds_bucket{le=\"+Inf\"} 9"));
    EXPECT_THAT(lines, Contains("velm_delivery_latency_seconds_count 9"));
    EXPECT_THAT(lines, Contains("velm_delivery_latency_seconds_sum 7.5"));
}

TEST(Metrics, TellHowLongCallsIntoAProviderTook_AndWhatItWatches) {
    const Lines lines = linesOf(fullStatus());
    const std::string labels = "{provider=\"files\",operation=\"getInstance\"";
    EXPECT_THAT(lines, Contains("# TYPE velm_provider_call_duration_seconds histogram"));
    EXPECT_THAT(lines, Contains("velm_provider_call_duration_seconds_bucket" + labels + ",le=\"1\"} 3"));
    EXPECT_THAT(lines, Contains("velm_provider_call_duration_seconds_count" + labels + "} 4"));
    EXPECT_THAT(lines, Contains("velm_provider_observers{provider=\"files\"} 7"));
}

TEST(Metrics, BoundTheSeriesOfSubscribers_FailingAndBusyOnesFirst) {
    ServerStatus status;
    for (std::size_t number = 0; number < mostDestinations + 30; ++number) {
        status.subscribers.push_back(subscriberNumber(number));
    }
    status.subscribers[0].isFailing = true;
    const Lines lines = linesOf(status);
    EXPECT_EQ(seriesOf(lines, "velm_destination_queued_total"), mostDestinations);
    EXPECT_THAT(lines, Contains("velm_destinations_left_out 30"));
    EXPECT_THAT(lines, Contains("velm_subscribers " + std::to_string(mostDestinations + 30)));
    EXPECT_THAT(lines,
                Contains("velm_destination_failing{host=\"127.0.0.1\",port=\"5000\",session=\"1\"} 1"));
    EXPECT_THAT(lines, Contains(HasSubstr("port=\"" + std::to_string(5000 + mostDestinations + 29) + "\"")));
    EXPECT_THAT(lines, Not(Contains(HasSubstr("port=\"5001\""))));
}

TEST(Metrics, TellNoSeriesTwice) {
    ServerStatus status;
    status.subscribers = {subscriberNumber(1), subscriberNumber(1)};
    const Lines lines = linesOf(status);
    EXPECT_EQ(seriesOf(lines, "velm_destination_queued_total"), 1U);
    EXPECT_THAT(lines, Contains("velm_destinations_left_out 1"));
}

struct HostileLabel {
    const char* name;
    std::string text;
    std::string told;
};

class MetricsOfHostileNames : public testing::TestWithParam<HostileLabel> {};

TEST_P(MetricsOfHostileNames, StayInTheirLabel) {
    ServerStatus status = fullStatus();
    status.subscribers[0].host = GetParam().text;
    const Lines lines = linesOf(status);
    EXPECT_EQ(lines.size(), linesOf(fullStatus()).size());
    EXPECT_THAT(lines, Contains("velm_destination_queued_total{host=\"" + GetParam().told +
                                "\",port=\"5001\",session=\"1\"} 1"));
    if (hasPromtool()) {
        EXPECT_THAT(complaintsOfPromtool(metricsText(status)), IsEmpty());
    }
}

INSTANTIATE_TEST_SUITE_P(Names, MetricsOfHostileNames,
                         testing::Values(HostileLabel{"quote", "a\"} 7", R"(a\"} 7)"},
                                         HostileLabel{"backslash", "a\\", R"(a\\)"},
                                         HostileLabel{"lineEnd", "a\nvelm_x 1", "a\xEF\xBF\xBDvelm_x 1"},
                                         HostileLabel{"zero", std::string("a\0b", 3),
                                                      "a\xEF\xBF\xBD"
                                                      "b"},
                                         HostileLabel{"strayByte", "\xFF", "\xEF\xBF\xBD"},
                                         HostileLabel{"markup", "<b>", "<b>"}),
                         [](const auto& test) { return std::string(test.param.name); });

TEST(Metrics, PassPromtool) {
    if (!hasPromtool()) {
        GTEST_SKIP() << "there is no promtool (package prometheus)";
    }
    EXPECT_THAT(complaintsOfPromtool(metricsText(fullStatus())), IsEmpty());
    EXPECT_THAT(complaintsOfPromtool(metricsText({})), IsEmpty());
    EXPECT_THAT(complaintsOfPromtool("velm_wrong 1\nvelm_wrong 1\n"), Not(IsEmpty()));
}

}  // namespace

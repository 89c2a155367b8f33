#include "velmd/faces/Text.h"

#include <string>

#include <gtest/gtest.h>

namespace velm::faces {

namespace {

using namespace std::chrono_literals;

const status::Time now{1'795'213'867s};  // 2026-11-20 22:31:07 UTC

}  // namespace

TEST(PageText, ShowsNothingThatMisleads) {
    const std::pair<std::string, std::string> rows[]{
        {"plain", "plain"},
        {"", ""},
        {"gr\xC3\xBC\xC3\x9F", "gr\xC3\xBC\xC3\x9F"},
        {"a\r\nb\tc",
         "a\xEF\xBF\xBD\xEF\xBF\xBD"
         "b\xEF\xBF\xBD"
         "c"},
        {std::string("a\0b", 3),
         "a\xEF\xBF\xBD"
         "b"},
        {"\x1B[31m", "\xEF\xBF\xBD[31m"},
        {"a\xE2\x80\xAE"
         "b",
         "a\xEF\xBF\xBD"
         "b"},
        {"a\xE2\x81\xA6"
         "b",
         "a\xEF\xBF\xBD"
         "b"},
        {"a\xE2\x80\x8B"
         "b",
         "a\xEF\xBF\xBD"
         "b"},
        {"\xFF\xC3", "\xEF\xBF\xBD\xEF\xBF\xBD"},
        {"\xC2\x85", "\xEF\xBF\xBD"},
    };
    for (const auto& [text, expected] : rows) {
        EXPECT_EQ(shortened(text), expected);
    }
}

TEST(PageText, CutsWhatIsLong_AtACharacter) {
    EXPECT_EQ(shortened("abcdef", 6), "abcdef");
    EXPECT_EQ(shortened("abcdefg", 6), "abcdef\xE2\x80\xA6");
    EXPECT_EQ(shortened("\xC3\xA4\xC3\xA4\xC3\xA4", 2), "\xC3\xA4\xC3\xA4\xE2\x80\xA6");
    EXPECT_EQ(shortened(std::string(100'000, 'x')).size(), longestShown + 3);
}

TEST(PageText, EscapesForElementsAndAttributes) {
    EXPECT_EQ(shown("<b a=\"1\" c='2'>&amp;"),
              "<bdi>&lt;b a=&quot;1&quot; c=&apos;2&apos;&gt;&amp;amp;</bdi>");
    EXPECT_EQ(shown("&&&&", 2), "<bdi>&amp;&amp;\xE2\x80\xA6</bdi>") << "cut before it is escaped";
}

TEST(PageText, GroupsDigits) {
    EXPECT_EQ(numberText(0), "0");
    EXPECT_EQ(numberText(999), "999");
    EXPECT_EQ(numberText(1'000), "1,000");
    EXPECT_EQ(numberText(12'345'678), "12,345,678");
    EXPECT_EQ(numberText(18'446'744'073'709'551'615U), "18,446,744,073,709,551,615");
    EXPECT_EQ(countText(1, "thing", "things"), "1 thing");
    EXPECT_EQ(countText(0, "thing", "things"), "0 things");
}

TEST(PageText, WritesRatesAsShortAsCanBe) {
    const std::pair<double, const char*> rows[]{
        {0, "0"},      {0.004, "0"}, {0.04, "0.04"}, {0.5, "0.5"},       {0.949, "0.95"}, {1, "1"},
        {3.24, "3.2"}, {9.96, "10"}, {48.4, "48"},   {99.4, "99"},       {99.6, "100"},   {1203.7, "1,204"},
        {-1, "0"},     {100, "100"}, {20, "20"},     {1e6, "1,000,000"},
    };
    for (const auto& [rate, expected] : rows) {
        EXPECT_EQ(rateText(rate), expected) << rate;
    }
}

TEST(PageText, WritesDurationsInTheirTwoLargestUnits) {
    const std::pair<std::chrono::seconds, const char*> rows[]{
        {0s, "0 s"},          {-5s, "0 s"},         {59s, "59 s"},
        {60s, "1 min"},       {250s, "4 min 10 s"}, {3600s, "1 h"},
        {3725s, "1 h 2 min"}, {86'400s, "1 d"},     {86'400s * 3 + 4h + 59min, "3 d 4 h"},
    };
    for (const auto& [duration, expected] : rows) {
        EXPECT_EQ(durationText(duration), expected);
    }
}

TEST(PageText, WritesLatenciesInTheUnitThatFits) {
    EXPECT_EQ(latencyText(0.0004), "400 \xC2\xB5s");
    EXPECT_EQ(latencyText(0.0025), "2.5 ms");
    EXPECT_EQ(latencyText(0.1), "100 ms");
    EXPECT_EQ(latencyText(1.5), "1.5 s");
}

TEST(PageText, TellsMomentsByHowFarTheyAre) {
    EXPECT_EQ(momentText(now, now), "22:31:07");
    EXPECT_EQ(momentText(now, now - 23h), "Nov 19, 23:31:07");
    EXPECT_EQ(momentText(now, now - 24h * 365), "2025-11-20 22:31:07");
    EXPECT_EQ(agoText(now, now - 1s), "just now");
    EXPECT_EQ(agoText(now, now + 1h), "just now");
    EXPECT_EQ(agoText(now, now - 250s), "4 min 10 s ago");
    EXPECT_EQ(agoElement(now, now - 250s),
              "<time datetime=\"2026-11-20T22:26:57Z\">4 min 10 s ago<small> 22:26:57</small></time>");
}

TEST(PageText, PutsIPv6AddressesInBrackets) {
    EXPECT_EQ(addressText("127.0.0.1", "5988"), "127.0.0.1:5988");
    EXPECT_EQ(addressText("::1", "5988"), "[::1]:5988");
    EXPECT_LT(addressText(std::string(253, 'a'), std::string(253, '1')).size(), 100U);
}

}  // namespace velm::faces

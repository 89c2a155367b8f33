#include "velmd/settings/SettingRule.h"

#include <cctype>
#include <optional>
#include <ostream>
#include <set>
#include <string>
#include <utility>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace velm {
namespace {

using testing::EndsWith;
using testing::HasSubstr;

using Kind = SettingRule::Kind;

TEST(SettingRules, HaveDefaultsThatTheyAllow) {
    for (const SettingRule& rule : settingRules()) {
        EXPECT_EQ(normalized(rule, rule.fallback), rule.fallback) << rule.section << "." << rule.key;
    }
}

TEST(SettingRules, HaveNamesOfTheirOwn_AndStandTogetherBySection) {
    std::set<std::string> names;
    std::set<std::string> endedSections;
    std::string section;
    for (const SettingRule& rule : settingRules()) {
        EXPECT_TRUE(names.insert(std::string(rule.section) + "." + rule.key).second) << rule.key;
        if (section != rule.section) {
            EXPECT_TRUE(endedSections.insert(rule.section).second) << rule.section;
            section = rule.section;
        }
    }
    EXPECT_EQ(endedSections, (std::set<std::string>{"Server", "Limits", "Providers", "VELM", "Log"}));
}

TEST(SettingRules, SayWhatTheyMean_InWholeSentences) {
    for (const SettingRule& rule : settingRules()) {
        EXPECT_THAT(rule.meaning, EndsWith(".")) << rule.key;
        EXPECT_TRUE(std::isupper(static_cast<unsigned char>(rule.meaning[0]))) << rule.key;
    }
}

TEST(SettingRules, KeepNumbersThatTheLibraryReads_In32Bits) {
    for (const SettingRule& rule : settingRules()) {
        if (std::string(rule.section) == "VELM") {
            EXPECT_LE(rule.maximum, INT32_MAX) << rule.key;
        }
    }
}

TEST(SettingRules, AreFoundInAnyLetterCase) {
    const SettingRule* rule = findRule("limits", "MAXXMLDEPTH");
    ASSERT_NE(rule, nullptr);
    EXPECT_STREQ(rule->section, "Limits");
    EXPECT_STREQ(rule->key, "MaxXMLDepth");
    EXPECT_EQ(findRule("Limits", "Port"), nullptr);
    EXPECT_EQ(findRule("", ""), nullptr);
}

struct RuleCase {
    const char* section;
    const char* key;
    std::string text;
    /// Nothing: not allowed.
    std::optional<std::string> kept;
};

void PrintTo(const RuleCase& rule, std::ostream* out) {
    *out << rule.section << '.' << rule.key << " \"" << rule.text.substr(0, 40) << '"';
}

class SettingRuleTest : public testing::TestWithParam<RuleCase> {};

TEST_P(SettingRuleTest, KeepsOneSpellingOfWhatItAllows) {
    const SettingRule* rule = findRule(GetParam().section, GetParam().key);
    ASSERT_NE(rule, nullptr);
    EXPECT_EQ(normalized(*rule, GetParam().text), GetParam().kept);
}

constexpr auto refused = std::nullopt;

INSTANTIATE_TEST_SUITE_P(Number, SettingRuleTest,
                         testing::Values(RuleCase{"Server", "Port", "0", "0"},           //
                                         RuleCase{"Server", "Port", "65535", "65535"},   //
                                         RuleCase{"Server", "Port", "0080", "80"},       //
                                         RuleCase{"Server", "Port", "65536", refused},   //
                                         RuleCase{"Server", "Port", "-1", refused},      //
                                         RuleCase{"Server", "Port", "+1", refused},      //
                                         RuleCase{"Server", "Port", "", refused},        //
                                         RuleCase{"Server", "Port", "0x50", refused},    //
                                         RuleCase{"Server", "Port", "80 ", refused},     //
                                         RuleCase{"Server", "Port", "80.0", refused},    //
                                         RuleCase{"Server", "Port", "5988;", refused},   //
                                         RuleCase{"Server", "Workers", "0", refused},    //
                                         RuleCase{"Server", "Workers", "1", "1"},        //
                                         RuleCase{"Server", "Workers", "256", "256"},    //
                                         RuleCase{"Server", "Workers", "257", refused},  //
                                         RuleCase{"Limits", "MaxBodyBytes", "99999999999999999999",
                                                  refused}));

INSTANTIATE_TEST_SUITE_P(Flag, SettingRuleTest,
                         testing::Values(RuleCase{"Log", "RecordIndications", "TRUE", "TRUE"},    //
                                         RuleCase{"Log", "RecordIndications", "yes", "TRUE"},     //
                                         RuleCase{"Log", "RecordIndications", "On", "TRUE"},      //
                                         RuleCase{"Log", "RecordIndications", "1", "TRUE"},       //
                                         RuleCase{"Log", "RecordIndications", "false", "FALSE"},  //
                                         RuleCase{"Log", "RecordIndications", "NO", "FALSE"},     //
                                         RuleCase{"Log", "RecordIndications", "off", "FALSE"},    //
                                         RuleCase{"Log", "RecordIndications", "0", "FALSE"},      //
                                         RuleCase{"Log", "RecordIndications", "", refused},       //
                                         RuleCase{"Log", "RecordIndications", "2", refused},      //
                                         RuleCase{"Log", "RecordIndications", "truely", refused}));

INSTANTIATE_TEST_SUITE_P(Choice, SettingRuleTest,
                         testing::Values(RuleCase{"Log", "Format", "JSON", "json"},  //
                                         RuleCase{"Log", "Format", "text", "text"},  //
                                         RuleCase{"Log", "Format", "xml", refused},  //
                                         RuleCase{"Log", "Format", "", refused},     //
                                         RuleCase{"Log", "Format", "text json", refused}));

INSTANTIATE_TEST_SUITE_P(
    Addresses, SettingRuleTest,
    testing::Values(RuleCase{"Server", "Addresses", "127.0.0.1", "127.0.0.1"},                          //
                    RuleCase{"Server", "Addresses", "::1,127.0.0.1", "::1, 127.0.0.1"},                 //
                    RuleCase{"Server", "Addresses", " 0:0:0:0:0:0:0:1 , 127.8.9.1", "::1, 127.8.9.1"},  //
                    RuleCase{"Server", "Addresses", "", refused},                                       //
                    RuleCase{"Server", "Addresses", "127.0.0.1,", refused},                             //
                    RuleCase{"Server", "Addresses", "localhost", refused},                              //
                    RuleCase{"Server", "Addresses", "0.0.0.0", refused},                                //
                    RuleCase{"Server", "Addresses", "::", refused},                                     //
                    RuleCase{"Server", "Addresses", "192.0.2.1", refused},                              //
                    RuleCase{"Server", "Addresses", "::ffff:127.0.0.1", refused},                       //
                    RuleCase{"Server", "Addresses", "127.1", refused},                                  //
                    RuleCase{"Server", "Addresses", "[::1]", refused},                                  //
                    RuleCase{"Server", "Addresses", "127.0.0.1 ::1", refused},                          //
                    RuleCase{"Server", "Addresses", "::1, 0::1", refused}));

INSTANTIATE_TEST_SUITE_P(
    Text, SettingRuleTest,
    testing::Values(RuleCase{"Log", "File", "", ""},                                                    //
                    RuleCase{"Log", "File", "/var/log/a b \xC3\xA4.log", "/var/log/a b \xC3\xA4.log"},  //
                    RuleCase{"Log", "File", "a\tb", refused},                                           //
                    RuleCase{"Log", "File", std::string("a\0b", 3), refused},                           //
                    RuleCase{"Log", "File", std::string(4096, 'x'), std::string(4096, 'x')},            //
                    RuleCase{"Log", "File", std::string(4097, 'x'), refused},                           //
                    RuleCase{"Server", "StateDirectory", "", refused},                                  //
                    RuleCase{"Server", "StateDirectory", "x", "x"}));

INSTANTIATE_TEST_SUITE_P(Host, SettingRuleTest,
                         testing::Values(RuleCase{"Server", "HostName", "", ""},  //
                                         RuleCase{"Server", "HostName", "Web-1.example_x.org",
                                                  "Web-1.example_x.org"},
                                         RuleCase{"Server", "HostName", "a b", refused},          //
                                         RuleCase{"Server", "HostName", "user@host", refused},    //
                                         RuleCase{"Server", "HostName", "host/root", refused},    //
                                         RuleCase{"Server", "HostName", "h\xC3\xB6st", refused},  //
                                         RuleCase{"Server", "HostName", std::string(256, 'a'), refused}));

TEST(SettingRules, SayWhatTheyAllow) {
    const std::pair<const SettingRule*, std::string> words[] = {
        {findRule("Server", "Port"), "a number from 0 to 65535"},
        {findRule("Server", "StateDirectory"), "text of 1 to 4096 bytes"},
        {findRule("Server", "HostName"), "a name of 0 to 255 letters"},
        {findRule("Server", "Addresses"), "127.0.0.1 and ::1"},
        {findRule("Log", "Format"), "text or json"},
        {findRule("Log", "RecordIndications"), "TRUE or FALSE"},
    };
    for (const auto& [rule, text] : words) {
        EXPECT_THAT(allowedBy(*rule), HasSubstr(text));
    }
}

}  // namespace
}  // namespace velm

#include "tests/unit/server/services/TemporaryFolder.h"
#include "velmd/settings/Settings.h"

#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace velm {
namespace {

using testing::HasSubstr;
using testing::IsEmpty;

const std::string shippedFile = VELM_SOURCE_DIR "/packaging/velmd.conf";

/// The text with its keys as keys: their lines begin with # and a letter, comments with # and a blank.
std::string uncommented(const std::string& text) {
    std::string result;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        const bool isKey = line.size() > 1 && line[0] == '#' && line[1] != ' ';
        result += line.substr(isKey ? 1 : 0) + "\n";
    }
    return result;
}

std::string unwrapped(std::string text) {
    const std::string lineBreak = "\n# ";
    for (auto found = text.find(lineBreak); found != std::string::npos; found = text.find(lineBreak)) {
        text.replace(found, lineBreak.size(), " ");
    }
    return text;
}

TEST(ShippedFile, IsWhatTheDaemonPrints) {
    std::ifstream file(shippedFile, std::ios::binary);
    const std::string text{std::istreambuf_iterator<char>(file), {}};
    EXPECT_EQ(text, Settings::documentedDefaults()) << "velmd --print-defaults > packaging/velmd.conf";
}

TEST(ShippedFile, ChangesNothing) {
    const Settings settings(shippedFile, {}, {});
    EXPECT_EQ(settings.describe(), Settings({}, {}, {}).describe());
}

TEST(ShippedFile, StatesTheDefaults_WhenItsKeysAreNoCommentsAnyMore) {
    const test::TemporaryFolder folder;
    const std::string file = folder.write("velmd.conf", uncommented(Settings::documentedDefaults()));
    const Settings settings(file, {}, {});
    const Settings defaults({}, {}, {});
    EXPECT_THAT(settings.differenceTo(defaults).live, IsEmpty());
    EXPECT_THAT(settings.differenceTo(defaults).needRestart, IsEmpty());
    EXPECT_THAT(settings.describe(), testing::Not(HasSubstr("(default)")));
}

TEST(ShippedFile, DocumentsEveryKey) {
    const std::string text = Settings::documentedDefaults();
    const std::string comments = unwrapped(text);
    for (const SettingRule& rule : settingRules()) {
        EXPECT_THAT(text, HasSubstr(std::string("\n[") + rule.section + "]\n"));
        EXPECT_THAT(text, HasSubstr(std::string("\n#") + rule.key + " =")) << rule.section;
        const std::string allowed = "Allowed: " + allowedBy(rule) + (rule.isLive ? "; live." : ".");
        EXPECT_THAT(comments, HasSubstr(std::string(rule.meaning) + " " + allowed));
    }
}

TEST(ShippedFile, FitsATerminal) {
    std::istringstream lines(Settings::documentedDefaults());
    for (std::string line; std::getline(lines, line);) {
        EXPECT_LE(line.size(), 85u) << line;
    }
}

}  // namespace
}  // namespace velm

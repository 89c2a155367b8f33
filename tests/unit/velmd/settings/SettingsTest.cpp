#include "velmd/settings/Settings.h"

#include "tests/unit/server/services/TemporaryFolder.h"

#include <algorithm>
#include <sstream>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace velm {
namespace {

using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

std::vector<std::string> linesOf(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line);
    }
    return lines;
}

std::string withSingleSpaces(std::string line) {
    const auto bothSpaces = [](char left, char right) { return left == ' ' && right == ' '; };
    line.erase(std::unique(line.begin(), line.end(), bothSpaces), line.end());
    return line;
}

class SettingsTest : public testing::Test {
protected:
    using Texts = std::map<std::string, std::string>;

    Settings read(const std::string& text, const Texts& environment = {}, const Texts& overrides = {}) const {
        return {folder.write("velmd.conf", text), environment, overrides};
    }

    /// One for each line of the error, without the folder's name; empty when there is no error.
    std::vector<std::string> findings(const std::string& text, const Texts& environment = {},
                                      const Texts& overrides = {}) const {
        try {
            read(text, environment, overrides);
            return {};
        } catch (const SettingError& error) {
            std::vector<std::string> lines = linesOf(error.what());
            for (std::string& line : lines) {
                const std::string prefix = folder.file("");
                line.erase(0, line.starts_with(prefix) ? prefix.size() : 0);
            }
            return lines;
        }
    }

    test::TemporaryFolder folder;
};

TEST_F(SettingsTest, AreTheDefaults_WhenNothingIsSaid) {
    const Settings settings({}, {}, {});
    EXPECT_THAT(settings.list("Server", "Addresses"), ElementsAre("127.0.0.1", "::1"));
    EXPECT_EQ(settings.number("Server", "Port"), 5988);
    EXPECT_EQ(settings.number("Server", "Workers"), 4);
    EXPECT_EQ(settings.text("Server", "HostName"), "");
    EXPECT_EQ(settings.text("Server", "StateDirectory"), "/var/lib/velm");
    EXPECT_EQ(settings.seconds("Server", "DrainSeconds"), std::chrono::seconds(10));
    EXPECT_EQ(settings.number("Limits", "MaxBodyBytes"), 16'777'216);
    EXPECT_EQ(settings.number("VELM", "SubscriberTimeout"), 900);
    EXPECT_EQ(settings.text("Log", "Format"), "text");
    EXPECT_FALSE(settings.flag("Log", "RecordIndications"));
    EXPECT_THAT(settings.providersNamed(), IsEmpty());
}

TEST_F(SettingsTest, AreReadFromAFile) {
    const Settings settings = read(
        "# comment\n; comment\n\n[Server]\r\n  Port = 80 \r\nHostName=me\n[log]\nfile = /a "
        "b#c\nrecordindications=on");
    EXPECT_EQ(settings.number("Server", "Port"), 80);
    EXPECT_EQ(settings.text("Server", "HostName"), "me");
    EXPECT_EQ(settings.text("Log", "File"), "/a b#c");
    EXPECT_TRUE(settings.flag("Log", "RecordIndications"));
    EXPECT_EQ(settings.number("Server", "Workers"), 4);
}

TEST_F(SettingsTest, AreFoundInAnyLetterCase) {
    const Settings settings = read("[SERVER]\nport=80");
    EXPECT_EQ(settings.number("server", "PORT"), 80);
}

TEST_F(SettingsTest, AreTakenFromTheStrongestSource) {
    const std::string file = "[Server]\nPort=1\nWorkers=1\nDrainSeconds=1\n";
    const Texts environment{{"VELM_SERVER_WORKERS", "2"}, {"VELM_SERVER_DRAINSECONDS", " 2 "}};
    const Settings settings = read(file, environment, {{"server.drainseconds", "3"}});
    EXPECT_EQ(settings.number("Server", "Port"), 1);
    EXPECT_EQ(settings.number("Server", "Workers"), 2);
    EXPECT_EQ(settings.number("Server", "DrainSeconds"), 3);
}

TEST_F(SettingsTest, MayBeSetToNothing_OverWhatAWeakerSourceSays) {
    EXPECT_EQ(read("[Log]\nFile=/x\n", {{"VELM_LOG_FILE", ""}}).text("Log", "File"), "");
}

TEST_F(SettingsTest, FillInWhatDependsOnTheMachine) {
    EXPECT_THAT(Settings({}, {}, {}).text("Providers", "Directory"), EndsWith("/velm/providers"));
    EXPECT_EQ(read("[Providers]\nDirectory=/p").text("Providers", "Directory"), "/p");
    EXPECT_EQ(read("[Server]\nStateDirectory=/s").text("Log", "LogDir"), "/s");
    EXPECT_EQ(read("[Server]\nStateDirectory=/s\n[Log]\nLogDir=/l").text("Log", "LogDir"), "/l");
}

TEST_F(SettingsTest, GiveProvidersTheirArguments) {
    const Settings settings = read("[Providers]\nfile_watch = /a:/b = c\nDirectory=/p\nlinks2=\n",
                                   {{"VELM_PROVIDERS_FROM_ENV", "e"}}, {{"Providers.links2", "x.y"}});
    EXPECT_EQ(settings.providerArgument("file_watch"), "/a:/b = c");
    EXPECT_EQ(settings.providerArgument("links2"), "x.y");
    EXPECT_EQ(settings.providerArgument("from_env"), "e");
    EXPECT_EQ(settings.providerArgument("other"), "");
    EXPECT_EQ(settings.providerArgument("directory"), "");
    EXPECT_THAT(settings.providersNamed(), ElementsAre("file_watch", "from_env", "links2"));
}

struct FindingCase {
    const char* name;
    const char* file;
    /// What the one finding says behind the name of the folder.
    const char* finding;
};

void PrintTo(const FindingCase& finding, std::ostream* out) {
    *out << finding.name;
}

class SettingsFindingTest : public SettingsTest, public testing::WithParamInterface<FindingCase> {};

TEST_P(SettingsFindingTest, NamesThePlaceAndWhatIsAllowed) {
    EXPECT_THAT(findings(GetParam().file), ElementsAre(GetParam().finding));
}

INSTANTIATE_TEST_SUITE_P(
    Settings, SettingsFindingTest,
    testing::Values(
        FindingCase{"BadNumber", "\n[Server]\nPort = 65536\n",
                    "velmd.conf, line 3: Server.Port cannot be \"65536\"; allowed: a number from 0 to 65535"},
        FindingCase{
            "CommentBehindAValue", "[Server]\nPort = 80 ; default\n",
            "velmd.conf, line 2: Server.Port cannot be \"80 ; default\"; allowed: a number from 0 to 65535"},
        FindingCase{"BadChoice", "[log]\nformat = xml\n",
                    "velmd.conf, line 2: Log.Format cannot be \"xml\"; allowed: text or json"},
        FindingCase{"MisspelledKey", "[Server]\nProt = 1\n",
                    "velmd.conf, line 2: key \"Prot\" of section Server is unknown; did you mean Port?"},
        FindingCase{
            "UnknownKey", "[Providers]\n[VELM]\nColour = 1\n",
            "velmd.conf, line 3: key \"Colour\" of section VELM is unknown; known are CimTransactionTimeout, "
            "SubscriberTimeout, MaxQueuedIndications, MaxSubscribers"},
        FindingCase{
            "KeyOfAnotherSection", "[Log]\nMaxXMLDepth = 64\n",
            "velmd.conf, line 2: key \"MaxXMLDepth\" of section Log is unknown; known are File, Format, "
            "Severity, TraceSeverity, MaxBytes, MaxFiles, LogDir, RecordIndications"},
        FindingCase{"MisspelledSection", "[Sever]\nPort = x\nQuark = 1\n",
                    "velmd.conf, line 1: section \"Sever\" is unknown; did you mean Server?"},
        FindingCase{
            "UnknownSection", "[Network]\n",
            "velmd.conf, line 1: section \"Network\" is unknown; known are Server, Limits, Providers, VELM, "
            "Log"},
        FindingCase{
            "SectionWithoutName", "[]\n",
            "velmd.conf, line 1: section \"\" is unknown; known are Server, Limits, Providers, VELM, Log"},
        FindingCase{"DuplicateKey", "[Server]\nPort = 1\n\nPORT = 1\n",
                    "velmd.conf, line 4: key \"PORT\" of section Server is set already, in line 2"},
        FindingCase{"DuplicateProvider", "[Providers]\nlinks = 1\nlinks = 1\n",
                    "velmd.conf, line 3: key \"links\" of section Providers is set already, in line 2"},
        FindingCase{"DuplicateSection", "[Server]\n[Log]\n[server]\nPort = 1\n",
                    "velmd.conf, line 3: section Server has begun before, in line 1"},
        FindingCase{"KeyBeforeSections", "Port = 1\n[Server]\n",
                    "velmd.conf, line 1: \"Port\" stands before the first section"},
        FindingCase{"NoEqualsSign", "[Server]\nPort 80\n",
                    "velmd.conf, line 2: \"Port 80\" is neither [Section] nor Key = value"},
        FindingCase{"NoKey", "[Server]\n = 80\n",
                    "velmd.conf, line 2: \"= 80\" is neither [Section] nor Key = value"},
        FindingCase{"OpenBracket", "[Server]\nPort = 1\n[Limits\nPort = 2\n",
                    "velmd.conf, line 3: \"[Limits\" is neither [Section] nor Key = value"},
        FindingCase{
            "CapitalsInAProvidersName", "[Providers]\nDirectry = /p\n",
            "velmd.conf, line 2: key \"Directry\" of section Providers is neither Directory nor the name of "
            "a provider in lower case letters, digits and underscores"},
        FindingCase{"ControlCharacterInAnArgument", "[Providers]\nlinks = a\tb\n",
                    "velmd.conf, line 2: Providers.links cannot be \"a?b\"; allowed: text without control "
                    "characters"}),
    [](const auto& tested) { return std::string(tested.param.name); });

TEST_F(SettingsTest, TellAllFindings_InTheOrderOfTheirPlaces) {
    EXPECT_THAT(findings("[Server]\nPort=x\nPrt=1\n[Limitz]\nq=1\n[Log]\nSeverity=0\n",
                         {{"VELM_SERVER_PORT", "y"}}, {{"Server.Port", "z"}}),
                ElementsAre(StartsWith("velmd.conf, line 2: Server.Port cannot be \"x\""),
                            StartsWith("velmd.conf, line 3: key \"Prt\""),
                            StartsWith("velmd.conf, line 4: section \"Limitz\""),
                            StartsWith("velmd.conf, line 7: Log.Severity cannot be \"0\""),
                            StartsWith("environment variable VELM_SERVER_PORT: Server.Port cannot be \"y\""),
                            StartsWith("command line: Server.Port cannot be \"z\"")));
}

TEST_F(SettingsTest, RefuseVariablesOfAKnownSectionThatNameNoKey) {
    EXPECT_THAT(
        findings("", {{"VELM_SERVER_PROT", "1"}, {"VELM_VELM_", "1"}, {"VELM_LOG_FILE_NAME", "x"}}),
        ElementsAre(
            "environment variable VELM_SERVER_PROT: key \"prot\" of section Server is unknown; did you mean "
            "Port?",
            StartsWith("environment variable VELM_VELM_: key \"\" of section VELM is unknown; known are"),
            StartsWith("environment variable VELM_LOG_FILE_NAME: key \"file_name\"")));
}

TEST_F(SettingsTest, LeaveOtherVariablesAlone) {
    EXPECT_THAT(findings("", {{"VELM_CONFIG", "x"},
                              {"VELM_NETWORK_PORT", "x"},
                              {"VELM_SERVERPORT", "x"},
                              {"VELM_SERVER", "x"},
                              {"velm_server_port", "x"},
                              {"SERVER_PORT", "x"}}),
                IsEmpty());
}

TEST_F(SettingsTest, RefuseOverridesThatNameNoKey) {
    EXPECT_THAT(findings("", {}, {{"Port", "1"}, {"Sever.Port", "1"}, {"Server.Prot", "1"}, {".", "1"}}),
                ElementsAre(StartsWith("command line: section \"\" is unknown"),
                            "command line: \"Port\" does not name a section and a key, as in Server.Port",
                            "command line: key \"Prot\" of section Server is unknown; did you mean Port?",
                            "command line: section \"Sever\" is unknown; did you mean Server?"));
}

TEST_F(SettingsTest, RefuseOverridesThatNameOneKeyTwice) {
    EXPECT_THAT(findings("", {}, {{"Server.Port", "1"}, {"server.port", "1"}}),
                ElementsAre("command line: \"Server.Port\" and \"server.port\" are the same"));
}

TEST_F(SettingsTest, KeepFindingsShort_WhenAValueIsLong) {
    const auto found = findings("[Server]\nPort=" + std::string(100'000, 'x') + "\n" +
                                std::string(100'000, 'y') + "\n" + std::string(100'000, 'k') + "=1\n");
    ASSERT_EQ(found.size(), 3u);
    EXPECT_THAT(found, testing::Each(testing::SizeIs(testing::Lt(300))));
}

TEST_F(SettingsTest, RefuseAFileThatCannotBeRead) {
    const auto reasonFor = [](const std::string& path) {
        try {
            Settings(path, {}, {});
        } catch (const SettingError& error) {
            return std::string(error.what());
        }
        return std::string("none");
    };
    const std::string missing = folder.file("none.conf");
    EXPECT_EQ(reasonFor(missing), missing + ": cannot be read: No such file or directory");
    EXPECT_EQ(reasonFor(folder.file("")), folder.file("") + ": is a directory");
    const std::string large = folder.write("large.conf", std::string((1 << 20) + 1, '\n'));
    EXPECT_EQ(reasonFor(large), large + ": is longer than 1048576 bytes");
    EXPECT_EQ(reasonFor("/dev/zero"), "/dev/zero: is longer than 1048576 bytes");
}

TEST_F(SettingsTest, CheckTheOtherSources_WhenTheFileCannotBeRead) {
    try {
        Settings(folder.file("none.conf"), {{"VELM_SERVER_PORT", "x"}}, {});
        FAIL() << "nothing was thrown";
    } catch (const SettingError& error) {
        EXPECT_THAT(linesOf(error.what()), ElementsAre(HasSubstr("none.conf: cannot be read"),
                                                       HasSubstr("VELM_SERVER_PORT: Server.Port cannot be")));
    }
}

TEST_F(SettingsTest, ReadAFileOfExactlyTheGreatestSize) {
    const std::string head = "[Server]\nPort=7\n#";
    EXPECT_EQ(read(head + std::string((1 << 20) - head.size(), 'x')).number("Server", "Port"), 7);
}

TEST_F(SettingsTest, DescribeEachValueAndItsOrigin) {
    const Settings settings = read("[Server]\nPort = 080\n[Providers]\nlinks = eth\n",
                                   {{"VELM_SERVER_WORKERS", "8"}}, {{"log.format", "JSON"}});
    const std::string text = settings.describe();
    EXPECT_THAT(
        text, testing::StartsWith("[Server]\n  Addresses              = 127.0.0.1, ::1         (default)\n"));
    EXPECT_THAT(text, HasSubstr("\n\n[Log]\n"));
    std::vector<std::string> settingLines;
    for (const std::string& line : linesOf(text)) {
        if (line.find(" = ") != std::string::npos) {
            settingLines.push_back(withSingleSpaces(line));
        }
    }
    EXPECT_EQ(settingLines.size(), settingRules().size() + 1);
    EXPECT_THAT(settingLines,
                testing::IsSupersetOf({" Port = 80 (" + folder.file("velmd.conf") + ", line 2)",
                                       std::string(" Workers = 8 (environment variable VELM_SERVER_WORKERS)"),
                                       std::string(" DrainSeconds = 10 (default)"),
                                       std::string(" Format = json (command line)"),
                                       std::string(" LogDir = /var/lib/velm (default)"),
                                       " links = eth (" + folder.file("velmd.conf") + ", line 4)"}));
}

TEST_F(SettingsTest, TellWhatDiffers) {
    const Settings one =
        read("[Server]\nPort=80\nDrainSeconds=1\n[Log]\nRecordIndications=yes\n[Providers]\na=1\nb=1\n");
    const Settings other = read(
        "[Server]\nPort=81\nDrainSeconds=2\n[Log]\nRecordIndications=TRUE\nFile=/x\n[Providers]\nb=2\nc=1\n");
    const Settings::Difference difference = one.differenceTo(other);
    EXPECT_THAT(difference.live, ElementsAre("Log.File", "Server.DrainSeconds"));
    EXPECT_THAT(difference.needRestart,
                ElementsAre("Providers.a", "Providers.b", "Providers.c", "Server.Port"));
}

TEST_F(SettingsTest, DoNotDiffer_WhenOnlyTheSourceDoes) {
    const Settings one = read("[Server]\nPort=0080\n");
    const Settings other({}, {{"VELM_SERVER_PORT", "80"}}, {});
    EXPECT_THAT(one.differenceTo(other).live, IsEmpty());
    EXPECT_THAT(one.differenceTo(other).needRestart, IsEmpty());
}

TEST_F(SettingsTest, TakeOverTheLiveOnesOfNewerSettings) {
    const Settings running =
        read("[Server]\nPort=80\nDrainSeconds=1\n[VELM]\nMaxSubscribers=1\n[Log]\nMaxFiles=9");
    const Settings newer = read("[Server]\nPort=81\nDrainSeconds=2\n[VELM]\nMaxSubscribers=2\n");
    const Settings inEffect = running.withLiveOnesOf(newer);
    EXPECT_EQ(inEffect.number("Server", "Port"), 80);
    EXPECT_EQ(inEffect.number("Server", "DrainSeconds"), 2);
    EXPECT_EQ(inEffect.number("VELM", "MaxSubscribers"), 1);
    EXPECT_EQ(inEffect.number("Log", "MaxFiles"), 5);
    EXPECT_THAT(inEffect.differenceTo(newer).live, IsEmpty());
    EXPECT_THAT(running.differenceTo(inEffect).needRestart, IsEmpty());
}

TEST_F(SettingsTest, AreLive_WhereTheDaemonCanChangeThem) {
    std::vector<std::string> live;
    for (const SettingRule& rule : settingRules()) {
        if (rule.isLive) {
            live.push_back(std::string(rule.section) + "." + rule.key);
        }
    }
    EXPECT_THAT(live, testing::Contains("Server.DrainSeconds"));
    EXPECT_THAT(live, testing::Contains("Log.Severity"));
    EXPECT_THAT(live, Not(testing::Contains("Log.LogDir")));
    EXPECT_THAT(live, Not(testing::Contains("Server.Port")));
    EXPECT_THAT(live, testing::Each(Not(StartsWith("VELM."))));
    EXPECT_THAT(live, testing::Each(Not(StartsWith("Limits."))));
}

}  // namespace
}  // namespace velm

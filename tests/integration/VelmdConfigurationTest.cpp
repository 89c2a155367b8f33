// The configuration of the daemon's process: checked, printed, read again on SIGHUP, and refused at the
// start.

#include "tests/support/ScriptedListener.h"
#include "tests/support/VelmdProcess.h"
#include "tests/support/WBEMClient.h"

#include <csignal>
#include <filesystem>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace velm::test;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

namespace {

class VelmdConfiguration : public testing::Test {
protected:
    std::string configure(const std::string& content) const {
        return directory.write("velmd.conf", content).string();
    }

    ProgramResult runVelmd(std::vector<std::string> arguments) const {
        arguments.insert(arguments.begin(), velmdProgram());
        return runProgram(arguments);
    }

    TemporaryDirectory directory;
    const std::filesystem::path state = directory.path() / "state";
    const std::filesystem::path logFile = directory.path() / "velmd.log";
};

/// With its log in a file.
class VelmdLogFile : public VelmdConfiguration {
protected:
    bool waitForLine(const std::string& text) const {
        return holdsInTime([&] { return contentOf(logFile).find(text) != std::string::npos; });
    }
};

void sendNonsense(std::uint16_t port) {
    ResponseSocket connection(port);
    connection.send("nonsense\r\n\r\n");
    EXPECT_EQ(connection.next().httpStatus, 400U);
}

std::size_t countOf(const std::string& text, const std::string& part) {
    std::size_t found = 0;
    for (auto at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) {
        ++found;
    }
    return found;
}

}  // namespace

TEST_F(VelmdConfiguration, IsPrintedWithItsOrigins_WhenItIsChecked) {
    const std::string file = configure("[Server]\nPort = 4711\n");
    const ProgramResult result = runVelmd({"--config", file, "--check-config", "--state-dir", "/nowhere"});
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_THAT(result.output, AllOf(testing::StartsWith("[Server]\n"), HasSubstr("4711"),
                                     HasSubstr("(" + file + ", line 2)\n"), HasSubstr("(command line)\n"),
                                     testing::EndsWith("The configuration is fine.\n")));
    EXPECT_FALSE(std::filesystem::exists("/nowhere"));
}

TEST_F(VelmdConfiguration, IsExplainedByTheHelp) {
    const ProgramResult result = runVelmd({"--help"});
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_THAT(result.output, AllOf(HasSubstr("default: root/kob/talmora"), HasSubstr("Exit codes: 0 ")));
}

TEST_F(VelmdConfiguration, IsRefusedWithPlaceKeyAndWhatIsAllowed_WhenItIsWrong) {
    const std::string file = configure("[Server]\nPort = 70000\n[Log]\nLevel = 3\n");
    for (const bool isChecked : {true, false}) {
        std::vector<std::string> arguments{"--config", file, "--state-dir", state.string()};
        if (isChecked) {
            arguments.emplace_back("--check-config");
        }
        const ProgramResult result = runVelmd(arguments);
        EXPECT_EQ(result.exitCode, 2);
        EXPECT_THAT(
            result.output,
            AllOf(HasSubstr(file + ", line 2: Server.Port cannot be \"70000\"; allowed: a number from 0 "
                                   "to 65535\n"),
                  HasSubstr(file + ", line 4: key \"Level\" of section Log is unknown")));
    }
    EXPECT_FALSE(std::filesystem::exists(state));
}

TEST_F(VelmdConfiguration, IsThatOfTheShippedFile_WhenDefaultsArePrinted) {
    const ProgramResult result = runVelmd({"--print-defaults"});
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(result.output, contentOf(VELM_SOURCE_DIR "/packaging/velmd.conf"));
}

TEST_F(VelmdConfiguration, TakesEffectAtOnceWhereItCan_AndNamesWhatNeedsARestart) {
    const std::string file = configure("[Log]\nSeverity = 3\n");
    VelmdProcess velmd(state, {"--config", file});
    sendNonsense(velmd.port());
    configure(
        "[Log]\nSeverity = 4\n[Server]\nWorkers = 2\n[VELM]\nMaxSubscribers = 5\n[Limits]\nIdleSeconds = "
        "5\n");
    velmd.signal(SIGHUP);
    ASSERT_TRUE(
        velmd.waitForLog("Reloaded; in effect now: Log.Severity; "
                         "at the next start: Limits.IdleSeconds, Server.Workers, VELM.MaxSubscribers."));
    sendNonsense(velmd.port());
    ASSERT_TRUE(velmd.waitForLog("was answered with 400"));
    EXPECT_EQ(countOf(velmd.log(), "was answered with 400"), 1U) << "what is a detail was logged before";
    velmd.signal(SIGHUP);
    EXPECT_TRUE(
        velmd.waitForLog("Reloaded; in effect now: nothing new; "
                         "at the next start: Limits.IdleSeconds, Server.Workers, VELM.MaxSubscribers."));
}

TEST_F(VelmdConfiguration, StaysAsItWas_WhenTheNewOneIsWrong) {
    const std::string file = configure("[Log]\nSeverity = 3\n");
    VelmdProcess velmd(state, {"--config", file});
    const auto expectRefusal = [&](const std::string& problem) {
        velmd.signal(SIGHUP);
        EXPECT_TRUE(velmd.waitForLog("Not reloaded: " + problem)) << velmd.log();
        sendNonsense(velmd.port());
    };
    configure("[Log]\nSeverity = 4\nMaxFiles = many\n");
    expectRefusal(file + ", line 3: Log.MaxFiles cannot be \"many\"; allowed: a number from 0 to 1000");
    configure("[Log]\nSeverity = 4\nFile = /proc/none/velmd.log\n");
    expectRefusal("the log file /proc/none/velmd.log cannot be opened: No such file or directory");
    std::filesystem::remove(file);
    expectRefusal(file + ": cannot be read: No such file or directory");
    EXPECT_THAT(velmd.log(), Not(HasSubstr("was answered with 400")));
    EXPECT_EQ(velmd.terminate(), 0);
}

TEST_F(VelmdLogFile, IsOpenedAnew_WhenItWasMovedAway) {
    ProgramProcess velmd(velmdCommand(state, {"--log-file", logFile.string()}));
    ASSERT_TRUE(waitForLine("Serving on port "));
    const auto moved = directory.path() / "moved.log";
    std::filesystem::rename(logFile, moved);
    velmd.signal(SIGHUP);
    ASSERT_TRUE(waitForLine("Reloaded; in effect now: nothing new; at the next start: nothing."));
    const std::string before = contentOf(moved);
    EXPECT_EQ(velmd.terminate(), 0);
    EXPECT_THAT(contentOf(logFile), AllOf(HasSubstr("Received SIGTERM, stopping."), HasSubstr("Stopped; ")));
    EXPECT_EQ(contentOf(moved), before);
    EXPECT_EQ(velmd.log(), "");
}

TEST_F(VelmdLogFile, GoesOnAsItWas_WhenItCannotBeOpenedAnew) {
    const auto folder = directory.path() / "logs";
    const auto moved = directory.path() / "moved";
    const ProgramProcess velmd(velmdCommand(state, {"--log-file", (folder / "velmd.log").string()}));
    const auto waitForMoved = [&](const std::string& text) {
        return holdsInTime([&] { return contentOf(moved / "velmd.log").find(text) != std::string::npos; });
    };
    ASSERT_TRUE(holdsInTime(
        [&] { return contentOf(folder / "velmd.log").find("Serving on port ") != std::string::npos; }));
    std::filesystem::rename(folder, moved);
    directory.write("logs", "");
    velmd.signal(SIGHUP);
    EXPECT_TRUE(
        waitForMoved("The log file cannot be opened anew; the log goes on in the one that was open."));
    EXPECT_TRUE(waitForMoved("Reloaded; "));
}

TEST_F(VelmdLogFile, ChangesPlaceAndFormat_WhenTheConfigurationDoes) {
    const std::string file = configure("");
    VelmdProcess velmd(state, {"--config", file});
    configure("[Log]\nFile = " + logFile.string() + "\nFormat = json\n");
    velmd.signal(SIGHUP);
    ASSERT_TRUE(waitForLine("Reloaded; in effect now: Log.File, Log.Format; at the next start: nothing."));
    EXPECT_THAT(contentOf(logFile), StartsWith("{"));
    EXPECT_EQ(velmd.terminate(), 0);
    EXPECT_THAT(velmd.log(), Not(HasSubstr("Received SIGTERM")));
}

TEST_F(VelmdLogFile, IsRenamedWhenItIsFull_AndNoMoreAreKeptThanSaid) {
    const ProgramProcess velmd(
        velmdCommand(state, {"--log-file", logFile.string(), "--set", "Log.MaxBytes=10000", "--set",
                             "Log.MaxFiles=2", "--set", "Log.TraceSeverity=4"}));
    ASSERT_TRUE(waitForLine("Serving on port "));
    const std::string said = contentOf(logFile);
    const std::string before = "Serving on port ";
    WBEMClient client(static_cast<std::uint16_t>(std::stoul(said.substr(said.find(before) + before.size()))));
    for (std::uint32_t session = 1; session <= 300; ++session) {
        const auto wanted = WBEMClient::subscriber("1", session) +
                            WBEMClient::Parameters{{"IndicationType", value("Change")},
                                                   {"ClassName", className("CIM_DataFile")}};
        ASSERT_EQ(client.call("Subscribe", wanted).status(), 0);
    }
    for (const char* name : {"velmd.log", "velmd.1.log", "velmd.2.log"}) {
        const auto file = directory.path() / name;
        ASSERT_TRUE(std::filesystem::exists(file)) << name;
        EXPECT_LE(std::filesystem::file_size(file), 10'000U) << name;
    }
    EXPECT_FALSE(std::filesystem::exists(directory.path() / "velmd.3.log"));
}

TEST_F(VelmdLogFile, SaysWhyTheDaemonDidNotStart_AsStandardErrorDoes) {
    const std::string notADirectory = directory.write("file", "").string();
    const ProgramResult result =
        runVelmd({"--state-dir", notADirectory, "--port", "0", "--log-file", logFile.string()});
    EXPECT_EQ(result.exitCode, 1);
    const std::string reason = "state directory " + notADirectory + ": is no directory\n";
    EXPECT_EQ(result.output, "velmd: " + reason);
    EXPECT_THAT(contentOf(logFile), HasSubstr("Not started: " + reason));
}

TEST_F(VelmdConfiguration, EndsCleanlyBesideAProviderThatReports_WhenThePortIsInUse) {
    const ScriptedListener taken;
    const ProgramResult result =
        runVelmd({"--state-dir", state.string(), "--address", "127.0.0.1", "--port", taken.port(), "--set",
                  "Providers.Directory=" + providerFolder(directory, "chatter", VELM_TEST_CHATTER_PROVIDER)});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_THAT(result.output, AllOf(HasSubstr("Cannot listen on 127.0.0.1 port " + taken.port()),
                                     Not(HasSubstr("Sanitizer"))));
}

struct StartCase {
    const char* name;
    /// "DIR" stands for the test's folder, "PORT" for a port that is taken.
    std::vector<std::string> arguments;
    int exitCode;
    std::string output;
};

void PrintTo(const StartCase& start, std::ostream* out) {
    *out << start.name;
}

class VelmdStart : public testing::TestWithParam<StartCase> {
protected:
    std::string filledIn(std::string text) const {
        for (const auto& [placeholder, replacement] :
             {std::pair<std::string, std::string>{"DIR", directory.path().string()},
              std::pair<std::string, std::string>{"PORT", listener.port()}}) {
            if (const auto at = text.find(placeholder); at != std::string::npos) {
                text.replace(at, placeholder.size(), replacement);
            }
        }
        return text;
    }

    TemporaryDirectory directory;
    ScriptedListener listener;
};

TEST_P(VelmdStart, IsRefusedWithItsReason) {
    directory.write("file", "");
    std::vector<std::string> command{velmdProgram()};
    for (const std::string& argument : GetParam().arguments) {
        command.push_back(filledIn(argument));
    }
    const ProgramResult result = runProgram(command);
    EXPECT_EQ(result.exitCode, GetParam().exitCode);
    EXPECT_THAT(result.output, HasSubstr(filledIn(GetParam().output)));
    EXPECT_THAT(result.output, Not(HasSubstr("Serving")));
}

INSTANTIATE_TEST_SUITE_P(
    Causes, VelmdStart,
    testing::Values(
        StartCase{"PortInUse",
                  {"--state-dir", "DIR/state", "--port", "PORT", "--address", "127.0.0.1"},
                  1,
                  "velmd: Cannot listen on 127.0.0.1 port PORT: Address already in use\n"},
        StartCase{"StateDirectoryIsAFile",
                  {"--state-dir", "DIR/file", "--port", "0"},
                  1,
                  "velmd: state directory DIR/file: is no directory\n"},
        StartCase{"StateDirectoryBelowAFile",
                  {"--state-dir", "DIR/file/state", "--port", "0"},
                  1,
                  "velmd: state directory DIR/file/state: cannot be created: Not a directory\n"},
        StartCase{"LogFileBelowAFile",
                  {"--state-dir", "DIR/state", "--port", "0", "--log-file", "DIR/file/log"},
                  1,
                  "velmd: the log file DIR/file/log cannot be opened: Not a directory\n"},
        StartCase{"LogFileIsADirectory",
                  {"--state-dir", "DIR/state", "--port", "0", "--log-file", "DIR"},
                  1,
                  "cannot be opened: Is a directory\n"},
        StartCase{
            "AddressOfOthers",
            {"--state-dir", "DIR/state", "--port", "0", "--address", "192.0.2.1"},
            2,
            "command line: Server.Addresses cannot be \"192.0.2.1\"; allowed: loopback addresses such as "
            "127.0.0.1 and ::1"},
        StartCase{"AddressIsAName",
                  {"--state-dir", "DIR/state", "--port", "0", "--address", "localhost"},
                  2,
                  "Server.Addresses cannot be \"localhost\""},
        StartCase{"NoConfigurationFile",
                  {"--state-dir", "DIR/state", "--port", "0", "--config", "DIR/none.conf"},
                  2,
                  "DIR/none.conf"}),
    [](const auto& tested) { return std::string(tested.param.name); });

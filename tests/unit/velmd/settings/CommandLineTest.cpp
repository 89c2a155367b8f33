#include "velmd/settings/CommandLine.h"

#include <cstdlib>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace velm {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Pair;
using testing::StartsWith;

using Action = CommandLine::Action;

class CommandLineTest : public testing::Test {
protected:
    CommandLineTest() { ::unsetenv("VELM_CONFIG"); }
    ~CommandLineTest() override { ::unsetenv("VELM_CONFIG"); }

    CommandLine read(std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), "velmd");
        std::vector<const char*> argv;
        for (const std::string& argument : arguments) {
            argv.push_back(argument.c_str());
        }
        argv.push_back(nullptr);
        testing::internal::CaptureStdout();
        testing::internal::CaptureStderr();
        CommandLine line = CommandLine::read(static_cast<int>(arguments.size()), argv.data());
        output = testing::internal::GetCapturedStdout();
        mistakes = testing::internal::GetCapturedStderr();
        return line;
    }

    std::string output;
    std::string mistakes;
};

TEST_F(CommandLineTest, Serves_WhenNothingIsSaid) {
    const CommandLine line = read({});
    EXPECT_EQ(line.action, Action::serve);
    EXPECT_EQ(line.configuration, "");
    EXPECT_THAT(line.overrides, IsEmpty());
    EXPECT_EQ(output + mistakes, "");
}

TEST_F(CommandLineTest, NamesTheConfiguration) {
    EXPECT_EQ(read({"-c", "a.conf"}).configuration, "a.conf");
    EXPECT_EQ(read({"--config=b.conf"}).configuration, "b.conf");
}

TEST_F(CommandLineTest, TakesTheConfigurationFromTheEnvironment_WhenItNamesNone) {
    ::setenv("VELM_CONFIG", "e.conf", 1);
    EXPECT_EQ(read({}).configuration, "e.conf");
    EXPECT_EQ(read({"-c", "a.conf"}).configuration, "a.conf");
    ::setenv("VELM_CONFIG", "", 1);
    EXPECT_EQ(read({}).configuration, "");
}

TEST_F(CommandLineTest, OverridesSettings) {
    const CommandLine line = read(
        {"--port", "0", "--state-dir=/s", "--log-file", "/l", "--address", "::1", "--address", "127.0.0.1"});
    EXPECT_EQ(line.action, Action::serve);
    EXPECT_THAT(line.overrides,
                ElementsAre(Pair("Log.File", "/l"), Pair("Server.Addresses", "::1, 127.0.0.1"),
                            Pair("Server.Port", "0"), Pair("Server.StateDirectory", "/s")));
}

TEST_F(CommandLineTest, OverridesAnySetting) {
    const CommandLine line =
        read({"--set", "Log.Format=json", "--set", "Providers.a=b=c.d,e", "--set", "Log.File="});
    EXPECT_THAT(line.overrides, ElementsAre(Pair("Log.File", ""), Pair("Log.Format", "json"),
                                            Pair("Providers.a", "b=c.d,e")));
}

TEST_F(CommandLineTest, LeavesValuesToTheSettings) {
    EXPECT_THAT(read({"--port", "x", "--set", "No.Such=1"}).overrides,
                ElementsAre(Pair("No.Such", "1"), Pair("Server.Port", "x")));
}

TEST_F(CommandLineTest, ChoosesTheAction) {
    EXPECT_EQ(read({"--check-config"}).action, Action::checkConfiguration);
    EXPECT_EQ(read({"--print-defaults"}).action, Action::printDefaults);
    EXPECT_EQ(read({"--check-config", "-c", "a.conf"}).configuration, "a.conf");
}

TEST_F(CommandLineTest, Imports) {
    const CommandLine line =
        read({"--import", "a.xml", "b.xml", "--namespace", "root/x", "--state-dir", "/s"});
    EXPECT_EQ(line.action, Action::import);
    EXPECT_THAT(line.imports, ElementsAre("a.xml", "b.xml"));
    EXPECT_EQ(line.nameSpace, "root/x");
    EXPECT_THAT(line.overrides, Contains(Pair("Server.StateDirectory", "/s")));
    EXPECT_EQ(read({"--import", "a.xml"}).nameSpace, "root/kob/talmora");
    EXPECT_THAT(read({"--import", "a.xml", "--import", "b.xml"}).imports, ElementsAre("a.xml", "b.xml"));
}

TEST_F(CommandLineTest, PrintsTheVersion) {
    const CommandLine line = read({"--version"});
    EXPECT_EQ(line.action, Action::leave);
    EXPECT_EQ(line.exitCode, 0);
    EXPECT_THAT(output, testing::MatchesRegex("velmd [0-9]+\\.[0-9]+\\.[0-9]+\n"));
}

TEST_F(CommandLineTest, PrintsHelp_WithOneLineForEachOption) {
    for (const char* option : {"-h", "--help"}) {
        const CommandLine line = read({option});
        EXPECT_EQ(line.action, Action::leave);
        EXPECT_EQ(line.exitCode, 0);
        EXPECT_EQ(mistakes, "");
    }
    std::istringstream lines(output);
    std::vector<std::string> options;
    for (std::string line; std::getline(lines, line);) {
        EXPECT_LE(line.size(), 100u) << line;
        if (line.starts_with("  -")) {
            EXPECT_THAT(line, testing::ContainsRegex("^  -[^ ]+( [^ ]+)?  +[A-Z]")) << line;
            options.push_back(line.substr(2, line.find(' ', 2) - 2));
        }
    }
    EXPECT_THAT(options,
                testing::UnorderedElementsAre("--check-config", "--print-defaults", "--import", "--namespace",
                                              "-c,--config", "--port", "--address", "--state-dir",
                                              "--log-file", "--set", "-h,--help", "--version"));
    EXPECT_GT(output.find("Examples:"), output.find("--version"));
}

struct MistakeCase {
    std::vector<std::string> arguments;
    std::string text;
};

class CommandLineMistakeTest : public CommandLineTest, public testing::WithParamInterface<MistakeCase> {};

TEST_P(CommandLineMistakeTest, IsToldAndLeaves) {
    const CommandLine line = read(GetParam().arguments);
    EXPECT_EQ(line.action, Action::leave);
    EXPECT_EQ(line.exitCode, 2);
    EXPECT_EQ(output, "");
    EXPECT_THAT(mistakes, StartsWith("velmd: "));
    EXPECT_THAT(mistakes, HasSubstr(GetParam().text));
    EXPECT_THAT(mistakes, EndsWith("velmd --help shows the options.\n"));
}

INSTANTIATE_TEST_SUITE_P(
    CommandLine, CommandLineMistakeTest,
    testing::Values(MistakeCase{{"--bogus"}, "--bogus"},                                                   //
                    MistakeCase{{"stray"}, "stray"},                                                       //
                    MistakeCase{{"--port"}, "--port"},                                                     //
                    MistakeCase{{"-c"}, "--config"},                                                       //
                    MistakeCase{{"-c", ""}, "must not be empty"},                                          //
                    MistakeCase{{"--import"}, "--import"},                                                 //
                    MistakeCase{{"--import", ""}, "must not be empty"},                                    //
                    MistakeCase{{"--namespace", "root/x"}, "--namespace requires --import"},               //
                    MistakeCase{{"--import", "a", "--check-config"}, "--check-config excludes --import"},  //
                    MistakeCase{{"--import", "a", "--print-defaults"}, "excludes"},                        //
                    MistakeCase{{"--check-config", "--print-defaults"}, "excludes"},                       //
                    MistakeCase{{"--port", "1", "--port", "2"}, "--port"},                                 //
                    MistakeCase{{"--port", "1", "--set", "Server.Port=2"}, "Server.Port: set twice"},      //
                    MistakeCase{{"--set", "Log.Format"}, "\"Log.Format\" is not Section.Key=VALUE"},       //
                    MistakeCase{{"--set", "Format=json"}, "\"Format=json\" is not Section.Key=VALUE"},     //
                    MistakeCase{{"--set", "Format=a.b"}, "is not Section.Key=VALUE"},                      //
                    MistakeCase{{"--address", "::1", "127.0.0.1"}, "127.0.0.1"}));

}  // namespace
}  // namespace velm

// docs/transcripts/wbemcli.txt is what scripts/wbemcli-demo says, but for the ports that the kernel chooses.

#include "tests/support/ValidatingRelay.h"
#include "tests/support/VelmdProcess.h"

#include <algorithm>
#include <filesystem>
#include <string>
#include <string_view>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace velm::test;

namespace {

constexpr const char* transcript = VELM_SOURCE_DIR "/docs/transcripts/wbemcli.txt";

std::string withoutPorts(std::string text) {
    for (const std::string_view lead : {"port ", "127.0.0.1:"}) {
        for (auto at = text.find(lead); at != std::string::npos; at = text.find(lead, at)) {
            at += lead.size();
            const auto end = std::min(text.find_first_not_of("0123456789", at), text.size());
            if (end != at) {
                text.replace(at, end - at, "PORT");
            }
        }
    }
    return text;
}

/// Without its first line, the command.
std::string documented() {
    const std::string text = contentOf(transcript);
    return withoutPorts(text.substr(text.find('\n') + 1));
}

class Transcript : public testing::Test {
protected:
    void SetUp() override {
        for (const char* program : {"/usr/bin/wbemcli", "/usr/bin/curl"}) {
            if (!std::filesystem::exists(program)) {
                GTEST_SKIP() << "there is no " << program << "; scripts/install-dependencies installs it";
            }
        }
    }

    static std::string demonstrate(const std::string& port = "") {
        std::vector<std::string> command{VELM_SOURCE_DIR "/scripts/wbemcli-demo", velmdProgram(),
                                         VELM_TEST_LISTENER};
        if (!port.empty()) {
            command.push_back(port);
        }
        const ProgramResult result = runProgram(command);
        EXPECT_EQ(result.exitCode, 0) << result.output;
        return withoutPorts(result.output);
    }
};

}  // namespace

TEST_F(Transcript, IsWhatTheDemonstrationSays) {
    EXPECT_EQ(demonstrate(), documented());
}

TEST_F(Transcript, IsWhatTheDemonstrationSays_ThroughARelayThatValidatesEveryResponse) {
    const TemporaryDirectory directory;
    const VelmdProcess velmd(directory.path(), {"--set", "Server.HostName=localhost"});
    const ValidatingRelay relay(velmd.port());
    EXPECT_EQ(demonstrate(std::to_string(relay.port())), documented());
    EXPECT_THAT(relay.methods(), testing::IsSupersetOf({"Subscribe", "CreateInstance", "ModifyInstance",
                                                        "DeleteInstance", "GetInstance", "AssociatorNames"}));
}

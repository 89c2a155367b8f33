// Fault model: the disk below the state directory runs full, a file may not grow, or nothing can be written
// at all; later there is room again. A small disk is one of the daemon's own, which no other process sees.

#include "tests/support/SharedFolder.h"
#include "tests/support/VelmdItems.h"
#include "tests/support/VelmdProcess.h"
#include "tests/support/WBEMClient.h"

#include <filesystem>
#include <string>
#include <sys/resource.h>
#include <unistd.h>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace velm::test;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

namespace {

constexpr int tooMany = 5000;

class VelmdDisk : public testing::Test {
protected:
    WBEMAnswer create(WBEMClient& client, int number) const {
        return client.call(
            "CreateInstance",
            {{"NewInstance", itemInstance("EX_Item", std::to_string(number), std::string(5000, 'x'))}});
    }

    /// Creates items until one is refused; what that said.
    WBEMAnswer fillUp(WBEMClient& client) {
        WBEMAnswer answer;
        while (created < tooMany && (answer = create(client, created)).status() == 0) {
            ++created;
        }
        return answer;
    }

    /// The items that were created are there, and no others.
    void expectWhatWasCreated(WBEMClient& client) const {
        const WBEMAnswer answer =
            client.call("EnumerateInstanceNames", {{"ClassName", className("EX_Item")}});
        EXPECT_EQ(answer.status(), 0) << answer.body;
        std::size_t found = 0;
        for (auto at = answer.body.find("<INSTANCENAME "); at != std::string::npos;
             at = answer.body.find("<INSTANCENAME ", at + 1)) {
            ++found;
        }
        EXPECT_EQ(found, static_cast<std::size_t>(created));
        for (const int number : {0, created - 1}) {
            EXPECT_TRUE(answer.has(">" + std::to_string(number) + "</KEYVALUE>")) << number;
        }
    }

    void expectRefusals(WBEMClient& client, const VelmdProcess& velmd, const std::string& problem) {
        const WBEMAnswer refused = fillUp(client);
        ASSERT_GT(created, 0);
        EXPECT_EQ(refused.httpStatus, 200U);
        EXPECT_EQ(refused.status(), 1);
        EXPECT_THAT(refused.description(), AllOf(HasSubstr("repository.db"), HasSubstr(problem)));
        EXPECT_TRUE(velmd.waitForLog(problem));
        EXPECT_EQ(create(client, created).status(), 1);
        expectWhatWasCreated(client);
    }

    /// Everything is as it was acknowledged and more can be written, also after another start.
    void expectToGoOn(WBEMClient& client) {
        EXPECT_EQ(create(client, created).status(), 0);
        ++created;
        EXPECT_EQ(client.call("CreateClass", {{"NewClass", itemClass("EX_Other")}}).status(), 0);
        expectWhatWasCreated(client);
    }

    /// What starts a program with a folder in which "PREPARE", a shell command for the folder $1, was run in
    /// a mount namespace of its own.
    std::vector<std::string> withMount(const std::string& prepare) const {
        return {"/usr/bin/unshare",
                ::geteuid() == 0 ? "-m" : "-rm",
                "/bin/sh",
                "-ec",
                prepare + "; shift; exec \"$@\"",
                "sh",
                state.string()};
    }

    bool canMount() const {
        std::vector<std::string> command = withMount("mount -t tmpfs none \"$1\"");
        command.emplace_back("/bin/true");
        return runProgram(command).exitCode == 0;
    }

    /// Creates the folder, and skips the test where nobody may mount anything.
    void prepareMounts() {
        std::filesystem::create_directory(state);
        if (!canMount()) {
            GTEST_SKIP() << "this system lets nobody mount a small disk";
        }
    }

    TemporaryDirectory directory;
    const std::filesystem::path state = directory.path() / "state";
    int created = 0;
};

}  // namespace

TEST_F(VelmdDisk, TellsClientsAndTheLog_WhenAFileMayNotGrow_AndGoesOn_OnceItMay) {
    VelmdProcess velmd(state);
    WBEMClient client(velmd.port());
    ASSERT_EQ(client.call("CreateClass", {{"NewClass", itemClass("EX_Item")}}).status(), 0);
    rlimit former{};
    ASSERT_EQ(::prlimit(velmd.id(), RLIMIT_FSIZE, nullptr, &former), 0);
    const rlimit small{600'000, former.rlim_max};
    ASSERT_EQ(::prlimit(velmd.id(), RLIMIT_FSIZE, &small, nullptr), 0);
    expectRefusals(client, velmd, "disk I/O error (File too large)");
    ASSERT_EQ(::prlimit(velmd.id(), RLIMIT_FSIZE, &former, nullptr), 0);
    expectToGoOn(client);
    EXPECT_EQ(velmd.terminate(), 0);
    const VelmdProcess again(state);
    WBEMClient other(again.port());
    expectWhatWasCreated(other);
}

TEST_F(VelmdDisk, LosesNothing_WhenItIsKilledWhileAFileMayNotGrow) {
    {
        const VelmdProcess velmd(state);
        WBEMClient client(velmd.port());
        ASSERT_EQ(client.call("CreateClass", {{"NewClass", itemClass("EX_Item")}}).status(), 0);
        const rlimit small{600'000, RLIM_INFINITY};
        ASSERT_EQ(::prlimit(velmd.id(), RLIMIT_FSIZE, &small, nullptr), 0);
        expectRefusals(client, velmd, "disk I/O error (File too large)");
    }
    const VelmdProcess velmd(state);
    WBEMClient client(velmd.port());
    expectWhatWasCreated(client);
    expectToGoOn(client);
}

TEST_F(VelmdDisk, TellsClientsAndTheLog_WhenItIsFull_AndGoesOn_OnceThereIsRoom) {
    prepareMounts();
    if (IsSkipped()) {
        return;
    }
    const VelmdProcess velmd(state, {}, withMount("mount -t tmpfs -o size=2m none \"$1\""));
    WBEMClient client(velmd.port());
    ASSERT_EQ(client.call("CreateClass", {{"NewClass", itemClass("EX_Item")}}).status(), 0);
    expectRefusals(client, velmd, "database or disk is full");
    std::vector<std::string> enter{"/usr/bin/nsenter", "-t", std::to_string(velmd.id()), "-m"};
    if (::geteuid() != 0) {
        enter.insert(enter.end(), {"-U", "--preserve-credentials"});
    }
    enter.insert(enter.end(), {"/bin/mount", "-o", "remount,size=16m", state.string()});
    const ProgramResult grown = runProgram(enter);
    ASSERT_EQ(grown.exitCode, 0) << grown.output;
    expectToGoOn(client);
}

TEST_F(VelmdDisk, KeepsTheDaemonFromStarting_WhenItCannotBeWritten) {
    prepareMounts();
    if (IsSkipped()) {
        return;
    }
    const ProgramResult result = runProgram(
        velmdCommand(state, {}, withMount("mount -t tmpfs none \"$1\"; mount -o remount,ro none \"$1\"")));
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_THAT(result.output, HasSubstr("velmd: state directory " + state.string() +
                                         ": cannot be written: Read-only file system\n"));
}

TEST_F(VelmdDisk, KeepsTheDaemonFromStartingAndEverythingInIt_WhenItHasBecomeReadOnly) {
    prepareMounts();
    if (IsSkipped()) {
        return;
    }
    {
        const VelmdProcess velmd(state);
        WBEMClient client(velmd.port());
        ASSERT_EQ(client.call("CreateClass", {{"NewClass", itemClass("EX_Item")}}).status(), 0);
        while (created < 20) {
            ASSERT_EQ(create(client, created++).status(), 0);
        }
    }
    const auto file = directory.write("none.xml",
                                      "<CIM CIMVERSION=\"2.0\" DTDVERSION=\"2.0\"><DECLARATION><DECLGROUP>"
                                      "</DECLGROUP></DECLARATION></CIM>");
    const auto readOnly = withMount("mount --bind \"$1\" \"$1\"; mount -o remount,ro,bind \"$1\"");
    for (const std::vector<std::string>& command :
         {velmdCommand(state, {}, readOnly), velmdCommand(state, {"--import", file.string()}, readOnly)}) {
        const ProgramResult result = runProgram(command);
        EXPECT_EQ(result.exitCode, 1);
        EXPECT_THAT(result.output, HasSubstr("velmd: state directory " + state.string() +
                                             ": cannot be written: Read-only file system\n"));
    }
    const VelmdProcess velmd(state);
    WBEMClient client(velmd.port());
    expectWhatWasCreated(client);
    expectToGoOn(client);
}

TEST_F(VelmdDisk, KeepsAnImportFromChangingAnything_WhenItIsTooSmall) {
    VELM_SKIP_WITHOUT(realSchema());
    const std::vector<std::string> import{velmdProgram(), "--state-dir", state.string(), "--import",
                                          realSchema().string()};
    ASSERT_EQ(VelmdProcess(state).terminate(), 0);
    std::vector<std::string> limited{"/usr/bin/prlimit", "--fsize=300000"};
    limited.insert(limited.end(), import.begin(), import.end());
    const ProgramResult refused = runProgram(limited);
    EXPECT_EQ(refused.exitCode, 1);
    EXPECT_THAT(refused.output, AllOf(HasSubstr("velmd: "), HasSubstr("repository.db: disk I/O error")));
    {
        const VelmdProcess velmd(state);
        WBEMClient client(velmd.port());
        const WBEMAnswer names = client.call("EnumerateClassNames");
        EXPECT_TRUE(names.has("CIM_ManagedElement"));
        EXPECT_FALSE(client.call("GetClass", {{"ClassName", className("CIM_Fan")}}).status() == 0);
    }
    EXPECT_EQ(runProgram(import).exitCode, 0);
}

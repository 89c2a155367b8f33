// What the daemon tells the service manager that started it (sd_notify(3)), over a real datagram socket.

#include "tests/support/VelmdItems.h"
#include "tests/support/VelmdProcess.h"
#include "tests/support/WBEMClient.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <poll.h>
#include <stdexcept>
#include <string>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace velm::test;
using std::chrono::milliseconds;
using std::chrono::steady_clock;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

namespace {

/// Where the service manager listens: a path, or an abstract name ("@...").
class NotifySocket {
public:
    explicit NotifySocket(std::string name)
        : _name(std::move(name)), _socket(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        _name.copy(address.sun_path, sizeof address.sun_path - 1);
        if (_name.starts_with('@')) {
            address.sun_path[0] = '\0';
        }
        const auto size = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + _name.size());
        if (::bind(_socket, reinterpret_cast<sockaddr*>(&address), size) != 0) {
            throw std::runtime_error("cannot bind " + _name);
        }
    }
    NotifySocket(const NotifySocket&) = delete;
    NotifySocket& operator=(const NotifySocket&) = delete;
    ~NotifySocket() { ::close(_socket); }

    const std::string& name() const { return _name; }

    /// The next message, or nothing when none comes in time.
    std::string next(milliseconds patience = std::chrono::seconds(20)) const {
        pollfd waiting{_socket, POLLIN, 0};
        char text[4096];
        if (::poll(&waiting, 1, static_cast<int>(patience.count())) <= 0) {
            return {};
        }
        const ssize_t size = ::recv(_socket, text, sizeof text, 0);
        return size > 0 ? std::string(text, static_cast<std::size_t>(size)) : std::string();
    }

    /// The next one that is no WATCHDOG=1.
    std::string nextEvent() const {
        std::string message;
        do {
            message = next();
        } while (message == "WATCHDOG=1");
        return message;
    }

private:
    std::string _name;
    int _socket;
};

std::uint16_t portIn(const std::string& ready) {
    const std::string before = "STATUS=port ";
    return static_cast<std::uint16_t>(std::stoul(ready.substr(ready.find(before) + before.size())));
}

class VelmdNotify : public testing::Test {
protected:
    std::vector<std::string> environment(const std::vector<std::string>& more = {}) const {
        std::vector<std::string> launcher{"/usr/bin/env", "NOTIFY_SOCKET=" + manager.name()};
        launcher.insert(launcher.end(), more.begin(), more.end());
        return launcher;
    }

    /// Arguments for a daemon with a provider that waits as long as hold() says.
    std::vector<std::string> withGate(std::vector<std::string> arguments = {}) const {
        const auto folder = providerFolder(directory, "gate", VELM_TEST_GATE_PROVIDER);
        arguments.insert(arguments.end(), {"--set", "Providers.Directory=" + folder, "--set",
                                           "Providers.gate=" + directory.path().string()});
        return arguments;
    }

    void hold() const { directory.write("hold", ""); }
    void letGo() const { std::filesystem::remove(directory.path() / "hold"); }
    bool isWaiting() const { return std::filesystem::exists(directory.path() / "waiting"); }

    TemporaryDirectory directory;
    const std::filesystem::path state = directory.path() / "state";
    NotifySocket manager{(directory.path() / "notify").string()};
};

}  // namespace

TEST_F(VelmdNotify, TellsOfReadiness_OnlyWhenRequestsAreAnswered) {
    hold();
    ProgramProcess velmd(velmdCommand(state, withGate(), environment()));
    ASSERT_TRUE(holdsInTime([this] { return isWaiting(); })) << velmd.log();
    EXPECT_EQ(manager.next(milliseconds(0)), "") << "while a provider is being loaded";
    letGo();
    const std::string ready = manager.next();
    ASSERT_THAT(ready, StartsWith("READY=1\nSTATUS=port "));
    EXPECT_EQ(WBEMClient(portIn(ready)).call("EnumerateClassNames").status(), 0);
    velmd.signal(SIGTERM);
    EXPECT_THAT(manager.next(), StartsWith("STOPPING=1\n"));
    EXPECT_EQ(velmd.wait(), 0);
    EXPECT_EQ(manager.next(milliseconds(0)), "") << "no watchdog was asked for";
}

TEST_F(VelmdNotify, ReachesAnAbstractSocket) {
    const NotifySocket abstract("@velm-test-" + std::to_string(::getpid()) + "-" +
                                directory.path().filename().string());
    const VelmdProcess velmd(state, {}, {"/usr/bin/env", "NOTIFY_SOCKET=" + abstract.name()});
    EXPECT_THAT(abstract.next(), StartsWith("READY=1\n"));
}

TEST_F(VelmdNotify, TellsOfAReload) {
    VelmdProcess velmd(state, {}, environment());
    EXPECT_THAT(manager.next(), StartsWith("READY=1\n"));
    timespec before{};
    clock_gettime(CLOCK_MONOTONIC, &before);
    velmd.signal(SIGHUP);
    const std::string reloading = manager.next();
    const std::string start = "RELOADING=1\nMONOTONIC_USEC=";
    ASSERT_THAT(reloading, StartsWith(start));
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    const std::int64_t told = std::stoll(reloading.substr(start.size()));
    EXPECT_GE(told, std::int64_t{before.tv_sec} * 1'000'000 + before.tv_nsec / 1000);
    EXPECT_LE(told, std::int64_t{now.tv_sec} * 1'000'000 + now.tv_nsec / 1000);
    EXPECT_THAT(manager.next(), StartsWith("READY=1\nSTATUS=port " + std::to_string(velmd.port())));
}

TEST_F(VelmdNotify, FeedsTheWatchdogOfItsProcessOnly) {
    const std::string limit = "WATCHDOG_USEC=400000";
    // The shell's own number is that of the program that takes its place.
    const auto launcher = environment({limit, "/bin/sh", "-c", "WATCHDOG_PID=$$ exec \"$@\"", "sh"});
    {
        const VelmdProcess fed(state, {}, launcher);
        EXPECT_THAT(manager.next(), StartsWith("READY=1\n"));
        for (int count = 0; count < 4; ++count) {
            EXPECT_EQ(manager.next(), "WATCHDOG=1");
        }
    }
    VelmdProcess notMeant(state, {}, environment({limit, "WATCHDOG_PID=1"}));
    EXPECT_THAT(manager.nextEvent(), StartsWith("READY=1\n"));
    notMeant.signal(SIGTERM);
    EXPECT_THAT(manager.next(), StartsWith("STOPPING=1\n"));
    EXPECT_EQ(notMeant.wait(), 0);
}

TEST_F(VelmdNotify, StopsFeedingTheWatchdog_WhileRequestsDoNotGetOn) {
    const VelmdProcess velmd(state, withGate({"--set", "Server.Workers=1"}),
                             environment({"WATCHDOG_USEC=200000"}));
    EXPECT_THAT(manager.next(), StartsWith("READY=1\n"));
    EXPECT_EQ(manager.next(), "WATCHDOG=1");
    hold();
    const WBEMClient client(velmd.port());
    const std::string request =
        client.request("EnumerateInstanceNames", {{"ClassName", className("CIM_DataFile")}});
    ResponseSocket first(velmd.port());
    first.send(request);
    ASSERT_TRUE(holdsInTime([this] { return isWaiting(); }));
    // One that is being carried out is no sign of trouble, one that waits all the time is.
    EXPECT_EQ(manager.next(), "WATCHDOG=1");
    ResponseSocket second(velmd.port());
    second.send(request);
    const auto deadline = steady_clock::now() + std::chrono::seconds(20);
    while (manager.next(milliseconds(600)) == "WATCHDOG=1" && steady_clock::now() < deadline) {
    }
    EXPECT_LT(steady_clock::now(), deadline) << "it was fed all the time";
    letGo();
    EXPECT_EQ(first.next().status(), 0);
    EXPECT_EQ(second.next().status(), 0);
    EXPECT_EQ(manager.next(), "WATCHDOG=1");
}

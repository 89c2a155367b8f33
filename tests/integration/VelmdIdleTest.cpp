// Connections that cost the daemon something without asking for anything: thousands that are idle, and more
// than it has file descriptors for.

#include "tests/support/ScriptedListener.h"
#include "tests/support/VelmdItems.h"
#include "tests/support/VelmdProcess.h"
#include "tests/support/WBEMClient.h"

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <fstream>
#include <memory>
#include <string>
#include <sys/resource.h>
#include <vector>

#include <gmock/gmock.h>

using namespace velm::test;
using std::chrono::microseconds;
using std::chrono::steady_clock;

namespace {

constexpr std::size_t idleCount = 10'000;
/// What this process and the daemon need besides.
constexpr std::size_t otherDescriptors = 300;
/// Of the daemon's memory, for one connection; half of it is measured.
constexpr std::size_t mostPerConnection = 8 * 1024;

using Connections = std::vector<std::unique_ptr<ResponseSocket>>;

bool isSanitized() {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    return true;
#else
    return false;
#endif
}

/// Raises the number of descriptors that this process may have as far as allowed, and gives it.
std::size_t raiseDescriptorLimit() {
    rlimit limit{};
    ::getrlimit(RLIMIT_NOFILE, &limit);
    limit.rlim_cur = limit.rlim_max;
    ::setrlimit(RLIMIT_NOFILE, &limit);
    return static_cast<std::size_t>(limit.rlim_cur);
}

/// What the process has in memory, in bytes.
std::size_t residentSize(pid_t process) {
    std::ifstream status("/proc/" + std::to_string(process) + "/status");
    std::string word;
    std::size_t kilobytes = 0;
    while (status >> word) {
        if (word == "VmRSS:") {
            status >> kilobytes;
        }
    }
    return kilobytes * 1024;
}

/// The shortest time that a few of its requests took, which is the daemon's own and not a busy machine's.
microseconds serviceTime(WBEMClient& client) {
    microseconds shortest = microseconds::max();
    for (int count = 0; count < 20; ++count) {
        const auto start = steady_clock::now();
        EXPECT_EQ(client.call("EnumerateClassNames").status(), 0);
        shortest = std::min(shortest, std::chrono::duration_cast<microseconds>(steady_clock::now() - start));
    }
    return shortest;
}

/// A launcher that leaves the daemon so many descriptors.
std::vector<std::string> withDescriptors(std::size_t count) {
    return {"/bin/sh", "-c", "ulimit -n " + std::to_string(count) + "; exec \"$@\"", "sh"};
}

}  // namespace

TEST(VelmdIdle, ServesAClientInItsUsualTimeAndKeepsLittleForEach_WhenTenThousandConnectionsAreIdle) {
    if (raiseDescriptorLimit() < idleCount + otherDescriptors) {
        GTEST_SKIP() << "the system allows this process too few open files for " << idleCount
                     << " connections";
    }
    const TemporaryDirectory directory;
    const VelmdProcess velmd(directory.path());
    WBEMClient client(velmd.port());
    const microseconds usual = serviceTime(client);
    const std::string request = WBEMClient(velmd.port()).request("HeartBeat", WBEMClient::subscriber("1"));
    const std::size_t before = residentSize(velmd.id());

    Connections idle;
    for (std::size_t count = 0; count < idleCount; ++count) {
        ResponseSocket& connection = *idle.emplace_back(std::make_unique<ResponseSocket>(velmd.port()));
        // Some have asked for something before.
        if (count % 4 == 0) {
            connection.send(request);
            ASSERT_EQ(connection.next().httpStatus, 200U);
        }
    }
    WBEMClient another(velmd.port());
    EXPECT_LT(serviceTime(another), 3 * usual + std::chrono::milliseconds(5));
    EXPECT_LT(serviceTime(client), 3 * usual + std::chrono::milliseconds(5));
    const std::size_t each = (residentSize(velmd.id()) - before) / idleCount;
    RecordProperty("bytes_per_connection", static_cast<int>(each));
    EXPECT_LT(each, isSanitized() ? 10 * mostPerConnection : mostPerConnection);

    for (const std::size_t number : {std::size_t(0), idleCount / 2, idleCount - 1}) {
        idle[number]->send(request);
        EXPECT_EQ(idle[number]->next().httpStatus, 200U);
    }
}

TEST(VelmdIdle, TellsClientsWith503_WhenItHasNoDescriptorLeft) {
    constexpr std::size_t descriptors = 100;
    const TemporaryDirectory directory;
    const VelmdProcess velmd(directory.path(), {}, withDescriptors(descriptors));
    WBEMClient client(velmd.port());
    ASSERT_EQ(client.call("CreateClass", {{"NewClass", itemClass("EX_Item")}}).status(), 0);
    ScriptedListener listener(goodAnswer());
    ASSERT_TRUE(client
                    .call("Subscribe", WBEMClient::subscriber(listener.port()) +
                                           WBEMClient::Parameters{{"IndicationType", value("Creation")},
                                                                  {"ClassName", className("EX_Item")}})
                    .has("TRUE"));
    const std::string request = client.request("EnumerateClassNames");

    Connections served;
    unsigned int status = 200;
    while (status == 200 && served.size() < descriptors) {
        ResponseSocket& next = *served.emplace_back(std::make_unique<ResponseSocket>(velmd.port()));
        next.send(request);
        status = next.next().httpStatus;
    }
    ASSERT_EQ(status, 503U);
    served.pop_back();
    for (std::size_t count = 0; count < 2 * descriptors; ++count) {
        WBEMClient refused(velmd.port());
        const WBEMAnswer answer = refused.call("EnumerateClassNames");
        ASSERT_EQ(answer.httpStatus, 503U) << "client " << count;
        EXPECT_EQ(answer.headers.at("connection"), "close");
    }
    EXPECT_EQ(client.call("EnumerateClassNames").status(), 0) << "who is connected is served";
    const std::string item = itemInstance("EX_Item", "1");
    EXPECT_EQ(client.call("CreateInstance", {{"NewInstance", item}}).status(), 0);
    EXPECT_TRUE(listener.waitForRequests(1)) << "deliveries need descriptors, too";
    served.clear();
    EXPECT_TRUE(
        holdsInTime([&] { return WBEMClient(velmd.port()).call("EnumerateClassNames").httpStatus == 200; }));
}

TEST(VelmdIdle, TellsInTurnThoseWhoWait_WhenRefusedClientsDoNotClose) {
#if defined(__SANITIZE_ADDRESS__)
    GTEST_SKIP() << "the daemon's sanitizer opens pipes to look at memory, and takes a failure for a finding";
#endif
    constexpr std::size_t descriptors = 100;
    const TemporaryDirectory directory;
    // A refused client is given as long to close, two seconds at the most.
    const VelmdProcess velmd(directory.path(), {"--set", "Limits.RequestSeconds=1"},
                             withDescriptors(descriptors));
    const std::string request = WBEMClient(velmd.port()).request("EnumerateClassNames");
    Connections clients;
    for (std::size_t count = 0; count < descriptors + 20; ++count) {
        clients.emplace_back(std::make_unique<ResponseSocket>(velmd.port()))->send(request);
    }
    std::size_t refused = 0;
    for (const auto& client : clients) {
        refused += client->next().httpStatus == 503 ? 1 : 0;
    }
    EXPECT_GT(refused, 20U);
    EXPECT_LT(refused, clients.size());
}

// What no client should send, to a real daemon: it tells what was wrong or closes, its memory stays within
// bounds, and everybody else is served meanwhile.

#include "tests/support/VelmdItems.h"
#include "tests/support/VelmdProcess.h"
#include "tests/support/WBEMClient.h"
#include "tests/unit/velmd/http/RefusedRequests.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <fstream>
#include <limits>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace velm::test;
using std::chrono::milliseconds;
using std::chrono::steady_clock;
using testing::HasSubstr;
using testing::StartsWith;

namespace {

constexpr std::size_t megabyte = 1024 * 1024;
/// What the daemon may need beyond what it had, for all that one test sends: a few bodies of the largest
/// size. A sanitizer keeps what was freed.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr std::size_t mostMemory = std::numeric_limits<std::size_t>::max();
#else
constexpr std::size_t mostMemory = 200 * megabyte;
#endif
/// For one request of a client that does nothing wrong, on a busy machine; it takes milliseconds.
constexpr std::chrono::seconds longestService{5};

/// The most that a process ever had in memory.
std::size_t peakMemory(pid_t process) {
    std::ifstream status("/proc/" + std::to_string(process) + "/status");
    for (std::string line; std::getline(status, line);) {
        if (line.starts_with("VmHWM:")) {
            return std::stoul(line.substr(6)) * 1024;
        }
    }
    return 0;
}

/// A client that goes on working while others misbehave.
class Bystander {
public:
    explicit Bystander(std::uint16_t port) : _client(port), _thread([this] { _work(); }) {}
    Bystander(const Bystander&) = delete;
    Bystander& operator=(const Bystander&) = delete;
    ~Bystander() {
        _stop = true;
        _thread.join();
        EXPECT_LT(_slowest, longestService);
    }

    /// Waits until it was served some more times.
    bool isServed() const {
        const int before = _count;
        return holdsInTime([&] { return _count >= before + 10; });
    }

private:
    void _work() {
        while (!_stop) {
            const std::string id = std::to_string(_count);
            const auto start = steady_clock::now();
            EXPECT_EQ(_client.call("CreateInstance", {{"NewInstance", itemInstance("EX_Item", id)}}).status(),
                      0);
            EXPECT_EQ(_client.call("DeleteInstance", {{"InstanceName", itemName("EX_Item", id)}}).status(),
                      0);
            _slowest = std::max(_slowest, steady_clock::now() - start);
            ++_count;
        }
    }

    WBEMClient _client;
    std::atomic<bool> _stop{false};
    std::atomic<int> _count{0};
    steady_clock::duration _slowest{};
    std::thread _thread;
};

class VelmdBadInput : public testing::Test {
protected:
    VelmdBadInput() {
        WBEMClient client(velmd.port());
        EXPECT_EQ(client.call("CreateClass", {{"NewClass", itemClass("EX_Item")}}).status(), 0);
        memoryBefore = peakMemory(velmd.id());
        bystander = std::make_unique<Bystander>(velmd.port());
    }

    ~VelmdBadInput() override {
        EXPECT_TRUE(bystander->isServed());
        bystander.reset();
        EXPECT_LT(peakMemory(velmd.id()) - memoryBefore, mostMemory);
        EXPECT_EQ(velmd.terminate(), 0) << velmd.log();
    }

    static std::string head(const std::string& framing) {
        return "POST /cimom HTTP/1.1\r\nHost: 127.0.0.1\r\nContent-Type: application/xml; "
               "charset=\"utf-8\"\r\n"
               "CIMOperation: MethodCall\r\nCIMMethod: CreateInstance\r\nCIMObject: root/kob/talmora\r\n" +
               framing + "\r\n\r\n";
    }

    WBEMAnswer post(const std::string& body) const {
        ResponseSocket connection(velmd.port());
        connection.send(head("Content-Length: " + std::to_string(body.size())) + body);
        return connection.next();
    }

    /// Sends the piece until a gigabyte is sent or the daemon does not want more; how much that was.
    static std::size_t sendGigabyte(ResponseSocket& connection, const std::string& piece) {
        std::size_t sent = 0;
        try {
            for (; sent < 1024 * megabyte; sent += piece.size()) {
                connection.send(piece);
            }
        } catch (const std::runtime_error&) {
            // It has closed.
        }
        return sent;
    }

    TemporaryDirectory directory;
    VelmdProcess velmd{directory.path(), {"--set", "Limits.RequestSeconds=2"}};
    std::size_t memoryBefore = 0;
    std::unique_ptr<Bystander> bystander;
};

/// The body of a call whose parameter is `content`.
std::string callWith(const std::string& content, const std::string& prolog = "") {
    return prolog +
           "<CIM CIMVERSION=\"2.0\" DTDVERSION=\"2.0\"><MESSAGE ID=\"1\" PROTOCOLVERSION=\"1.0\"><SIMPLEREQ>"
           "<IMETHODCALL NAME=\"CreateInstance\"><LOCALNAMESPACEPATH><NAMESPACE NAME=\"root\"/><NAMESPACE "
           "NAME=\"kob\"/><NAMESPACE NAME=\"talmora\"/></LOCALNAMESPACEPATH><IPARAMVALUE "
           "NAME=\"NewInstance\">" +
           content + "</IPARAMVALUE></IMETHODCALL></SIMPLEREQ></MESSAGE></CIM>";
}

std::string repeated(const std::string& text, int count) {
    std::string all;
    all.reserve(text.size() * static_cast<std::size_t>(count));
    while (count-- > 0) {
        all += text;
    }
    return all;
}

}  // namespace

TEST_F(VelmdBadInput, IsRefusedBeforeItIsReceived_WhenItIsAGigabyteLong) {
    for (int client = 0; client < 4; ++client) {
        ResponseSocket connection(velmd.port());
        connection.send(head("Content-Length: 1073741824"));
        EXPECT_EQ(connection.next().httpStatus, 413U);
        EXPECT_LT(sendGigabyte(connection, std::string(65536, 'x')), 100 * megabyte);
    }
}

TEST_F(VelmdBadInput, IsRefusedOnceItIsTooLong_WhenItComesInChunks) {
    const std::string chunk = "10000\r\n" + std::string(65536, 'x') + "\r\n";
    for (int client = 0; client < 4; ++client) {
        ResponseSocket connection(velmd.port());
        connection.send(head("Transfer-Encoding: chunked"));
        EXPECT_LT(sendGigabyte(connection, chunk), 150 * megabyte);
    }
    EXPECT_TRUE(velmd.waitForLog("was answered with 413"));
}

TEST_F(VelmdBadInput, IsGivenUpAfterItsTime_WhenHeadersComeAtOneByteASecond) {
    constexpr std::size_t clientCount = 200;
    const std::string bytes = head("Content-Length: 1");
    std::vector<std::unique_ptr<ResponseSocket>> connections;
    for (std::size_t client = 0; client < clientCount; ++client) {
        connections.push_back(std::make_unique<ResponseSocket>(velmd.port()));
    }
    for (std::size_t second = 0; second < 3; ++second) {
        for (const auto& connection : connections) {
            try {
                connection->send(bytes.substr(second, 1));
            } catch (const std::runtime_error&) {
                // It has answered and closed.
            }
        }
        EXPECT_TRUE(bystander->isServed());
        std::this_thread::sleep_for(milliseconds(1000));
    }
    for (const auto& connection : connections) {
        EXPECT_EQ(connection->next().httpStatus, 408U);
    }
}

TEST_F(VelmdBadInput, IsNoReasonToSpendMemory_WhenItDeclaresEntities) {
    std::string laughs = "<!DOCTYPE CIM [<!ENTITY a0 \"ha\">";
    for (int level = 1; level < 40; ++level) {
        const std::string below = "&a" + std::to_string(level - 1) + ";";
        laughs += "<!ENTITY a" + std::to_string(level) + " \"" + repeated(below, 10) + "\">";
    }
    const std::string quadratic = "<!DOCTYPE CIM [<!ENTITY a \"" + std::string(megabyte, 'x') + "\">]>";
    for (const std::string& body :
         {callWith("<VALUE>&a39;</VALUE>", laughs + "]>"), callWith(repeated("&a;", 10'000), quadratic),
          callWith("<VALUE>&a;</VALUE>", "<!DOCTYPE CIM [<!ENTITY a SYSTEM \"file:///etc/hostname\">]>"),
          callWith("", "<!DOCTYPE CIM [<!ENTITY % a SYSTEM \"file:///etc/hostname\">%a;]>"),
          callWith("", "<!DOCTYPE CIM SYSTEM \"http://127.0.0.1:1/cim.dtd\">"),
          callWith("<VALUE>&unknown;</VALUE>")}) {
        const auto start = steady_clock::now();
        const WBEMAnswer answer = post(body);
        EXPECT_EQ(answer.httpStatus, 400U);
        EXPECT_EQ(answer.headers.at("cimerror"), "request-not-well-formed");
        EXPECT_LT(steady_clock::now() - start, longestService);
    }
}

TEST_F(VelmdBadInput, IsRefused_WhenItIsNestedDeeplyOrHasCountlessParts) {
    const std::string openings =
        repeated("<VALUE.REFERENCE><INSTANCENAME CLASSNAME=\"A\"><KEYBINDING NAME=\"K\">", 1000);
    const std::string closings = repeated("</KEYBINDING></INSTANCENAME></VALUE.REFERENCE>", 1000);
    std::string attributes;
    for (int number = 0; number < 500'000; ++number) {
        attributes += " a" + std::to_string(number) + "=\"\"";
    }
    const std::vector<std::pair<std::string, unsigned int>> cases{
        {callWith(openings + closings), 400},
        {callWith(repeated("<VALUE.ARRAY>", 100)), 400},
        {callWith(repeated("<VALUE.ARRAY>", 1'000'000)), 413},
        {repeated("<A>", 5'000'000), 413},
        {callWith(repeated("<VALUE/>", 1'800'000)), 413},
        {callWith("<VALUE" + attributes + "/>"), 413}};
    for (const auto& [body, status] : cases) {
        SCOPED_TRACE(body.substr(0, 400));
        const auto start = steady_clock::now();
        const WBEMAnswer answer = post(body);
        EXPECT_EQ(answer.httpStatus, status);
        EXPECT_FALSE(answer.body.empty() && answer.headers.at("cimerrordetails").empty());
        EXPECT_LT(steady_clock::now() - start, longestService);
    }
}

TEST_F(VelmdBadInput, IsAnsweredOnceAndTheConnectionClosed_WhateverIsHiddenBehindIt) {
    const WBEMClient client(velmd.port());
    const std::string hidden =
        client.request("CreateInstance", {{"NewInstance", itemInstance("EX_Item", "smuggled")}});
    for (const RefusedRequest& request : refusedRequests) {
        SCOPED_TRACE(request.name);
        ResponseSocket connection(velmd.port());
        connection.send(std::string(request.bytes) + hidden);
        const WBEMAnswer answer = connection.next();
        EXPECT_THAT(request.status, StartsWith(std::to_string(answer.httpStatus)));
        EXPECT_THAT(answer.body, HasSubstr(request.reason));
        EXPECT_FALSE(connection.nextBeforeClose());
    }
    WBEMClient reader(velmd.port());
    EXPECT_EQ(reader.call("GetInstance", {{"InstanceName", itemName("EX_Item", "smuggled")}}).status(), 6);
}

TEST_F(VelmdBadInput, IsNotTakenForTwoRequests_WhenTheBodyHoldsOne) {
    const WBEMClient client(velmd.port());
    const std::string hidden =
        client.request("CreateInstance", {{"NewInstance", itemInstance("EX_Item", "smuggled")}});
    ResponseSocket connection(velmd.port());
    connection.send(head("Content-Length: " + std::to_string(hidden.size())) + hidden);
    EXPECT_EQ(connection.next().httpStatus, 400U);
    WBEMClient reader(velmd.port());
    EXPECT_EQ(reader.call("GetInstance", {{"InstanceName", itemName("EX_Item", "smuggled")}}).status(), 6);
}

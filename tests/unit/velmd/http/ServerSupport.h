#pragma once

#include "tests/unit/velmd/http/TestClient.h"
#include "velmd/http/HTTPServer.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <functional>
#include <iterator>
#include <latch>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

/// What tests of a running server set up again and again.
namespace velm::test {

inline constexpr std::string_view getRequest = "GET / HTTP/1.1\r\nHost: a\r\n\r\n";

/// With times far above what a test takes, but for what the test sets.
inline HTTPServer::Options patientOptions() {
    HTTPServer::Options options = loopbackOptions();
    options.limits.idleTimeout = options.limits.requestTimeout = options.limits.writeTimeout =
        std::chrono::seconds(60);
    return options;
}

inline HTTPServer::Options oneWorker() {
    HTTPServer::Options options = patientOptions();
    options.workers = 1;
    return options;
}

/// A request with a body, or as much of it as `sent` says.
inline std::string postRequest(std::string_view target, std::size_t size,
                               std::size_t sent = std::string::npos) {
    std::string bytes = "POST ";
    bytes.append(target).append(" HTTP/1.1\r\nHost: a\r\nContent-Length: ").append(std::to_string(size));
    return bytes.append("\r\n\r\n").append(std::min(size, sent), 'x');
}

inline HTTPResponse responseOfSize(std::size_t size) {
    HTTPResponse response;
    response.body.resize(size, 'r');
    return response;
}

inline HTTPResponse takenOver(std::function<void(int)> takeOver) {
    HTTPResponse response;
    response.takeOver = std::move(takeOver);
    return response;
}

/// Keeps whoever passes until it is opened, at its end at the latest.
class Gate {
public:
    Gate() = default;
    Gate(const Gate&) = delete;
    Gate& operator=(const Gate&) = delete;
    ~Gate() { open(); }

    void pass() {
        _entered.fetch_add(1);
        _open.wait();
    }
    /// Echoes once it is through.
    HTTPServer::Handler handler() {
        return [this](const HTTPRequest& request) {
            pass();
            return echo(request);
        };
    }
    void open() {
        if (!_isOpen.exchange(true)) {
            _open.count_down();
        }
    }

    int entered() const { return _entered; }
    bool waitForEntered(int count) const {
        return eventually([&] { return _entered == count; });
    }

private:
    std::atomic<int> _entered{0};
    std::atomic<bool> _isOpen{false};
    std::latch _open{1};
};

/// Waits until one of the clients has something to receive, and takes it out; the last one when none has in
/// time.
inline TestClient takeAnswered(std::vector<TestClient>& clients) {
    const auto isAnswered = [](const TestClient& client) {
        return client.hasBytes(std::chrono::milliseconds(0));
    };
    eventually([&] { return std::ranges::any_of(clients, isAnswered); });
    auto found = std::ranges::find_if(clients, isAnswered);
    found = found == clients.end() ? std::prev(found) : found;
    TestClient client = std::move(*found);
    clients.erase(found);
    return client;
}

/// That many clients, which have sent this.
inline std::vector<TestClient> clientsThatSend(const HTTPServer& server, std::size_t count,
                                               std::string_view bytes = getRequest) {
    std::vector<TestClient> clients;
    while (clients.size() < count) {
        clients.emplace_back(server.port()).send(bytes);
    }
    return clients;
}

}  // namespace velm::test

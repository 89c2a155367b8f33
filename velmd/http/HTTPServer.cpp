#include "velmd/http/HTTPServer.h"

#include "velmd/http/Acceptor.h"
#include "velmd/http/Connection.h"
#include "velmd/http/HeldBytes.h"
#include "velmd/http/Listening.h"
#include "velmd/http/ResponseFraming.h"
#include "velmd/http/ServerLog.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <condition_variable>
#include <future>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <thread>
#include <unordered_set>
#include <utility>

#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/thread_pool.hpp>

namespace velm {

namespace {

namespace asio = boost::asio;
using Connections = std::unordered_set<std::shared_ptr<Connection>>;

constexpr std::size_t readSize = 64 * 1024;
/// Connections past the limit that are told so at one time; beyond them they are closed without a word.
constexpr std::size_t refusalsAtOnce = 128;
/// Urgent requests that wait: there are few who ask, and they ask one thing at a time.
constexpr std::size_t maxWaitingUrgent = 100;
/// Far enough for anybody, and no overflow when added to the clock.
constexpr std::chrono::milliseconds longestPatience = std::chrono::hours(24 * 365);

/// Who holds less is not let go for the sake of others: it would bring them little.
constexpr std::size_t worthLettingGo = 64 * 1024;

constexpr Refusal tooManyConnections{503, "Too many connections are open."};
constexpr Refusal noDescriptor{503, "The server has no file descriptor left."};

const HTTPServer::Options& checked(const HTTPServer::Options& options) {
    if (options.workers == 0) {
        throw std::invalid_argument("An HTTP server needs at least one worker");
    }
    return options;
}

}  // namespace

class HTTPServer::Impl final : public IConnectionOwner {
public:
    Impl(Options options, Handler handler);
    Impl(const Impl&) = delete;
    Impl& operator=(const Impl&) = delete;
    ~Impl() override { stop({}); }

    std::uint16_t port() const noexcept { return _port; }
    std::size_t connectionCount() const noexcept;
    std::size_t heldBytes() const noexcept { return _heldBytes.total(); }
    std::size_t stop(std::chrono::milliseconds patience);
    bool makesProgress();

private:
    /// Threads, and how much they have to do.
    struct Lane {
        Lane(unsigned int threads, std::size_t maxWaiting)
            : maxJobs(threads + maxWaiting), threadCount(threads), pool(threads) {}

        const std::size_t maxJobs;
        const std::size_t threadCount;
        // Guarded by _mutex.
        /// What the threads have to do and do.
        std::size_t jobCount = 0;
        std::size_t endedJobs = 0;

        asio::thread_pool pool;
    };

    const Options& options() const override { return _options; }
    std::span<char> readBuffer() override { return _readBuffer; }
    HeldBytes& heldSum() override { return _heldBytes; }
    bool handle(std::shared_ptr<Connection> connection, HTTPRequest request) override;
    bool makeRoomFor(const Connection& connection) override;
    void handOver(Descriptor socket, std::function<void(int)> takeOver) override;
    void forget(const std::shared_ptr<Connection>& connection) override;

    // On the loop's thread.
    void _run();
    void _serve(Descriptor socket, bool isSpare);
    Connection* _largestOver(std::size_t size) const;
    void _finish();
    std::size_t _cutOff();

    // On a worker.
    void _work(Lane& lane, std::shared_ptr<Connection> connection, const HTTPRequest& request);
    HTTPResponse _answer(const HTTPRequest& request) const;
    void _endJob(Lane& lane);

    void _waitUntilDone(std::chrono::milliseconds patience);

    const Options _options;
    const Handler _handler;

    std::mutex _stopTurn;
    mutable std::mutex _mutex;
    std::condition_variable _changed;
    // Guarded by _mutex.
    std::size_t _connectionCount = 0;
    bool _isFinishing = false;

    // makesProgress()'s.
    std::atomic<bool> _isTurnAwaited{false};
    std::size_t _endedJobsBefore = 0;

    /// What waits for a worker is dropped.
    std::atomic<bool> _isCutOff{false};
    std::atomic<std::size_t> _droppedHandOvers{0};

    /// Before the loop, which may hold connections to its end.
    HeldBytes _heldBytes;
    asio::io_context _loop{1};
    asio::executor_work_guard<asio::io_context::executor_type> _keepsRunning{_loop.get_executor()};
    // The loop's thread's.
    std::optional<Acceptor> _acceptor;
    Connections _connections;
    std::array<char, readSize> _readBuffer;

    std::uint16_t _port = 0;
    Lane _workers;
    Lane _urgent;
    std::thread _thread;
};

HTTPServer::Impl::Impl(Options options, Handler handler)
    : _options(checked(options)),
      _handler(std::move(handler)),
      _workers(_options.workers, _options.limits.maxWaitingRequests),
      _urgent(_options.isUrgent ? 1 : 0, maxWaitingUrgent) {
    Listening listening = listenOn(_options.addresses, _options.port);
    _port = listening.port;
    _acceptor.emplace(_loop, std::move(listening.sockets),
                      [this](Descriptor socket, bool isSpare) { _serve(std::move(socket), isSpare); });
    _thread = std::thread([this] { _run(); });
}

std::size_t HTTPServer::Impl::connectionCount() const noexcept {
    const std::lock_guard lock(_mutex);
    return _connectionCount;
}

void HTTPServer::Impl::_run() {
    while (!runServerTask("The thread of the connections met an exception", [this] { _loop.run(); })) {
    }
}

void HTTPServer::Impl::_serve(Descriptor socket, bool isSpare) {
    const std::size_t limit = _options.limits.maxConnections;
    if (_connections.size() >= limit + refusalsAtOnce) {
        return;
    }
    const auto connection = std::make_shared<Connection>(_loop, std::move(socket), *this);
    _connections.insert(connection);
    {
        const std::lock_guard lock(_mutex);
        _connectionCount = _connections.size();
    }
    if (isSpare) {
        connection->refuse(noDescriptor);
    } else if (_connections.size() > limit) {
        connection->refuse(tooManyConnections);
    } else {
        connection->start();
    }
}

void HTTPServer::Impl::forget(const std::shared_ptr<Connection>& connection) {
    _connections.erase(connection);
    _acceptor->refill();
    const std::lock_guard lock(_mutex);
    _connectionCount = _connections.size();
    _changed.notify_all();
}

bool HTTPServer::Impl::makeRoomFor(const Connection& connection) {
    while (_heldBytes.total() > _options.limits.maxHeldBytes) {
        Connection* const largest = _largestOver(std::max(connection.heldSize(), worthLettingGo));
        if (!largest) {
            return false;
        }
        largest->letGo();
    }
    return true;
}

/// The connection that holds most of those that hold more than `size` and can be let go; null without one.
Connection* HTTPServer::Impl::_largestOver(std::size_t size) const {
    Connection* largest = nullptr;
    for (const auto& connection : _connections) {
        if (connection->canBeLetGo() && connection->heldSize() > size) {
            size = connection->heldSize();
            largest = connection.get();
        }
    }
    return largest;
}

bool HTTPServer::Impl::handle(std::shared_ptr<Connection> connection, HTTPRequest request) {
    Lane& lane = _options.isUrgent && _options.isUrgent(request) ? _urgent : _workers;
    {
        const std::lock_guard lock(_mutex);
        if (lane.jobCount >= lane.maxJobs) {
            return false;
        }
        ++lane.jobCount;
    }
    asio::post(lane.pool,
               [this, &lane, connection = std::move(connection), request = std::move(request)]() mutable {
                   _work(lane, std::move(connection), request);
               });
    return true;
}

void HTTPServer::Impl::_work(Lane& lane, std::shared_ptr<Connection> connection, const HTTPRequest& request) {
    HTTPResponse response;
    if (!_isCutOff) {
        response = _answer(request);
    }
    _endJob(lane);
    asio::post(_loop, [connection = std::move(connection), response = std::move(response)]() mutable {
        connection->answer(std::move(response));
    });
}

HTTPResponse HTTPServer::Impl::_answer(const HTTPRequest& request) const {
    HTTPResponse response;
    const bool isDone =
        runServerTask("The handler of a request threw", [&] { response = _handler(request); });
    const std::string_view flaw = isDone ? flawOf(response) : std::string_view();
    if (!flaw.empty()) {
        logServerFailure("The answer of a handler cannot be sent", flaw);
    }
    if (!isDone || !flaw.empty()) {
        response = HTTPResponse();
        response.status = 500;
    }
    return response;
}

void HTTPServer::Impl::_endJob(Lane& lane) {
    const std::lock_guard lock(_mutex);
    --lane.jobCount;
    ++lane.endedJobs;
    _changed.notify_all();
}

void HTTPServer::Impl::handOver(Descriptor socket, std::function<void(int)> takeOver) {
    {
        const std::lock_guard lock(_mutex);
        ++_workers.jobCount;
    }
    asio::post(_workers.pool, [this, socket = std::move(socket), takeOver = std::move(takeOver)]() mutable {
        if (_isCutOff) {
            ++_droppedHandOvers;
        } else {
            runServerTask("What took a connection over threw", [&] { takeOver(socket.release()); });
        }
        _endJob(_workers);
    });
}

void HTTPServer::Impl::_finish() {
    _acceptor->close();
    for (const auto& connection : Connections(_connections)) {
        connection->finish();
    }
    const std::lock_guard lock(_mutex);
    _isFinishing = true;
    _changed.notify_all();
}

std::size_t HTTPServer::Impl::_cutOff() {
    _isCutOff = true;
    const Connections connections(_connections);
    return static_cast<std::size_t>(
        std::ranges::count_if(connections, [](const auto& connection) { return connection->cutOff(); }));
}

void HTTPServer::Impl::_waitUntilDone(std::chrono::milliseconds patience) {
    std::unique_lock lock(_mutex);
    _changed.wait_for(lock, std::min(patience, longestPatience), [this] {
        return _isFinishing && _connectionCount == 0 && _workers.jobCount == 0 && _urgent.jobCount == 0;
    });
}

std::size_t HTTPServer::Impl::stop(std::chrono::milliseconds patience) {
    const std::lock_guard turn(_stopTurn);
    if (!_thread.joinable()) {
        return 0;
    }
    asio::post(_loop, [this] { _finish(); });
    _waitUntilDone(patience);
    std::promise<std::size_t> cutOff;
    asio::post(_loop, [this, &cutOff] { cutOff.set_value(_cutOff()); });
    const std::size_t count = cutOff.get_future().get();
    _workers.pool.join();
    _urgent.pool.join();
    _keepsRunning.reset();
    _thread.join();
    return count + _droppedHandOvers;
}

bool HTTPServer::Impl::makesProgress() {
    const bool hadTurn = !_isTurnAwaited.exchange(true);
    if (hadTurn) {
        asio::post(_loop, [this] { _isTurnAwaited = false; });
    }
    const std::lock_guard lock(_mutex);
    const bool waits = _workers.jobCount > _workers.threadCount;
    const bool worked = std::exchange(_endedJobsBefore, _workers.endedJobs) != _workers.endedJobs;
    return hadTurn && (worked || !waits);
}

HTTPServer::HTTPServer(Options options, Handler handler)
    : _impl(std::make_unique<Impl>(std::move(options), std::move(handler))) {
}

HTTPServer::~HTTPServer() = default;

std::uint16_t HTTPServer::port() const noexcept {
    return _impl->port();
}

std::size_t HTTPServer::connectionCount() const noexcept {
    return _impl->connectionCount();
}

std::size_t HTTPServer::stop(std::chrono::milliseconds patience) {
    return _impl->stop(patience);
}

std::size_t HTTPServer::heldBytes() const noexcept {
    return _impl->heldBytes();
}

bool HTTPServer::makesProgress() {
    return _impl->makesProgress();
}

}  // namespace velm

#include "foundation/subscribers/CSubscriberNetworkConnectionMonitor.h"

#include "foundation/services/ORVLog.h"
#include "foundation/utilities/ORVThread.h"
#include "foundation/utilities/OrvoBaseException.h"
#include "server/subscribers/Settings.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <condition_variable>
#include <exception>
#include <fcntl.h>
#include <mutex>
#include <sys/socket.h>
#include <unistd.h>
#include <unordered_map>
#include <utility>

#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/posix/stream_descriptor.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/steady_timer.hpp>

namespace {

namespace asio = boost::asio;
using boost::system::error_code;
using SubscriberList = ORVSmrPtr<ORVValSlist<ORVSmrPtr<CSubscriber>>>;

constexpr unsigned int defaultSubscriberTimeout = 900;

void logFailure(const ORVString& message) {
    ORVLog::log("CSubscriberNetworkConnectionMonitor::run", message, OrvoTraceLog::SeverityError,
                OrvoTraceLog::VerbosityNormal, 0, ORVLog::CIMOMLOG);
}

ORVString currentFailure() {
    try {
        throw;
    } catch (const OrvoBaseException& failure) {
        return failure.getMessage();
    } catch (const std::exception& failure) {
        return failure.what();
    } catch (...) {
        return "not a known exception";
    }
}

/// Carries out `action`; whatever it throws is logged.
template <class Action>
void attempt(const char* what, Action action) noexcept {
    try {
        action();
    } catch (...) {
        try {
            logFailure(ORVString("An exception occurred while ") + what + ": " + currentFailure());
        } catch (...) {
            // No memory for the line: the failure goes unlogged, the thread goes on.
        }
    }
}

/// Throws away what the peer has sent; false once the peer is gone. Stops after a while so that a peer that
/// never stops sending does not keep the thread from the others.
bool discardInput(int socket) noexcept {
    std::array<char, 16384> bytes;
    for (int turn = 0; turn < 4; ++turn) {
        const ssize_t size = ::recv(socket, bytes.data(), bytes.size(), MSG_DONTWAIT);
        if (size == 0) {
            return false;
        }
        if (size < 0) {
            return errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR;
        }
    }
    return true;
}

/// A subscriber's connection under watch.
///
/// The handle keeps the subscriber's address from being used again and its socket open. What is watched is a
/// duplicate of the socket's descriptor, which stays valid whatever becomes of the original.
struct Channel {
    Channel(asio::io_context& loop, ORVSmrPtr<CSubscriber> watched) : subscriber(watched), socket(loop) {}

    ORVHTTPTransport& transport() const { return *subscriber->getNetworkConnection()->getTransport(); }

    /// Duplicates the descriptor.
    error_code open() {
        const int duplicate = ::fcntl(transport().nativeHandle(), F_DUPFD_CLOEXEC, 0);
        error_code error(duplicate == -1 ? errno : 0, boost::system::system_category());
        if (!error) {
            socket.assign(duplicate, error);
            if (error) {
                ::close(duplicate);
            }
        }
        return error;
    }

    const ORVSmrPtr<CSubscriber> subscriber;
    asio::posix::stream_descriptor socket;
};

bool hasConnection(const ORVSmrPtr<CSubscriber>& subscriber) {
    if (subscriber.IsNull()) {
        return false;
    }
    const auto connection = subscriber->getNetworkConnection();
    return !connection.IsNull() && !connection->getTransport().IsNull();
}

}  // namespace

/// What the monitor and its thread own together.
///
/// None of its own locks is held while it calls the manager: those may be taken under the manager's, never
/// the other way round.
class CSubscriberNetworkConnectionMonitor::Watch : public std::enable_shared_from_this<Watch> {
public:
    Watch(ORVSmrPtr<ISubscriberManager> manager, std::chrono::milliseconds sweepInterval)
        : _manager(manager),
          _maxSubscribers(velm::subscriberSetting("MaxSubscribers", 0)),
          _sweepInterval(sweepInterval),
          _work(_loop.get_executor()),
          _timer(_loop) {}

    bool changed();
    void stop() noexcept;

private:
    class Thread : public ORVThread {
    public:
        explicit Thread(std::weak_ptr<Watch> watch)
            : ORVThread("ConnMonitor", true), _watch(std::move(watch)) {}
        ~Thread() override { endUse(); }

        void execute() override {
            if (const auto watch = _watch.lock()) {
                watch->_run();
            }
        }

    private:
        const std::weak_ptr<Watch> _watch;
    };

    bool _enter();
    void _leave() noexcept;
    void _startThread();
    void _wake();
    bool _hasRoom();

    ISubscriberManager* _callableManager() const noexcept { return _stopped ? nullptr : _manager.Get(); }
    SubscriberList _currentSubscribers() const {
        ISubscriberManager* manager = _callableManager();
        return manager ? manager->getCurrentSubscribers() : nullptr;
    }

    void _run();
    void _rescan();
    void _watch(const ORVSmrPtr<CSubscriber>& subscriber);
    void _await(const std::shared_ptr<Channel>& channel);
    void _examine(const std::shared_ptr<Channel>& channel, const error_code& error);
    void _requestSweep();
    void _sweep();
    void _scheduleSweep();

    const ORVSmrPtr<ISubscriberManager> _manager;
    const unsigned int _maxSubscribers;
    const std::chrono::milliseconds _sweepInterval;

    std::atomic<bool> _stopped{false};
    std::atomic<bool> _isWakePending{false};
    asio::io_context _loop;

    // Guarded by _lock, which is held for moments only. _thread stays as it is once _stopped is set.
    std::mutex _lock;
    std::condition_variable _callerLeft;
    unsigned int _callers = 0;
    std::unique_ptr<Thread> _thread;

    // The thread's own, once it runs. Channels stay until the manager no longer lists their subscriber.
    asio::executor_work_guard<asio::io_context::executor_type> _work;
    asio::steady_timer _timer;
    std::unordered_map<const CSubscriber*, std::shared_ptr<Channel>> _channels;
    bool _isSweepPending = false;
};

bool CSubscriberNetworkConnectionMonitor::Watch::changed() {
    if (!_enter()) {
        return false;
    }
    bool stands = true;
    attempt("waking the connection monitor", [this] {
        _startThread();
        _wake();
    });
    attempt("counting the subscribers", [&] { stands = _hasRoom(); });
    _leave();
    return stands;
}

bool CSubscriberNetworkConnectionMonitor::Watch::_enter() {
    const std::lock_guard lock(_lock);
    if (_stopped) {
        return false;
    }
    ++_callers;
    return true;
}

void CSubscriberNetworkConnectionMonitor::Watch::_leave() noexcept {
    const std::lock_guard lock(_lock);
    --_callers;
    _callerLeft.notify_all();
}

void CSubscriberNetworkConnectionMonitor::Watch::_startThread() {
    const std::lock_guard lock(_lock);
    if (_thread || _stopped) {
        return;
    }
    auto thread = std::make_unique<Thread>(weak_from_this());
    thread->start();
    _thread = std::move(thread);
}

void CSubscriberNetworkConnectionMonitor::Watch::_wake() {
    if (_isWakePending.exchange(true)) {
        return;
    }
    try {
        asio::post(_loop, [this] {
            _isWakePending = false;
            _rescan();
        });
    } catch (...) {
        _isWakePending = false;
        throw;
    }
}

bool CSubscriberNetworkConnectionMonitor::Watch::_hasRoom() {
    if (_maxSubscribers == 0) {
        return true;
    }
    const SubscriberList subscribers = _currentSubscribers();
    return subscribers.IsNull() || subscribers->entries() <= _maxSubscribers;
}

void CSubscriberNetworkConnectionMonitor::Watch::stop() noexcept {
    std::unique_lock lock(_lock);
    _stopped = true;
    lock.unlock();
    _loop.stop();
    if (_loop.get_executor().running_in_this_thread()) {
        return;
    }
    if (_thread) {
        _thread->join();
    }
    lock.lock();
    _callerLeft.wait(lock, [this] { return _callers == 0; });
}

void CSubscriberNetworkConnectionMonitor::Watch::_run() {
    _scheduleSweep();
    while (!_stopped) {
        attempt("watching connections", [this] { _loop.run(); });
    }
    _channels.clear();
}

void CSubscriberNetworkConnectionMonitor::Watch::_rescan() {
    attempt("looking up the subscribers to watch", [this] {
        const SubscriberList subscribers = _currentSubscribers();
        if (subscribers.IsNull()) {
            return;
        }
        auto former = std::exchange(_channels, {});
        for (const ORVSmrPtr<CSubscriber>& subscriber : *subscribers) {
            if (auto known = former.extract(subscriber.Get())) {
                _channels.insert(std::move(known));
            } else if (hasConnection(subscriber) && !_channels.contains(subscriber.Get())) {
                _watch(subscriber);
            }
        }
    });
}

void CSubscriberNetworkConnectionMonitor::Watch::_watch(const ORVSmrPtr<CSubscriber>& subscriber) {
    const auto channel = std::make_shared<Channel>(_loop, subscriber);
    const error_code error = channel->open();
    if (!error) {
        _channels.emplace(subscriber.Get(), channel);
        _await(channel);
    } else if (subscriber->getNetworkConnection()->isClosed()) {
        _channels.emplace(subscriber.Get(), channel);
        _requestSweep();
    } else {
        logFailure("The connection of the subscriber '" + subscriber->getSubscriberID()->toString() +
                   "' cannot be watched: " + error.message().c_str());
    }
}

void CSubscriberNetworkConnectionMonitor::Watch::_await(const std::shared_ptr<Channel>& channel) {
    channel->socket.async_wait(asio::posix::stream_descriptor::wait_read,
                               [this, watched = std::weak_ptr(channel)](const error_code& error) {
                                   if (const auto readable = watched.lock()) {
                                       _examine(readable, error);
                                   }
                               });
}

void CSubscriberNetworkConnectionMonitor::Watch::_examine(const std::shared_ptr<Channel>& channel,
                                                          const error_code& error) {
    if (!error && discardInput(channel->socket.native_handle())) {
        _await(channel);
        return;
    }
    error_code ignored;
    channel->socket.close(ignored);
    channel->transport().close();
    _requestSweep();
}

void CSubscriberNetworkConnectionMonitor::Watch::_requestSweep() {
    // Connections that break together, as when a network goes down, cost one sweep.
    if (!_isSweepPending) {
        asio::post(_loop, [this] { _sweep(); });
        _isSweepPending = true;
    }
}

void CSubscriberNetworkConnectionMonitor::Watch::_sweep() {
    _isSweepPending = false;
    attempt("sweeping subscribers that are out of date", [this] {
        if (ISubscriberManager* manager = _callableManager()) {
            manager->checkSubscriberStatus();
        }
    });
    _rescan();
}

void CSubscriberNetworkConnectionMonitor::Watch::_scheduleSweep() {
    if (_sweepInterval == _sweepInterval.zero()) {
        return;
    }
    _timer.expires_after(_sweepInterval);
    _timer.async_wait([this](const error_code& error) {
        if (!error) {
            _sweep();
            _scheduleSweep();
        }
    });
}

CSubscriberNetworkConnectionMonitor::CSubscriberNetworkConnectionMonitor(
    ORVSmrPtr<ISubscriberManager> subscriberManager)
    : CSubscriberNetworkConnectionMonitor(
          subscriberManager, sweepIntervalFor(std::chrono::seconds(
                                 velm::subscriberSetting("SubscriberTimeout", defaultSubscriberTimeout)))) {
}

CSubscriberNetworkConnectionMonitor::CSubscriberNetworkConnectionMonitor(
    ORVSmrPtr<ISubscriberManager> subscriberManager, std::chrono::milliseconds sweepInterval)
    : _watch(std::make_shared<Watch>(subscriberManager, sweepInterval)) {
}

CSubscriberNetworkConnectionMonitor::~CSubscriberNetworkConnectionMonitor() {
    _watch->stop();
}

void CSubscriberNetworkConnectionMonitor::shutdown() {
    _watch->stop();
}

bool CSubscriberNetworkConnectionMonitor::subscriptionChangeOccured() {
    return _watch->changed();
}

std::chrono::milliseconds CSubscriberNetworkConnectionMonitor::sweepIntervalFor(
    std::chrono::seconds subscriberTimeout) noexcept {
    using namespace std::chrono_literals;
    if (subscriberTimeout <= 0s) {
        return 0ms;
    }
    return std::clamp<std::chrono::milliseconds>(subscriberTimeout / 4, 1s, 60s);
}

#include "velmd/http/Acceptor.h"

#include "velmd/http/ServerLog.h"

#include <cerrno>
#include <chrono>
#include <fcntl.h>
#include <sys/socket.h>
#include <system_error>
#include <utility>

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/steady_timer.hpp>

namespace velm {

namespace {

namespace asio = boost::asio;
using asio::ip::tcp;
using boost::system::error_code;

/// New connections that are taken before those that are open get a turn.
constexpr int acceptBurst = 64;
/// When a connection cannot be accepted, as when not even the reserve has a descriptor left.
constexpr std::chrono::milliseconds acceptPause{100};
/// So many clients can be told at the same time that no descriptor is left.
constexpr std::size_t reserveSize = 16;

Descriptor accept(int listener) {
    return Descriptor(::accept4(listener, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
}

bool isShortage(int error) {
    return error == EMFILE || error == ENFILE;
}

void logFailure(int error) {
    logServerFailure("A connection cannot be accepted", std::generic_category().message(error));
}

}  // namespace

struct Acceptor::Listener {
    /// The acceptor only waits; what its protocol is then does not matter.
    Listener(asio::io_context& loop, Descriptor socket)
        : acceptor(loop, tcp::v4(), socket.get()), pause(loop) {
        socket.release();
    }

    tcp::acceptor acceptor;
    asio::steady_timer pause;
};

struct Acceptor::Client {
    Descriptor socket;
    bool isSpare = false;
    /// Why there is no socket.
    int error = 0;
};

Acceptor::Acceptor(asio::io_context& loop, std::vector<Descriptor> listening, Welcome welcome)
    : _welcome(std::move(welcome)) {
    _reserve.reserve(reserveSize);
    refill();
    for (Descriptor& socket : listening) {
        _await(*_listeners.emplace_back(std::make_unique<Listener>(loop, std::move(socket))));
    }
}

Acceptor::~Acceptor() = default;

void Acceptor::refill() noexcept {
    while (_reserve.size() < reserveSize) {
        Descriptor spare(::open("/dev/null", O_RDONLY | O_CLOEXEC));
        if (!spare) {
            return;
        }
        _reserve.push_back(std::move(spare));
    }
}

void Acceptor::close() {
    for (const auto& listener : _listeners) {
        error_code ignored;
        listener->acceptor.close(ignored);
        listener->pause.cancel();
    }
}

void Acceptor::_await(Listener& listener) {
    listener.acceptor.async_wait(tcp::acceptor::wait_read, [this, &listener](error_code error) {
        if (!error && listener.acceptor.is_open()) {
            _accept(listener);
        }
    });
}

void Acceptor::_accept(Listener& listener) {
    for (int count = 0; count < acceptBurst; ++count) {
        Client client = _next(listener);
        if (client.socket) {
            runServerTask("A connection cannot be served",
                          [&] { _welcome(std::move(client.socket), client.isSpare); });
        } else if (client.error == EAGAIN || client.error == EWOULDBLOCK) {
            break;
        } else if (client.error != ECONNABORTED && client.error != EINTR) {
            logFailure(client.error);
            return _pause(listener);
        }
    }
    _await(listener);
}

/// Whether a client waits at all shows only once there is a descriptor for it.
Acceptor::Client Acceptor::_next(Listener& listener) {
    const int socket = listener.acceptor.native_handle();
    Client client{accept(socket), false, errno};
    if (client.socket || !isShortage(client.error) || _reserve.empty()) {
        return client;
    }
    const int shortage = client.error;
    _reserve.pop_back();
    client = {accept(socket), true, errno};
    if (client.socket) {
        logFailure(shortage);
    } else {
        refill();
    }
    return client;
}

void Acceptor::_pause(Listener& listener) {
    listener.pause.expires_after(acceptPause);
    listener.pause.async_wait([this, &listener](error_code error) {
        if (!error && listener.acceptor.is_open()) {
            refill();
            _accept(listener);
        }
    });
}

}  // namespace velm

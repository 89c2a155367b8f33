#include "velmd/http/Connection.h"

#include "velmd/http/ResponseFraming.h"
#include "velmd/http/ServerLog.h"

#include <algorithm>
#include <array>
#include <fcntl.h>
#include <string_view>
#include <sys/socket.h>
#include <system_error>
#include <utility>

#include <boost/asio/buffer.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/write.hpp>

namespace velm {

namespace {

namespace asio = boost::asio;
using asio::ip::tcp;
using boost::system::error_code;

/// A client that still sends would lose the answer to a reset if the socket was closed under it; this is how
/// long, and for how many bytes, it is waited for.
constexpr std::chrono::milliseconds drainTime{2000};
constexpr std::size_t drainSize = 64 * 1024 * 1024;
/// Of one write, after which its progress is noted.
constexpr std::size_t writeSize = 64 * 1024;
/// Far enough for anybody, and no overflow when added to the clock.
constexpr std::chrono::milliseconds longestTime = std::chrono::hours(24 * 365);

constexpr std::string_view invitation = "HTTP/1.1 100 Continue\r\n\r\n";
constexpr Refusal tooSlow{408, "The request was not complete in time."};
constexpr Refusal tooManyWait{503, "Too many requests are waiting."};
constexpr Refusal tooMuchHeld{503, "The requests and responses under way take too much memory."};
constexpr const char* takesNoAnswer = "it takes nothing of its response";
constexpr const char* takesNothingBefore = "it takes nothing of the responses before its channel";
constexpr const char* holdsMost = "the requests and responses under way take too much memory";

using NameOf = int (*)(int, sockaddr*, socklen_t*);

/// One end of the connection; an unspecified address when it is gone.
tcp::endpoint endpointOf(int socket, NameOf nameOf) {
    tcp::endpoint endpoint;
    auto size = static_cast<socklen_t>(endpoint.capacity());
    return nameOf(socket, endpoint.data(), &size) == 0 ? endpoint : tcp::endpoint();
}

/// Gives the memory back, which an assignment of an empty string would keep.
void release(std::string& text) {
    std::string().swap(text);
}

}  // namespace

struct Connection::Channel {
    Channel(asio::io_context& loop, Descriptor connected)
        : local(endpointOf(connected.get(), ::getsockname)),
          peer(endpointOf(connected.get(), ::getpeername)),
          socket(loop, local.protocol(), connected.get()),
          timer(loop) {
        connected.release();
        socket.non_blocking(true);
        error_code ignored;
        socket.set_option(tcp::no_delay(true), ignored);
    }

    const tcp::endpoint local;
    const tcp::endpoint peer;
    tcp::socket socket;
    asio::steady_timer timer;
};

Connection::Connection(asio::io_context& loop, Descriptor socket, IConnectionOwner& owner)
    : _owner(owner),
      _limits(owner.options().limits),
      _channel(std::make_unique<Channel>(loop, std::move(socket))),
      _held(owner.heldSum()) {
}

Connection::~Connection() = default;

void Connection::start() {
    _awaitRequest();
}

void Connection::refuse(Refusal refusal) {
    logRefused(_peer(), refusal.status, refusal.reason);
    _parser.reset();
    _send(toResponse(refusal), false);
}

void Connection::answer(HTTPResponse response) {
    if (_state != State::handling) {
        return;
    }
    if (response.takeOver) {
        return _beginHandOver(std::move(response.takeOver));
    }
    const std::size_t size = _input.size() + response.body.size();
    const bool isLarger = size > _held.size();
    _held.set(size);
    if (isLarger && !_owner.makeRoomFor(*this)) {
        refuse(tooMuchHeld);
    } else {
        _send(std::move(response), _keepsAlive && !_isFinishing);
    }
}

void Connection::letGo() {
    if (_state == State::receiving) {
        refuse(tooMuchHeld);
    } else {
        _reset(holdsMost);
    }
}

bool Connection::_isAnswering() const {
    return _state == State::handling || _state == State::sending || _state == State::handingOver;
}

void Connection::finish() {
    _isFinishing = true;
    if (!_isAnswering() && !(_state == State::draining && _hasUnreadBytes())) {
        _close();
    }
}

bool Connection::cutOff() {
    const bool isUnanswered = _isAnswering();
    _close();
    return isUnanswered;
}

void Connection::_awaitRequest() {
    _state = State::idle;
    _setDeadline(_limits.idleTimeout);
    _process();
}

void Connection::_awaitBytes() {
    if (std::exchange(_awaitsBytes, true)) {
        return;
    }
    if (_input.empty()) {
        release(_input);
    }
    _channel->socket.async_wait(tcp::socket::wait_read, [self = shared_from_this()](error_code error) {
        self->_awaitsBytes = false;
        if (error) {
            self->_close();
        } else {
            self->_receive();
        }
    });
}

void Connection::_receive() {
    if (_state != State::idle && _state != State::receiving && _state != State::draining) {
        return;
    }
    const std::span<char> buffer = _owner.readBuffer();
    error_code error;
    const std::size_t size = _channel->socket.read_some(asio::buffer(buffer.data(), buffer.size()), error);
    if (error == asio::error::would_block) {
        _awaitBytes();
    } else if (error) {
        _close();
    } else if (_state == State::draining) {
        _dropReceived(size);
    } else {
        _input.append(buffer.data(), size);
        _process();
    }
}

void Connection::_process() {
    if (_state == State::idle) {
        skipEmptyLines(_input);
        if (_input.empty() || _input == "\r") {
            _noteHeld();
            return _awaitBytes();
        }
        _state = State::receiving;
        _isHead = false;
        _setDeadline(_limits.requestTimeout);
        _parser.emplace(_limits);
    }
    _noteHeld();
    if (!_owner.makeRoomFor(*this)) {
        return refuse(tooMuchHeld);
    }
    switch (_parser->advance(_input)) {
        case RequestParser::Step::incomplete:
            return _awaitBytes();
        case RequestParser::Step::bodyFollows:
            return _beginBody();
        case RequestParser::Step::complete:
            return _handle();
        case RequestParser::Step::refused:
            return refuse(_parser->refusal());
    }
}

void Connection::_beginBody() {
    _setDeadline(_limits.requestTimeout);
    if (_parser->expectsContinue()) {
        _invite();
    } else {
        _process();
    }
}

void Connection::_invite() {
    _state = State::inviting;
    asio::async_write(_channel->socket, asio::buffer(invitation),
                      [self = shared_from_this()](error_code error, std::size_t) {
                          if (error) {
                              self->_close();
                          } else if (self->_state == State::inviting) {
                              self->_state = State::receiving;
                              self->_process();
                          }
                      });
}

void Connection::_handle() {
    _state = State::handling;
    _channel->timer.cancel();
    HTTPRequest request = _parser->takeRequest();
    _isHead = request.method == "HEAD";
    _isHTTP10 = _parser->isHTTP10();
    _keepsAlive = _parser->isKeptAlive();
    request.localAddress = _channel->local.address().to_string();
    request.localPort = _channel->local.port();
    request.peerAddress = _peer();
    _parser.reset();
    if (!_owner.handle(shared_from_this(), std::move(request))) {
        refuse(tooManyWait);
    }
}

void Connection::_beginHandOver(std::function<void(int)> takeOver) {
    _state = State::handingOver;
    release(_input);
    _noteHeld();
    _handOver = std::make_unique<HandOver>(_channel->socket.native_handle(), _limits.writeTimeout,
                                           std::move(takeOver));
    _goOnHandingOver();
}

void Connection::_goOnHandingOver() {
    switch (_handOver->look()) {
        case HandOver::Step::ready:
            return _handOverNow();
        case HandOver::Step::wait:
            return _setDeadline(_handOver->pause());
        case HandOver::Step::stalled:
            return _reset(takesNothingBefore);
        case HandOver::Step::broken:
            return _close();
    }
}

void Connection::_handOverNow() {
    error_code error;
    Descriptor socket(_channel->socket.release(error));
    const int flags = ::fcntl(socket.get(), F_GETFL);
    if (!error && flags >= 0 && ::fcntl(socket.get(), F_SETFL, flags & ~O_NONBLOCK) == 0) {
        _owner.handOver(std::move(socket), _handOver->takeFunction());
    }
    _close();
}

void Connection::_send(HTTPResponse response, bool keepsAlive) {
    _state = State::sending;
    _keepsAlive = keepsAlive;
    const Persistence persistence = !keepsAlive ? Persistence::close
                                    : _isHTTP10 ? Persistence::announcedKeepAlive
                                                : Persistence::keepAlive;
    _head = makeHead(response, persistence, _owner.options().name, std::chrono::system_clock::now());
    if (isBodySent(response.status, _isHead)) {
        _body = std::move(response.body);
    }
    _noteHeld();
    const auto noteProgress = [self = shared_from_this()](error_code error, std::size_t) {
        if (!error && self->_state == State::sending) {
            self->_setDeadline(self->_limits.writeTimeout);
        }
        return error ? 0 : writeSize;
    };
    const std::array<asio::const_buffer, 2> bytes{asio::buffer(_head), asio::buffer(_body)};
    asio::async_write(_channel->socket, bytes, noteProgress,
                      [self = shared_from_this()](error_code error, std::size_t) {
                          if (error) {
                              self->_close();
                          } else if (self->_state == State::sending) {
                              self->_finishSending();
                          }
                      });
}

void Connection::_finishSending() {
    release(_head);
    release(_body);
    if (_keepsAlive && !_isFinishing) {
        _awaitRequest();
    } else {
        _drain();
    }
}

void Connection::_drain() {
    _state = State::draining;
    _parser.reset();
    const bool wasUnread = !_input.empty();
    release(_input);
    _noteHeld();
    if (_isFinishing && !wasUnread && !_hasUnreadBytes()) {
        return _close();
    }
    error_code ignored;
    _channel->socket.shutdown(tcp::socket::shutdown_send, ignored);
    _setDeadline(std::min(_limits.requestTimeout, drainTime));
    _awaitBytes();
}

void Connection::_dropReceived(std::size_t size) {
    _drainedSize += size;
    if (_drainedSize > drainSize) {
        _close();
    } else {
        _awaitBytes();
    }
}

/// While the owner has the request, what it took counts on.
void Connection::_noteHeld() {
    _held.set(_input.size() + (_parser ? _parser->heldSize() : 0) + _head.size() + _body.size());
}

std::string Connection::_peer() const {
    return _channel->peer.address().to_string();
}

bool Connection::_hasUnreadBytes() const {
    error_code error;
    return _channel->socket.available(error) > 0;
}

void Connection::_setDeadline(std::chrono::milliseconds fromNow) {
    auto& timer = _channel->timer;
    timer.expires_after(std::min(fromNow, longestTime));
    timer.async_wait([self = shared_from_this()](error_code error) {
        const bool isDue = self->_channel->timer.expiry() <= asio::steady_timer::clock_type::now();
        if (!error && isDue) {
            self->_onDeadline();
        }
    });
}

void Connection::_onDeadline() {
    switch (_state) {
        case State::receiving:
            return refuse(tooSlow);
        case State::sending:
            return _reset(takesNoAnswer);
        case State::handingOver:
            return _goOnHandingOver();
        case State::handling:
            return;
        default:
            return _close();
    }
}

/// A plain close would leave the kernel to go on offering the answer to a client that does not take it.
void Connection::_reset(const char* reason) {
    logReset(_peer(), reason);
    error_code ignored;
    _channel->socket.set_option(tcp::socket::linger(true, 0), ignored);
    _close();
}

void Connection::_close() {
    if (std::exchange(_state, State::closed) == State::closed) {
        return;
    }
    error_code ignored;
    _channel->socket.close(ignored);
    _channel->timer.cancel();
    _parser.reset();
    _held.set(0);
    _owner.forget(shared_from_this());
}

}  // namespace velm

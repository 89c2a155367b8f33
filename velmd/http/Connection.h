#pragma once

#include "velmd/http/Descriptor.h"
#include "velmd/http/HTTPServer.h"
#include "velmd/http/HandOver.h"
#include "velmd/http/HeldBytes.h"
#include "velmd/http/Refusal.h"
#include "velmd/http/RequestParser.h"

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>

namespace boost::asio {
class io_context;
}

namespace velm {

class Connection;

/// What a connection asks of its server. Called on the loop's thread only.
class IConnectionOwner {
public:
    virtual ~IConnectionOwner() = default;

    virtual const HTTPServer::Options& options() const = 0;
    /// Memory for the bytes of one read, the same for all connections: nothing stays in it.
    virtual std::span<char> readBuffer() = 0;
    /// Has the request answered: the answer goes to Connection::answer. False when too many requests wait.
    virtual bool handle(std::shared_ptr<Connection> connection, HTTPRequest request) = 0;
    /// The sum of what the connections hold, to which each adds its own.
    virtual HeldBytes& heldSum() = 0;
    /// Lets others go that hold more than this connection, until the sum is within the limit. False when
    /// that is not enough: it should go itself.
    virtual bool makeRoomFor(const Connection& connection) = 0;
    /// Has the function called on a worker with the socket, which blocks.
    virtual void handOver(Descriptor socket, std::function<void(int)> takeOver) = 0;
    /// The connection is closed or handed over.
    virtual void forget(const std::shared_ptr<Connection>& connection) = 0;
};

/// One client's connection: reads a request, has it answered, writes the answer, and so on. The next request
/// is read when the answer to the last one is written, so that a client costs the memory of one request, and
/// next to none while it is idle.
///
/// Threads: the loop's only, construction and destruction included (a destruction may also come when the
/// loop's thread has ended). Ownership: the server holds it until it is forgotten; the loop and the owner
/// must outlive it. Failure: the constructor throws std::system_error when the loop cannot watch the socket;
/// later a connection that fails is closed and forgotten.
class Connection : public std::enable_shared_from_this<Connection> {
public:
    Connection(boost::asio::io_context& loop, Descriptor socket, IConnectionOwner& owner);
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;
    ~Connection();

    /// Serves the client. Called once; or refuse() is.
    void start();
    /// Tells the client why it is not served, and closes.
    void refuse(Refusal refusal);

    /// The answer to the request that the owner was given. Nothing happens when the connection is closed.
    /// Requires: flawOf() found nothing.
    void answer(HTTPResponse response);

    /// What the client's request or response takes, in bytes.
    std::size_t heldSize() const noexcept { return _held.size(); }
    /// Whether its request is coming in or its answer going out.
    bool canBeLetGo() const noexcept { return _state == State::receiving || _state == State::sending; }
    /// Gives up the request or the answer, because too much is held. Requires: canBeLetGo().
    void letGo();

    /// Closes, when a request is complete after its answer.
    void finish();
    /// Closes at once; true when this leaves a request without its answer.
    bool cutOff();

private:
    enum class State {
        idle,         ///< Between two requests.
        receiving,    ///< A request has begun.
        inviting,     ///< Its body is being asked for.
        handling,     ///< It is complete and the owner has it.
        sending,      ///< An answer is being written.
        handingOver,  ///< The socket goes when the client has acknowledged the answers before.
        draining,     ///< The last answer is written; what still comes is dropped until the client closes.
        closed,
    };
    struct Channel;

    void _awaitRequest();
    void _awaitBytes();
    void _receive();
    void _process();
    void _beginBody();
    void _invite();
    void _handle();
    void _beginHandOver(std::function<void(int)> takeOver);
    void _goOnHandingOver();
    void _handOverNow();
    void _send(HTTPResponse response, bool keepsAlive);
    void _finishSending();
    void _drain();
    void _dropReceived(std::size_t size);
    bool _hasUnreadBytes() const;
    bool _isAnswering() const;
    void _noteHeld();
    std::string _peer() const;
    void _setDeadline(std::chrono::milliseconds fromNow);
    void _onDeadline();
    void _reset(const char* reason);
    void _close();

    IConnectionOwner& _owner;
    const HTTPLimits& _limits;
    const std::unique_ptr<Channel> _channel;
    State _state = State::idle;
    bool _awaitsBytes = false;
    bool _isFinishing = false;
    // Of the request that is being received or answered.
    bool _isHead = false;
    bool _isHTTP10 = false;
    bool _keepsAlive = false;
    std::optional<RequestParser> _parser;
    /// What is not parsed yet.
    std::string _input;
    std::string _head;
    std::string _body;
    HeldBytes::Share _held;
    std::unique_ptr<HandOver> _handOver;
    std::size_t _drainedSize = 0;
};

}  // namespace velm

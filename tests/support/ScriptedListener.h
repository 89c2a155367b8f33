#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <list>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace velm::test {

/// What a ScriptedListener does with one connection: read a request, write `bytes`, then end as `end` says.
struct Answer {
    enum class End {
        close,  ///< Close at once.
        reset,  ///< Close with a TCP reset.
        hang,   ///< Stay silent until the peer closes, release() or stop().
    };
    enum class Reading {
        wholeRequest,  ///< Head and, by its Content-Length, body.
        headOnly,      ///< What comes behind the head stays unread.
        nothing,       ///< The connection is accepted and never read; it is not counted as a request.
    };

    std::string bytes;
    End end = End::close;
    Reading reading = Reading::wholeRequest;
    /// Above 0: `bytes` are written one by one, with this pause after each.
    std::chrono::milliseconds pauseAfterByte{0};
};

/// An HTTP response of one `body`: status line, Content-Type, Content-Length and `moreHeaders` (lines ended
/// by CRLF).
std::string httpResponse(std::string_view body, std::string_view statusLine = "HTTP/1.1 200 OK",
                         std::string_view moreHeaders = {});

/// A CIM-XML message with an EXPMETHODRESPONSE that holds `content`.
std::string exportResponse(std::string_view content);

/// RETURNVALUE 0: the indication was taken.
Answer goodAnswer();
/// RETURNVALUE `value`, any text.
Answer returnValueAnswer(std::string_view value);
/// Neither RETURNVALUE nor ERROR, as standard listeners answer.
Answer emptyAnswer();
/// ERROR CODE="1" with this description, which is written as it stands.
Answer errorAnswer(std::string_view description);
/// `bytes`, then a close.
Answer rawAnswer(std::string_view bytes);
/// Reads a request and stays silent.
Answer hangingAnswer();
/// Reads a request and resets the connection.
Answer resettingAnswer();
/// Reads a request and closes without an answer.
Answer closingAnswer();

/// An HTTP listener on a port that the kernel chose, which answers by script and remembers what it was sent.
///
/// The n-th connection gets the n-th answer given to queueAnswer(), connections beyond them the default one.
/// A connection carries one request. Connections are served side by side.
///
/// Threads: any. The destructor stops the listener and waits for its threads, hanging ones included.
class ScriptedListener {
public:
    struct Request {
        std::string head;  ///< Request line and header lines, the empty line included.
        std::string body;
    };

    /// How long the waiting operations wait where the caller says nothing.
    static constexpr std::chrono::milliseconds patience{10000};

    /// Listens on `address`, an IPv4 or IPv6 literal of this machine.
    explicit ScriptedListener(Answer defaultAnswer = goodAnswer(), const std::string& address = "127.0.0.1");
    ScriptedListener(const ScriptedListener&) = delete;
    ScriptedListener& operator=(const ScriptedListener&) = delete;
    ~ScriptedListener();

    const std::string& address() const { return _address; }
    const std::string& port() const { return _port; }

    void setDefaultAnswer(Answer answer);
    void queueAnswer(Answer answer);

    /// Waits until at least `count` requests are in; false when they are not by the deadline.
    bool waitForRequests(std::size_t count, std::chrono::milliseconds deadline = patience) const;
    /// Waits until at least `count` connections were accepted.
    bool waitForConnections(std::size_t count, std::chrono::milliseconds deadline = patience) const;
    /// Waits until at least `count` connections were closed by the peer while their answer hung.
    bool waitForPeerCloses(std::size_t count, std::chrono::milliseconds deadline = patience) const;

    std::size_t requestCount() const;
    /// The requests so far, in the order in which they were complete.
    std::vector<Request> requests() const;
    std::size_t connectionCount() const;

    /// Ends every hanging connection, now and from now on.
    void release();

    /// Refuses new connections and ends all others. Called by the destructor; may be called twice.
    void stop();

private:
    struct Connection {
        int socket;
        Answer answer;
        bool finished = false;
        std::thread thread;
    };

    void _accept();
    void _serve(Connection& connection);
    bool _readRequest(const Connection& connection);
    void _writeAnswer(const Connection& connection);
    void _hang(const Connection& connection);
    bool _pause(std::chrono::milliseconds duration);
    Answer _nextAnswer();
    void _joinFinished();

    template <class Condition>
    bool _wait(std::chrono::milliseconds deadline, Condition condition) const;

    const std::string _address;
    int _socket;
    std::string _port;

    mutable std::mutex _mutex;
    mutable std::condition_variable _changed;
    // All below: guarded by _mutex.
    Answer _defaultAnswer;
    std::deque<Answer> _queuedAnswers;
    std::vector<Request> _requests;
    std::list<Connection> _connections;
    std::size_t _connectionCount = 0;
    std::size_t _peerCloseCount = 0;
    bool _released = false;
    bool _stopped = false;

    std::thread _acceptor;
};

/// A port of this machine on which nobody listens, kept from others as long as this object lives.
class RefusingPort {
public:
    explicit RefusingPort(const std::string& address = "127.0.0.1");
    RefusingPort(const RefusingPort&) = delete;
    RefusingPort& operator=(const RefusingPort&) = delete;
    ~RefusingPort();

    const std::string& port() const { return _port; }

private:
    int _socket;
    std::string _port;
};

}  // namespace velm::test

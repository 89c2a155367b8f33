#pragma once

#include "velmd/http/HTTPServer.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

namespace velm::test {

/// Options for a server on a port of 127.0.0.1 that the kernel chooses.
HTTPServer::Options loopbackOptions();

/// Answers with the method, the target and the body, a space between them.
HTTPResponse echo(const HTTPRequest& request);

/// A response as the server named "velmd" frames it, its date masked as TestClient does. `moreHeaders` are
/// whole lines and stand where the handler's headers stand, `connection` behind the rest.
std::string responseBytes(std::string_view status, std::string_view body, std::string_view connection = "",
                          std::string_view moreHeaders = "");
/// The same for a refusal: a text of one line, and a close; with 503 also when to come again.
std::string refusalBytes(std::string_view status, std::string_view reason);

/// A client that a test drives byte by byte. One thread at a time. Receiving gives up after ten seconds.
class TestClient {
public:
    enum class Ending { open, closed, reset };

    explicit TestClient(std::uint16_t port, const std::string& address = "127.0.0.1");
    /// One whose kernel takes next to nothing that is not received, in segments as small as can be.
    static TestClient withoutRoom(std::uint16_t port);
    TestClient(const TestClient&) = delete;
    TestClient(TestClient&& other) noexcept;
    TestClient& operator=(TestClient&& other) noexcept;
    ~TestClient();

    /// False when the connection is gone.
    bool send(std::string_view bytes);
    /// Sends one byte after the other until an answer is there to be received.
    void trickle(char byte, std::chrono::milliseconds pause);

    /// The next response, as long as its Content-Length says, dates masked; what there is when the connection
    /// ends or falls silent first. The head only for the answer to a HEAD.
    std::string receive(bool hasBody = true);
    /// The next `size` bytes.
    std::string receiveBytes(std::size_t size);
    /// All until the connection ends, dates masked.
    std::string receiveAll();
    /// How the connection was when receiving came to its end.
    Ending ending() const { return _ending; }

    /// Waits until something can be received, also an end. False when not within ten seconds.
    bool waitForBytes() const;
    bool hasBytes(std::chrono::milliseconds patience) const;
    /// Waits for a reset without receiving anything.
    bool waitForReset() const;

    std::uint16_t localPort() const;
    void endSending();
    void close();
    /// Closes with a TCP reset, which also leaves no port waiting.
    void reset();

private:
    enum class Room { usual, none };
    TestClient(std::uint16_t port, const std::string& address, Room room);

    bool _receiveSome();

    int _socket;
    std::string _received;
    Ending _ending = Ending::open;
};

/// Looks again and again, for ten seconds, until the condition holds; answers whether it came to hold.
bool eventually(const std::function<bool()>& condition);

}  // namespace velm::test

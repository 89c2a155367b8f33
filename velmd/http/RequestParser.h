#pragma once

#include "velmd/http/HTTPServer.h"
#include "velmd/http/Refusal.h"

#include <memory>
#include <string>

namespace velm {

/// Takes one request out of the bytes that a client sends, strictly: what two readers could understand in two
/// ways is refused, and nothing is kept beyond the limits.
///
/// Threads: one at a time. Ownership: the limits must outlive the parser.
class RequestParser {
public:
    enum class Step {
        incomplete,   ///< More bytes are needed.
        bodyFollows,  ///< Once: the head is complete and is followed by a body. Go on.
        complete,     ///< The request can be taken.
        refused,      ///< See refusal(); no further bytes can be understood.
    };

    explicit RequestParser(const HTTPLimits& limits);
    RequestParser(RequestParser&&) noexcept;
    RequestParser& operator=(RequestParser&&) noexcept;
    ~RequestParser();

    /// Takes what belongs to the request off the front of `input`, which holds all that came since the last
    /// call behind what that call left. Requires: the request is neither complete nor refused.
    Step advance(std::string& input);

    /// What has been taken off the input and is kept.
    std::size_t heldSize() const;

    /// Requires: the last step was `refused`.
    const Refusal& refusal() const;

    /// Whether the client waits to be told to send the body. Requires: the head is complete.
    bool expectsContinue() const;
    /// Whether the client wants to go on on this connection after the answer. Requires: the head is complete.
    bool isKeptAlive() const;
    bool isHTTP10() const;

    /// The request without the addresses. Requires: the last step was `complete`.
    HTTPRequest takeRequest();

private:
    class Impl;
    std::unique_ptr<Impl> _impl;
};

/// Takes off the empty lines that some clients send between two requests.
void skipEmptyLines(std::string& input);

}  // namespace velm

#pragma once

#include "velmctl/client/HostPort.h"

#include <chrono>
#include <string>
#include <vector>

namespace velm {

/// What a listener did with one export message.
struct ProbeResult {
    enum class Verdict {
        accepted,      ///< 200, and a method response without an error.
        refused,       ///< A method response with an error or another return value than 0.
        badStatus,     ///< Another HTTP status than 200.
        noResponse,    ///< 200, and a body that is no method response.
        noAnswer,      ///< No answer in time, or none that is HTTP.
        noConnection,  ///< Nobody listens there, or the connection could not be made in time.
    };

    Verdict verdict = Verdict::noConnection;
    /// The verdict in words, with the listener's own where it gave any.
    std::string explanation;

    /// The document that was sent.
    std::string sent;
    /// Empty when nothing came.
    std::string statusLine;
    /// As they came, without their line ends.
    std::vector<std::string> headerLines;
    /// The attribute ID of the message that was answered; empty when there is none.
    std::string messageID;
    std::chrono::milliseconds time{0};
};

/// Sends one indication, the creation of an instance of VELM_ListenerTest, to a listener on this machine, in
/// the way in which the server delivers, and judges the answer. `patience` is for connecting and for the
/// answer, each. The message has the ID 1.
///
/// Any thread. Failure: ClientError (unresolved, notLocal).
ProbeResult probeListener(const HostPort& listener, const std::string& path,
                          std::chrono::milliseconds patience);

}  // namespace velm

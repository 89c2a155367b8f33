#pragma once

#include <stdexcept>
#include <string>

namespace velm {

/// Why a server or a listener was not reached, or did not do what it was asked. The text is one line; what()
/// quotes what the peer said.
class ClientError : public std::runtime_error {
public:
    /// By what the caller can do next.
    enum class Kind {
        badAddress,    ///< Write the address in another way.
        unresolved,    ///< Name another host: this one is not known.
        notLocal,      ///< Name an address of this machine: nothing else is connected to.
        noServer,      ///< Start the server: nobody listens there.
        noAnswer,      ///< Look at the server: it is silent, or closed the connection.
        noCIMServer,   ///< Name another port: something else listens there.
        unknownPage,   ///< Look at the server's version: it does not have what was asked for.
        refused,       ///< Change the request: the server said no. See status().
        cannotListen,  ///< Choose another port or address to listen on.
    };

    ClientError(Kind kind, const std::string& message, int status = 0)
        : std::runtime_error(message), _kind(kind), _status(status) {}

    Kind kind() const noexcept { return _kind; }

    /// The CIM status code of a refusal (DSP0200); 0 when there was none.
    int status() const noexcept { return _status; }

private:
    Kind _kind;
    int _status;
};

}  // namespace velm

#pragma once

#include "examples/listener/ExportMessage.h"

#include <functional>
#include <memory>

/// An HTTP server that receives export messages (DSP0200) on a loopback address and answers each with a
/// method response, or with CIM status 1 when it cannot read it.
///
/// Threads: run() serves one connection after the other on the calling thread. Failure: the constructor
/// throws std::system_error; what a peer does wrong ends that connection only.
class ExportListener {
public:
    using Receive = std::function<void(const ExportMessage&)>;

    /// Port 0 lets the kernel choose.
    ExportListener(const std::string& address, unsigned short port, Receive receive);
    ~ExportListener();

    unsigned short port() const;

    /// Serves until the process ends.
    [[noreturn]] void run();

private:
    struct State;
    std::unique_ptr<State> _state;
};

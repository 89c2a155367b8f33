#pragma once

#include "velmctl/client/ExportMessage.h"
#include "velmctl/client/HostPort.h"

#include <functional>
#include <memory>
#include <string>

namespace velm {

/// An HTTP server that receives export messages (DSP0200) on a loopback address and answers each with a
/// method response, or with CIM status 1 when it cannot read it.
///
/// Threads: run() serves on the calling thread, connections side by side, and calls `receive` and `complain`
/// there; stop() may be called on any thread. Failure: the constructor throws ClientError
/// (cannotListen); what a peer does wrong ends that connection only, and `complain` is told.
class ExportListener {
public:
    using Receive = std::function<void(const ExportMessage&)>;
    using Complain = std::function<void(const std::string&)>;

    /// `address` is a literal; port 0 lets the kernel choose.
    ExportListener(const HostPort& address, Receive receive, Complain complain);
    ExportListener(const ExportListener&) = delete;
    ExportListener& operator=(const ExportListener&) = delete;
    ~ExportListener();

    /// Address and port, the latter as the kernel chose it.
    const HostPort& address() const noexcept;

    /// Serves until stop() is called.
    void run();

    /// Takes no further connection; run() returns when those that are open are served, in a second at the
    /// most.
    void stop();

private:
    struct State;
    std::unique_ptr<State> _state;
};

}  // namespace velm

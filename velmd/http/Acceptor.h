#pragma once

#include "velmd/http/Descriptor.h"

#include <functional>
#include <memory>
#include <vector>

namespace boost::asio {
class io_context;
}

namespace velm {

/// Takes in the clients of listening sockets. A few descriptors are kept in reserve: when the process has no
/// other left, a client is taken in on one of them so that it can be told, instead of waiting for nothing.
///
/// Threads: the loop's only, but for construction before the loop runs. Ownership: the loop must outlive it,
/// and so must what the function refers to.
class Acceptor {
public:
    /// What becomes of a client. `isSpare`: its descriptor is of the reserve; it should go soon, and
    /// refill() be called then.
    using Welcome = std::function<void(Descriptor socket, bool isSpare)>;

    Acceptor(boost::asio::io_context& loop, std::vector<Descriptor> listening, Welcome welcome);
    Acceptor(const Acceptor&) = delete;
    Acceptor& operator=(const Acceptor&) = delete;
    ~Acceptor();

    /// Fills the reserve up, as far as the process has descriptors. Cheap when it is full.
    void refill() noexcept;
    /// Listens no more. May be called twice.
    void close();

private:
    struct Listener;
    struct Client;

    void _await(Listener& listener);
    void _accept(Listener& listener);
    Client _next(Listener& listener);
    void _pause(Listener& listener);

    const Welcome _welcome;
    std::vector<std::unique_ptr<Listener>> _listeners;
    std::vector<Descriptor> _reserve;
};

}  // namespace velm

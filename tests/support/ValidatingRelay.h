#pragma once

#include "tests/support/ResponseReader.h"

#include <cstddef>
#include <cstdint>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <vector>

namespace velm::test {

/// Stands between the daemon and clients that are programs of their own: it passes every byte on, notes which
/// methods are called and validates each response.
///
/// Threads: any. The destructor closes all connections and waits for its threads. Failure: the test fails
/// when a response is not valid, or is not whole when its connection ends; std::system_error from the
/// constructor.
class ValidatingRelay {
public:
    /// Listens on a port of 127.0.0.1 that the kernel chooses, for the daemon on port `target`.
    explicit ValidatingRelay(std::uint16_t target);
    ValidatingRelay(const ValidatingRelay&) = delete;
    ValidatingRelay& operator=(const ValidatingRelay&) = delete;
    ~ValidatingRelay();

    std::uint16_t port() const { return _port; }

    /// Responses that were passed on and validated so far.
    std::size_t responseCount() const;
    /// What stood in the CIMMethod headers so far, sorted, each once.
    std::set<std::string> methods() const;

private:
    void _accept();
    void _serve(int client);
    void _validate(ResponseReader& responses);
    void _noteMethods(const std::string& requests);

    const std::uint16_t _target;
    int _socket;
    std::uint16_t _port;

    mutable std::mutex _lock;
    // All below: guarded by _lock.
    std::size_t _responseCount = 0;
    std::set<std::string> _methods;
    std::set<int> _clients;
    std::vector<std::thread> _threads;

    std::thread _acceptor;
};

}  // namespace velm::test

#pragma once

#include "benchmarks/peers/Sockets.h"
#include "benchmarks/peers/Tally.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <sys/types.h>
#include <vector>

/// The other side: processes that take deliveries with raw sockets.
namespace velm::bench {

/// A core for those that may run on any.
inline constexpr int anyCore = -1;

/// A child process that runs one function on one core. The destructor ends it.
class PeerProcess {
public:
    PeerProcess(int core, const std::function<void()>& body);
    PeerProcess(const PeerProcess&) = delete;
    PeerProcess& operator=(const PeerProcess&) = delete;
    ~PeerProcess();

private:
    pid_t _child = -1;
};

/// Listeners for export requests: read a request to its end, answer it, close first.
class Listeners {
public:
    Listeners(int core, std::size_t count);

    std::uint16_t port(std::size_t index = 0) const { return portOf(_sockets.at(index)); }
    Tally& tally(std::size_t index = 0) const { return _tallies[index]; }
    std::size_t size() const { return _sockets.size(); }

private:
    std::vector<Socket> _sockets;
    std::shared_ptr<Tally[]> _tallies;
    std::unique_ptr<PeerProcess> _process;
};

/// Readers of persistent channels, one for each connection given.
class ChannelReaders {
public:
    ChannelReaders(int core, std::vector<Socket> connections);

    Tally& tally(std::size_t index = 0) const { return _tallies[index]; }

private:
    std::shared_ptr<Tally[]> _tallies;
    std::unique_ptr<PeerProcess> _process;
};

/// The answer of the listeners: HTTP head and a document of about 400 bytes.
const std::string& listenerAnswer();
/// Its document alone.
const std::string& listenerAnswerBody();

}  // namespace velm::bench

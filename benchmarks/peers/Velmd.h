#pragma once

#include "benchmarks/peers/Sockets.h"

#include <cstdint>
#include <filesystem>
#include <string>
#include <sys/types.h>
#include <utility>
#include <vector>

namespace velm::bench {

/// The daemon with one provider, in a process of its own, and requests to it.
///
/// Used by one thread. The destructor kills the daemon. Failure: std::runtime_error with what it said.
class Velmd {
public:
    /// Starts `program` with its state and its log in `folder`, which is also what the provider, "burst", is
    /// given as argument; waits until it serves.
    Velmd(const std::filesystem::path& program, const std::filesystem::path& provider,
          const std::filesystem::path& folder);
    Velmd(const Velmd&) = delete;
    Velmd& operator=(const Velmd&) = delete;
    ~Velmd();

    using Parameters = std::vector<std::pair<std::string, std::string>>;

    /// One request on a connection, which stays open. Throws unless it was answered without an error.
    Socket call(const std::string& method, const Parameters& parameters);

private:
    std::string _log() const;
    void _awaitServing();

    const std::filesystem::path _logFile;
    pid_t _process = -1;
    std::uint16_t _port = 0;
};

}  // namespace velm::bench

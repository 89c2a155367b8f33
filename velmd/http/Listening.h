#pragma once

#include "velmd/http/Descriptor.h"

#include <cstdint>
#include <string>
#include <vector>

namespace velm {

/// Sockets that listen and do not block, and the port that they share.
struct Listening {
    std::vector<Descriptor> sockets;
    std::uint16_t port = 0;
};

/// Listens on every address; with port 0 on a port that the kernel chooses and that is free on all of them.
/// An IPv6 address that this machine has not is left out with a line in the log while another one works.
///
/// Threads: any. Failure: std::invalid_argument that names what is no literal of a loopback address, and
/// std::system_error that names what cannot be listened on.
Listening listenOn(const std::vector<std::string>& addresses, std::uint16_t port);

}  // namespace velm

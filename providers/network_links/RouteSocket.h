#pragma once

#include "providers/network_links/RouteMessages.h"

#include <cstddef>
#include <map>
#include <string>
#include <vector>

namespace velm::network_links {

/// A socket of rtnetlink(7) in the network namespace of the thread that makes it. Used by one thread.
/// Failure: everything throws std::system_error that says what could not be done.
class RouteSocket {
public:
    /// `groups` are those to hear of (RTMGRP_LINK and so on); 0 for a socket that asks.
    explicit RouteSocket(unsigned int groups);
    RouteSocket(const RouteSocket&) = delete;
    RouteSocket& operator=(const RouteSocket&) = delete;
    ~RouteSocket();

    /// Readable when there is something to receive. Takes the requests of ethtool, too.
    int descriptor() const { return _descriptor; }

    enum Reception {
        nothing,
        received,
        /// The kernel dropped messages. Go on until there is nothing: only from then on does it tell again.
        lost
    };
    /// Takes the next datagram of the kernel's, without waiting, into `messages`.
    Reception receive(RouteMessages& messages);

    /// Asks for a list (RTM_GETLINK, RTM_GETADDR) and waits for all of it, for some seconds at the most.
    RouteMessages list(unsigned short request);

private:
    void _ask(unsigned short request) const;
    /// The size of the next datagram, 0 when there is none.
    std::size_t _receive(int flags);

    const int _descriptor;
    std::vector<std::byte> _buffer;
};

/// All links and addresses at one moment.
struct NetworkState {
    std::map<int, Link> links;
    std::map<AddressKey, Address> addresses;
};

/// Asks the kernel. Throws std::system_error.
NetworkState readNetworkState();

}  // namespace velm::network_links

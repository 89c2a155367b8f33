#include "providers/network_links/RouteSocket.h"

#include <algorithm>
#include <cerrno>
#include <iterator>
#include <span>
#include <sys/socket.h>
#include <sys/time.h>
#include <system_error>
#include <unistd.h>

#include <linux/netlink.h>
#include <linux/rtnetlink.h>

namespace velm::network_links {

namespace {

constexpr std::size_t largestDatagram = 64 * 1024;
constexpr int receiveQueue = 1024 * 1024;
constexpr timeval answerPatience{5, 0};
constexpr int listAttempts = 10;

[[noreturn]] void raise(int error, const char* what) {
    throw std::system_error(error, std::generic_category(), what);
}

sockaddr_nl addressOf(unsigned int groups) {
    sockaddr_nl address{};
    address.nl_family = AF_NETLINK;
    address.nl_groups = groups;
    return address;
}

}  // namespace

RouteSocket::RouteSocket(unsigned int groups)
    : _descriptor(socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_ROUTE)), _buffer(largestDatagram) {
    const sockaddr_nl address = addressOf(groups);
    if (_descriptor < 0 ||
        bind(_descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address) < 0 ||
        setsockopt(_descriptor, SOL_SOCKET, SO_RCVTIMEO, &answerPatience, sizeof answerPatience) < 0) {
        const int error = errno;
        ::close(_descriptor);
        raise(error, "cannot listen to the kernel's network messages");
    }
    if (setsockopt(_descriptor, SOL_SOCKET, SO_RCVBUFFORCE, &receiveQueue, sizeof receiveQueue) < 0) {
        setsockopt(_descriptor, SOL_SOCKET, SO_RCVBUF, &receiveQueue, sizeof receiveQueue);
    }
}

RouteSocket::~RouteSocket() {
    ::close(_descriptor);
}

std::size_t RouteSocket::_receive(int flags) {
    while (true) {
        sockaddr_nl sender{};
        iovec part{_buffer.data(), _buffer.size()};
        msghdr message{};
        message.msg_name = &sender;
        message.msg_namelen = sizeof sender;
        message.msg_iov = &part;
        message.msg_iovlen = 1;
        const ssize_t size = recvmsg(_descriptor, &message, flags);
        if (size < 0 && errno == EINTR) {
            continue;
        }
        if (size < 0 && errno == EAGAIN) {
            return 0;
        }
        if (size < 0) {
            raise(errno, "cannot receive the kernel's network messages");
        }
        if ((message.msg_flags & MSG_TRUNC) != 0) {
            raise(ENOBUFS, "a network message of the kernel was too long");
        }
        if (sender.nl_pid == 0 && size > 0) {  // Another process may send here; only the kernel counts.
            return static_cast<std::size_t>(size);
        }
    }
}

RouteSocket::Reception RouteSocket::receive(RouteMessages& messages) {
    try {
        const std::size_t size = _receive(MSG_DONTWAIT);
        if (size == 0) {
            return nothing;
        }
        messages = readRouteMessages(std::span(_buffer).first(size));
        return messages.isComplete ? received : lost;
    } catch (const std::system_error& failure) {
        if (failure.code() != std::errc::no_buffer_space) {
            throw;
        }
        return lost;
    }
}

void RouteSocket::_ask(unsigned short request) const {
    struct {
        nlmsghdr header;
        rtgenmsg body;
    } message{};
    message.header.nlmsg_len = NLMSG_LENGTH(sizeof message.body);
    message.header.nlmsg_type = request;
    message.header.nlmsg_flags = NLM_F_REQUEST | NLM_F_DUMP;
    message.body.rtgen_family = AF_UNSPEC;
    const sockaddr_nl kernel = addressOf(0);
    if (sendto(_descriptor, &message, sizeof message, 0, reinterpret_cast<const sockaddr*>(&kernel),
               sizeof kernel) < 0) {
        raise(errno, "cannot ask the kernel for the network's state");
    }
}

RouteMessages RouteSocket::list(unsigned short request) {
    _ask(request);
    RouteMessages all;
    while (true) {
        const std::size_t size = _receive(0);
        if (size == 0) {
            raise(ETIMEDOUT, "the kernel does not answer with the network's state");
        }
        RouteMessages part = readRouteMessages(std::span(_buffer).first(size));
        if (!part.isComplete) {
            raise(EPROTO, "the kernel's answer with the network's state is malformed");
        }
        all.isInterrupted |= part.isInterrupted;
        std::ranges::move(part.events, std::back_inserter(all.events));
        if (const auto* end = all.events.empty() ? nullptr : std::get_if<AnswerEnd>(&all.events.back())) {
            if (end->error != 0) {
                raise(end->error, "the kernel does not tell the network's state");
            }
            return all;
        }
    }
}

NetworkState readNetworkState() {
    for (int attempt = 0; attempt < listAttempts; ++attempt) {
        RouteSocket socket(0);
        RouteMessages links = socket.list(RTM_GETLINK);
        RouteMessages addresses = socket.list(RTM_GETADDR);
        if (links.isInterrupted || addresses.isInterrupted) {
            continue;
        }
        NetworkState state;
        for (RouteEvent& event : links.events) {
            if (auto* link = std::get_if<Link>(&event)) {
                state.links.emplace(link->index, std::move(*link));
            }
        }
        for (RouteEvent& event : addresses.events) {
            if (auto* address = std::get_if<Address>(&event)) {
                state.addresses.emplace(address->key, *address);
            }
        }
        return state;
    }
    raise(EAGAIN, "the network changes faster than it can be read");
}

}  // namespace velm::network_links

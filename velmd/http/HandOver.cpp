#include "velmd/http/HandOver.h"

#include "velmd/http/HTTPServer.h"

#include <algorithm>
#include <limits>
#include <sys/ioctl.h>
#include <sys/socket.h>

#include <linux/sockios.h>

namespace velm {

namespace {

using std::chrono::milliseconds;

/// With thousands of clients that take nothing, the looking must not take the thread's time.
constexpr milliseconds longestPause{500};
/// Of the kernel's own count, in which a byte of small segments weighs several times.
constexpr int leastSendBuffer = 8 * HTTPResponse::unblockedBytes;

int optionOf(int socket, int name, int fallback) {
    int value = 0;
    socklen_t size = sizeof value;
    return ::getsockopt(socket, SOL_SOCKET, name, &value, &size) == 0 ? value : fallback;
}

bool isBroken(int socket) {
    return optionOf(socket, SO_ERROR, -1) != 0;
}

void makeRoom(int socket) {
    if (optionOf(socket, SO_SNDBUF, leastSendBuffer) < leastSendBuffer) {
        ::setsockopt(socket, SOL_SOCKET, SO_SNDBUF, &leastSendBuffer, sizeof leastSendBuffer);
    }
}

}  // namespace

HandOver::HandOver(int socket, milliseconds patience, Function takeOver)
    : _socket(socket),
      _patience(patience),
      _takeOver(std::move(takeOver)),
      _unacknowledged(std::numeric_limits<std::size_t>::max()) {
}

HandOver::Step HandOver::look() {
    int size = 0;
    if (isBroken(_socket) || ::ioctl(_socket, SIOCOUTQ, &size) != 0) {
        return Step::broken;
    }
    const auto unacknowledged = static_cast<std::size_t>(size);
    if (unacknowledged == 0) {
        makeRoom(_socket);
        return Step::ready;
    }
    const auto now = Clock::now();
    if (unacknowledged < _unacknowledged) {
        _unacknowledged = unacknowledged;
        _deadline = now + _patience;
    }
    return now < _deadline ? Step::wait : Step::stalled;
}

milliseconds HandOver::pause() {
    const auto left = std::chrono::ceil<milliseconds>(_deadline - Clock::now());
    const milliseconds pause = std::clamp(left, milliseconds(1), _pause);
    _pause = std::min(2 * _pause, longestPause);
    return pause;
}

}  // namespace velm

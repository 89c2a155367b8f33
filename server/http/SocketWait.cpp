#include "server/http/SocketWait.h"

#include <cerrno>
#include <poll.h>

namespace velm {

bool waitUntilReady(int socket, short events, const Deadline& deadline) {
    for (;;) {
        pollfd watched{socket, events, 0};
        const int count = ::poll(&watched, 1, deadline.pollTimeout());
        if (count > 0 || (count < 0 && errno != EINTR)) {
            return true;
        }
        if (count == 0 && deadline.hasPassed()) {
            return false;
        }
    }
}

}  // namespace velm

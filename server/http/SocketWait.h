#pragma once

#include "server/http/Deadline.h"

namespace velm {

/// Waits until `socket` is ready for `events` of poll(2), or broken; false when the deadline passed first.
/// Any thread.
bool waitUntilReady(int socket, short events, const Deadline& deadline);

}  // namespace velm

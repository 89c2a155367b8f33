#include "velmctl/commands/SessionOptions.h"

#include "velmctl/commands/CommandLineMistake.h"

#include <algorithm>
#include <limits>
#include <unistd.h>

#include <CLI/CLI.hpp>

namespace velm {

void SessionOptions::declare(CLI::App& command) {
    command.add_option("--session", _session, "Session number; default: the process's own")
        ->type_name("N")
        ->check(numberFrom(0, std::numeric_limits<unsigned int>::max()));
    command
        .add_option("--heartbeat", _heartbeat,
                    "Seconds between two heartbeats, each of which is a look at the daemon; default: 20")
        ->type_name("SECONDS")
        ->check(numberFrom(1, 86400));
}

unsigned int SessionOptions::number() const {
    return _session ? *_session : static_cast<unsigned int>(::getpid());
}

std::chrono::milliseconds SessionOptions::patience() const {
    return std::clamp(interval(), std::chrono::seconds(2), std::chrono::seconds(5));
}

}  // namespace velm

#pragma once

namespace velm {

/// How the program ends; documented in docs/velmctl.md, and scripts rely on the numbers.
struct ExitCode {
    static constexpr int done = 0;
    static constexpr int failed = 1;        ///< Anything without a number of its own.
    static constexpr int usage = 2;         ///< The command line is not allowed.
    static constexpr int unreachable = 3;   ///< The daemon was not reached, or is none.
    static constexpr int refused = 4;       ///< The daemon said no.
    static constexpr int cannotListen = 5;  ///< The listener's address or port is not to be had.
    static constexpr int channelBroke = 6;  ///< The channel ended before velmctl did.
    static constexpr int notAccepted = 7;   ///< A listener did not accept the test indication.
    static constexpr int otherVersion = 8;  ///< The daemon is of another version.
    static constexpr int unhealthy = 9;     ///< status: the daemon, or the subscriber named, is not well.
};

}  // namespace velm

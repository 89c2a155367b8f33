#pragma once

#include "velmctl/client/FaceClient.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace velm {

/// Reads the indications log of a server line by line, as it grows.
///
/// Used by one thread; the client must outlive it. Failure: as FaceClient; one that fails can be repeated.
class LogReader {
public:
    explicit LogReader(const FaceClient& client) : _client(client) {}

    /// The last `count` lines, as far as they stand in the last part of the log; from then on more() has what
    /// is behind them. A line that is not yet whole is the last one.
    std::vector<std::string> last(std::size_t count);

    struct More {
        std::vector<std::string> lines;
        /// The log was shorter than what was read of it before: it was cleared, and lines are those since.
        bool wasCleared = false;
    };
    /// The lines that were finished since.
    More more();

private:
    void _take(const FaceClient::LogPart& part, std::vector<std::string>& lines);

    const FaceClient& _client;
    std::uint64_t _read = 0;
    /// The beginning of a line whose end is not yet written.
    std::string _unfinished;
};

}  // namespace velm

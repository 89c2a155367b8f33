#pragma once

#include "benchmarks/limits/ReusedParser.h"
#include "benchmarks/world/Events.h"

#include <cstdint>
#include <string>

namespace velm::bench {

/// A delivery at its plainest: a socket, a document appended to a string, one send, the answer read to the
/// peer's close and parsed by one reused parser. No deadlines, no checks, no log.
class RawSender {
public:
    explicit RawSender(std::uint16_t port);

    void deliver(const FullEventText& event);

private:
    const std::uint16_t _port;
    const std::string _head;
    ReusedParser _parser;
    std::string _body;
    std::string _message;
    std::uint64_t _messageID = 0;
};

}  // namespace velm::bench

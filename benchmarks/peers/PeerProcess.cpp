#include "benchmarks/peers/PeerProcess.h"

#include "benchmarks/harness/Placement.h"

#include <array>
#include <cerrno>
#include <charconv>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>

#include <fmt/format.h>

namespace velm::bench {

namespace {

constexpr std::size_t bufferSize = std::size_t{256} * 1024;

/// Where the request that starts with `head` ends; 0 while its head is not complete.
std::size_t requestSize(std::string_view head) {
    constexpr std::string_view end = "\r\n\r\n";
    constexpr std::string_view length = "Content-Length: ";
    const std::size_t headEnd = head.find(end);
    if (headEnd == std::string_view::npos) {
        return 0;
    }
    std::size_t body = 0;
    const std::size_t found = head.substr(0, headEnd).find(length);
    if (found != std::string_view::npos) {
        std::from_chars(head.data() + found + length.size(), head.data() + headEnd, body);
    }
    return headEnd + end.size() + body;
}

void serveOne(const Socket& listening, Tally& tally, std::vector<char>& buffer) {
    const Socket connection(::accept4(listening.get(), nullptr, nullptr, SOCK_CLOEXEC));
    std::size_t received = 0;
    std::size_t wanted = 0;
    while (wanted == 0 || received < wanted) {
        const std::size_t more =
            receive(connection.get(), buffer.data() + received, buffer.size() - received);
        if (more == 0) {
            return;
        }
        received += more;
        wanted = requestSize({buffer.data(), received});
    }
    tally.note({buffer.data(), received});
    sendAll(connection.get(), listenerAnswer());
}

std::vector<pollfd> watched(const std::vector<Socket>& sockets) {
    std::vector<pollfd> entries;
    for (const Socket& socket : sockets) {
        entries.push_back({socket.get(), POLLIN, 0});
    }
    return entries;
}

void listenForever(const std::vector<Socket>& sockets, Tally* tallies) {
    std::vector<char> buffer(bufferSize);
    std::vector<pollfd> entries = watched(sockets);
    for (;;) {
        // A single listener waits in accept() itself.
        if (sockets.size() > 1 && ::poll(entries.data(), entries.size(), -1) < 0) {
            continue;
        }
        for (std::size_t index = 0; index < sockets.size(); ++index) {
            if (sockets.size() == 1 || entries[index].revents != 0) {
                serveOne(sockets[index], tallies[index], buffer);
            }
        }
    }
}

/// Splits what comes on one channel into messages.
class ChannelReader {
public:
    ChannelReader() : _buffer(bufferSize) {}

    /// False at the end of the connection.
    bool read(int socket, Tally& tally) {
        const std::size_t more = receive(socket, _buffer.data() + _held, _buffer.size() - _held);
        _held += more;
        std::string_view unread(_buffer.data(), _held);
        for (std::size_t end = unread.find(_end); end != std::string_view::npos; end = unread.find(_end)) {
            tally.note(unread.substr(0, end));
            unread.remove_prefix(end + _end.size());
        }
        std::copy(unread.begin(), unread.end(), _buffer.begin());
        _held = unread.size();
        return more != 0;
    }

private:
    static constexpr std::string_view _end = "</CIM>";

    std::vector<char> _buffer;
    std::size_t _held = 0;
};

void readForever(const std::vector<Socket>& connections, Tally* tallies) {
    std::vector<ChannelReader> readers(connections.size());
    std::vector<pollfd> entries = watched(connections);
    for (;;) {
        if (connections.size() > 1 && ::poll(entries.data(), entries.size(), -1) < 0) {
            continue;
        }
        for (std::size_t index = 0; index < connections.size(); ++index) {
            const bool isReady = connections.size() == 1 || entries[index].revents != 0;
            if (isReady && !readers[index].read(connections[index].get(), tallies[index])) {
                return;
            }
        }
    }
}

}  // namespace

PeerProcess::PeerProcess(int core, const std::function<void()>& body) {
    std::fflush(nullptr);
    _child = ::fork();
    if (_child < 0) {
        throw std::system_error(errno, std::generic_category(), "fork");
    }
    if (_child == 0) {
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);
        try {
            if (core != anyCore) {
                pinThread(core);
            }
            body();
        } catch (const std::exception& failure) {
            std::fprintf(stderr, "a peer of the benchmark failed: %s\n", failure.what());
        }
        std::_Exit(0);
    }
}

PeerProcess::~PeerProcess() {
    ::kill(_child, SIGKILL);
    ::waitpid(_child, nullptr, 0);
}

Listeners::Listeners(int core, std::size_t count) : _tallies(shareTallies(count)) {
    for (std::size_t index = 0; index < count; ++index) {
        _sockets.push_back(listenOnLoopback());
    }
    _process = std::make_unique<PeerProcess>(core, [this] { listenForever(_sockets, _tallies.get()); });
}

ChannelReaders::ChannelReaders(int core, std::vector<Socket> connections)
    : _tallies(shareTallies(connections.size())) {
    _process = std::make_unique<PeerProcess>(core, [&] { readForever(connections, _tallies.get()); });
}

const std::string& listenerAnswerBody() {
    static const std::string body =
        "<?xml version=\"1.0\" encoding=\"utf-8\" ?>\n"
        "<CIM CIMVERSION=\"2.0\" DTDVERSION=\"2.0\">\n"
        "  <MESSAGE ID=\"1001\" PROTOCOLVERSION=\"1.0\">\n"
        "    <SIMPLEEXPRSP>\n"
        "      <EXPMETHODRESPONSE NAME=\"ExportIndication\">\n"
        "        <RETURNVALUE PARAMTYPE=\"uint32\">\n"
        "          <VALUE>0</VALUE>\n"
        "        </RETURNVALUE>\n"
        "      </EXPMETHODRESPONSE>\n"
        "    </SIMPLEEXPRSP>\n"
        "  </MESSAGE>\n"
        "</CIM>\n";
    return body;
}

const std::string& listenerAnswer() {
    static const std::string answer = fmt::format(
        "HTTP/1.1 200 OK\r\n"
        "Content-Type: application/xml; charset=\"utf-8\"\r\n"
        "CIMExport: MethodResponse\r\n"
        "Connection: close\r\n"
        "Content-Length: {}\r\n\r\n{}",
        listenerAnswerBody().size(), listenerAnswerBody());
    return answer;
}

}  // namespace velm::bench

#include "benchmarks/limits/RawSender.h"

#include "benchmarks/limits/AppendRendering.h"
#include "benchmarks/peers/Sockets.h"

#include <array>
#include <string_view>

namespace velm::bench {

namespace {

std::string headFor(std::uint16_t port) {
    return "POST /indication HTTP/1.1\r\n"
           "Host: 127.0.0.1:" +
           std::to_string(port) +
           "\r\n"
           "Content-Type: application/xml; charset=utf-8\r\n"
           "CIMExport: MethodRequest\r\n"
           "CIMExportMethod: ExportIndication\r\n"
           "Connection: close\r\n"
           "Content-Length: ";
}

}  // namespace

RawSender::RawSender(std::uint16_t port) : _port(port), _head(headFor(port)) {
}

void RawSender::deliver(const FullEventText& event) {
    const Socket connection = connectTo(_port);
    _body.clear();
    appendDocument(event, std::to_string(++_messageID), "20261120153342.000000+000", _body);
    _message.assign(_head);
    _message += std::to_string(_body.size());
    _message += "\r\n\r\n";
    _message += _body;
    sendAll(connection.get(), _message);

    std::array<char, 8192> answer;
    std::size_t size = 0;
    while (const std::size_t more = receive(connection.get(), answer.data() + size, answer.size() - size)) {
        size += more;
    }
    const std::string_view text(answer.data(), size);
    _parser.parse(text.substr(text.find("\r\n\r\n") + 4));
}

}  // namespace velm::bench

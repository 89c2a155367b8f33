#include "server/http/HTTPIStreamBuffer.h"

#include "foundation/utilities/OrvoBaseException.h"
#include "server/http/ResponseHead.h"

#include <algorithm>
#include <cstdint>
#include <utility>

#include <boost/asio/buffer.hpp>
#include <boost/asio/error.hpp>
#include <boost/beast/http/read.hpp>
#include <fmt/format.h>

namespace {

namespace asio = boost::asio;
namespace http = boost::beast::http;
using boost::beast::error_code;

constexpr std::size_t maxHeadSize = std::size_t{64} * 1024;
constexpr std::size_t receiveSize = std::size_t{4} * 1024;
/// What an unusually long head took is given back.
constexpr std::size_t keptCapacity = std::size_t{16} * 1024;

/// The transport as Beast reads from it. Failures of the network pass through Beast as exceptions.
class ReadStream {
public:
    explicit ReadStream(ORVHTTPTransport& transport) : _transport(transport) {}

    template <class Buffers>
    std::size_t read_some(const Buffers& buffers, error_code& error) {
        const asio::mutable_buffer target = *asio::buffer_sequence_begin(buffers);
        const std::size_t size = _transport.receive(static_cast<char*>(target.data()), target.size());
        error = size == 0 ? error_code(asio::error::eof) : error_code();
        return size;
    }

    template <class Buffers>
    std::size_t read_some(const Buffers& buffers) {
        error_code error;
        const std::size_t size = read_some(buffers, error);
        if (error) {
            throw boost::system::system_error(error);
        }
        return size;
    }

private:
    ORVHTTPTransport& _transport;
};

bool isEarlyEnd(error_code error) {
    return error == http::error::partial_message || error == http::error::end_of_stream;
}

}  // namespace

ORVGenericHTTPIStream::Buffer::~Buffer() {
    _input.clear();
    if (_input.capacity() > keptCapacity) {
        _input.shrink_to_fit();
    }
}

ORVGenericHTTPIStream::Buffer::Head ORVGenericHTTPIStream::Buffer::readHead() {
    setg(nullptr, nullptr, nullptr);
    _parser.reset();
    const std::string_view received = _awaitHead();
    const std::string head = velm::repairHead(received);
    _input.consume(received.size());
    _parser.emplace();
    _parser->header_limit(static_cast<std::uint32_t>(head.size() + 1));
    _parser->body_limit(boost::none);
    error_code error;
    _parser->put(asio::buffer(head), error);
    if (!_parser->is_header_done()) {
        _parser.reset();
        _fail("head", error.message());
    }
    return std::move(_parser->get().base());
}

/// All of a head, which stays at the start of what is pending.
std::string_view ORVGenericHTTPIStream::Buffer::_awaitHead() {
    std::size_t searched = 0;
    for (;;) {
        const std::size_t size = velm::findEndOfHead(_pending(), searched);
        if (!velm::mayStartStatusLine(_pending())) {
            _fail("head", "it does not begin with a status line");
        }
        if (std::min(size, _pending().size()) > maxHeadSize) {
            _fail("head", fmt::format("it is longer than {} bytes", maxHeadSize));
        }
        if (size != std::string_view::npos) {
            return _pending().substr(0, size);
        }
        searched = _pending().size();
        if (!_receiveMore()) {
            _fail("head", searched == 0 ? "the connection was closed without an answer"
                                        : "the connection ended early");
        }
    }
}

std::string_view ORVGenericHTTPIStream::Buffer::_pending() const {
    return {static_cast<const char*>(_input.data().data()), _input.size()};
}

/// False when the peer has closed its side.
bool ORVGenericHTTPIStream::Buffer::_receiveMore() {
    const asio::mutable_buffer target = _input.prepare(receiveSize);
    const std::size_t size = _transport.receive(static_cast<char*>(target.data()), target.size());
    _input.commit(size);
    return size > 0;
}

/// The number of bytes of the body that were read; 0 at its end.
std::size_t ORVGenericHTTPIStream::Buffer::_readBody() {
    ReadStream stream(_transport);
    http::buffer_body::value_type& body = _parser->get().body();
    body.data = _body.data();
    body.size = _body.size();
    while (!_parser->is_done() && body.size == _body.size()) {
        error_code error;
        http::read_some(stream, _input, *_parser, error);
        if (error && error != http::error::need_buffer) {
            _fail("body", isEarlyEnd(error) ? "the connection ended early" : error.message());
        }
    }
    return _body.size() - body.size;
}

ORVGenericHTTPIStream::Buffer::int_type ORVGenericHTTPIStream::Buffer::underflow() {
    const std::size_t size = _parser ? _readBody() : 0;
    setg(_body.data(), _body.data(), _body.data() + size);
    return size == 0 ? traits_type::eof() : traits_type::to_int_type(_body.front());
}

void ORVGenericHTTPIStream::Buffer::_fail(std::string_view part, std::string_view problem) const {
    throw ORVNetException("ORVGenericHTTPIStream",
                          ORVString(fmt::format("Reading the {} of the answer from {} failed: {}", part,
                                                _transport.getPeer().view(), problem)));
}

#pragma once

#include "foundation/http/ORVGenericHTTPIStream.h"
#include "server/http/KeptMemory.h"

#include <array>
#include <cstddef>
#include <optional>
#include <streambuf>
#include <string>
#include <string_view>

#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/http/buffer_body.hpp>
#include <boost/beast/http/parser.hpp>

/// What stands behind an ORVGenericHTTPIStream: a response is begun by readHead() and its body is then what
/// the stream yields. Used by one thread, with one transport, which must outlive it. Reading throws
/// ORVNetException.
class ORVGenericHTTPIStream::Buffer : public std::streambuf {
public:
    using Head = boost::beast::http::response_header<>;

    explicit Buffer(ORVHTTPTransport& transport) : _transport(transport) {}
    ~Buffer() override;

    /// Reads the next head, 1xx included.
    /// Requires: the body of the response before was read to its end.
    Head readHead();

protected:
    int_type underflow() override;

private:
    using Parser = boost::beast::http::response_parser<boost::beast::http::buffer_body>;

    std::string_view _pending() const;
    bool _receiveMore();
    std::string_view _awaitHead();
    std::size_t _readBody();
    [[noreturn]] void _fail(std::string_view part, std::string_view problem) const;

    /// Framing is read whole: one line that describes a chunk, or all trailers, must fit.
    static constexpr std::size_t _maxInput = std::size_t{256} * 1024;

    struct Blocks {
        boost::beast::flat_buffer input{_maxInput};
        /// Nearly all answers fit.
        std::array<char, 4096> body;
    };

    ORVHTTPTransport& _transport;
    velm::KeptMemory<Blocks> _kept;
    boost::beast::flat_buffer& _input = _kept->input;
    std::array<char, 4096>& _body = _kept->body;
    std::optional<Parser> _parser;
};

#pragma once

#include <ostream>
#include <string>
#include <string_view>
#include <vector>

namespace velm::test {

/// Bytes that are no request, and what the client is told. The parser's and the server's tests run through
/// them.
struct RefusedRequest {
    const char* name;
    std::string_view bytes;
    const char* status;
    const char* reason;
};

inline void PrintTo(const RefusedRequest& request, std::ostream* out) {
    *out << request.name;
}

namespace refused {

inline constexpr const char* ambiguous = "The headers are at odds about the length of the body.";
inline constexpr const char* badField = "A header line does not begin with a name and a colon.";
inline constexpr const char* badValue = "The value of a header is malformed.";
inline constexpr const char* badLineEnding = "A carriage return is not followed by a line feed.";
inline constexpr const char* badTarget = "The target is missing or malformed.";
inline constexpr const char* badMethod = "The method is malformed.";
inline constexpr const char* badChunks = "The chunks of the body are malformed.";
inline constexpr const char* folded = "A header line is folded.";
inline constexpr const char* noVersion = "The request line does not end in a version of HTTP.";
inline constexpr const char* otherVersion = "HTTP/1.0 and HTTP/1.1 are the versions that are spoken here.";
inline constexpr const char* otherEncoding = "The only transfer coding that is understood is chunked.";
inline constexpr const char* noHost = "The Host header is missing.";
inline constexpr const char* manyHosts = "There is more than one Host header.";
inline constexpr const char* badHost = "The Host header is no host and port.";
inline constexpr const char* badRequest = "400 Bad Request";
inline constexpr const char* notImplemented = "501 Not Implemented";
inline constexpr const char* version = "505 HTTP Version Not Supported";

}  // namespace refused

using namespace std::string_view_literals;

/// Every one is refused for good as soon as its last byte is there.
inline const std::vector<RefusedRequest> refusedRequests{
    {"LengthAndEncoding",
     "POST / HTTP/1.1\r\nHost: a\r\nContent-Length: 5\r\nTransfer-Encoding: chunked\r\n\r\n"sv,
     refused::badRequest, refused::ambiguous},
    {"EncodingAndLength",
     "POST / HTTP/1.1\r\nHost: a\r\nTransfer-Encoding: chunked\r\nContent-Length: 5\r\n\r\n"sv,
     refused::badRequest, refused::ambiguous},
    {"OtherEncodingAndLength",
     "POST / HTTP/1.1\r\nHost: a\r\nTransfer-Encoding: gzip\r\nContent-Length: 5\r\n\r\n"sv,
     refused::badRequest, refused::ambiguous},
    {"TwoLengths", "POST / HTTP/1.1\r\nHost: a\r\nContent-Length: 5\r\nContent-Length: 6\r\n\r\n"sv,
     refused::badRequest, refused::ambiguous},
    {"TwoLengthsInOneLine", "POST / HTTP/1.1\r\nHost: a\r\nContent-Length: 5, 6\r\n\r\n"sv,
     refused::badRequest, refused::ambiguous},
    {"EmptyLength", "POST / HTTP/1.1\r\nHost: a\r\nContent-Length:\r\n\r\n"sv, refused::badRequest,
     refused::ambiguous},
    {"SignedLength", "POST / HTTP/1.1\r\nHost: a\r\nContent-Length: +5\r\n\r\n"sv, refused::badRequest,
     refused::ambiguous},
    {"NegativeLength", "POST / HTTP/1.1\r\nHost: a\r\nContent-Length: -5\r\n\r\n"sv, refused::badRequest,
     refused::ambiguous},
    {"HexadecimalLength", "POST / HTTP/1.1\r\nHost: a\r\nContent-Length: 0x5\r\n\r\n"sv, refused::badRequest,
     refused::ambiguous},
    {"LengthAbove64Bits", "POST / HTTP/1.1\r\nHost: a\r\nContent-Length: 18446744073709551616\r\n\r\n"sv,
     refused::badRequest, refused::ambiguous},
    {"OtherEncoding", "POST / HTTP/1.1\r\nHost: a\r\nTransfer-Encoding: gzip\r\n\r\n"sv,
     refused::notImplemented, refused::otherEncoding},
    {"EncodingBeforeChunked", "POST / HTTP/1.1\r\nHost: a\r\nTransfer-Encoding: gzip, chunked\r\n\r\n"sv,
     refused::notImplemented, refused::otherEncoding},
    {"EncodingAfterChunked", "POST / HTTP/1.1\r\nHost: a\r\nTransfer-Encoding: chunked, identity\r\n\r\n"sv,
     refused::notImplemented, refused::otherEncoding},
    {"ChunkedTwiceInOneLine", "POST / HTTP/1.1\r\nHost: a\r\nTransfer-Encoding: chunked, chunked\r\n\r\n"sv,
     refused::notImplemented, refused::otherEncoding},
    {"EncodingsInTwoLines",
     "POST / HTTP/1.1\r\nHost: a\r\nTransfer-Encoding: gzip\r\nTransfer-Encoding: chunked\r\n\r\n"sv,
     refused::notImplemented, refused::otherEncoding},
    {"ChunkedTwice",
     "POST / HTTP/1.1\r\nHost: a\r\nTransfer-Encoding: chunked\r\nTransfer-Encoding: chunked\r\n\r\n"sv,
     refused::badRequest, refused::ambiguous},
    {"EmptyEncoding", "POST / HTTP/1.1\r\nHost: a\r\nTransfer-Encoding:\r\n\r\n"sv, refused::notImplemented,
     refused::otherEncoding},
    {"QuotedEncoding", "POST / HTTP/1.1\r\nHost: a\r\nTransfer-Encoding: \"chunked\"\r\n\r\n"sv,
     refused::notImplemented, refused::otherEncoding},
    {"EncodingWithVerticalTab", "POST / HTTP/1.1\r\nHost: a\r\nTransfer-Encoding: \vchunked\r\n\r\n"sv,
     refused::badRequest, refused::badValue},
    {"EncodingInHTTP10", "POST / HTTP/1.0\r\nTransfer-Encoding: chunked\r\n\r\n"sv, refused::badRequest,
     "HTTP/1.0 has no Transfer-Encoding."},
    {"SpaceBeforeColon", "POST / HTTP/1.1\r\nHost: a\r\nContent-Length : 5\r\n\r\n"sv, refused::badRequest,
     refused::badField},
    {"TabBeforeColon", "POST / HTTP/1.1\r\nHost: a\r\nContent-Length\t: 5\r\n\r\n"sv, refused::badRequest,
     refused::badField},
    {"NoColon", "GET / HTTP/1.1\r\nHost: a\r\nabc\r\n\r\n"sv, refused::badRequest, refused::badField},
    {"EmptyName", "GET / HTTP/1.1\r\nHost: a\r\n: b\r\n\r\n"sv, refused::badRequest, refused::badField},
    {"SpaceBeforeFirstHeader", "GET / HTTP/1.1\r\n Host: a\r\n\r\n"sv, refused::badRequest,
     refused::badField},
    {"FoldedValue", "GET / HTTP/1.1\r\nHost: a\r\nX: b\r\n c\r\n\r\n"sv, refused::badRequest,
     refused::folded},
    {"FoldedByTab", "GET / HTTP/1.1\r\nHost: a\r\nX: b\r\n\tc\r\n\r\n"sv, refused::badRequest,
     refused::folded},
    {"FoldedEncoding", "POST / HTTP/1.1\r\nHost: a\r\nTransfer-Encoding:\r\n chunked\r\n\r\n"sv,
     refused::badRequest, refused::folded},
    {"CarriageReturnInValue", "GET / HTTP/1.1\r\nHost: a\r\nX: b\rContent-Length: 5\r\n\r\n"sv,
     refused::badRequest, refused::badLineEnding},
    {"CarriageReturnInName", "GET / HTTP/1.1\r\nHost: a\r\nX\rY: b\r\n\r\n"sv, refused::badRequest,
     refused::badField},
    {"LineFeedInValue", "GET / HTTP/1.1\r\nHost: a\r\nX: b\nContent-Length: 5\r\n\r\n"sv, refused::badRequest,
     refused::badValue},
    {"LineFeedsOnly", "GET / HTTP/1.1\nHost: a\n\n\r\n\r\n"sv, refused::badRequest, refused::noVersion},
    {"NulInValue", "GET / HTTP/1.1\r\nHost: a\r\nX: b\0c\r\n\r\n"sv, refused::badRequest, refused::badValue},
    {"NulInName", "GET / HTTP/1.1\r\nHost: a\r\nX\0: b\r\n\r\n"sv, refused::badRequest, refused::badField},
    {"DeleteInValue", "GET / HTTP/1.1\r\nHost: a\r\nX: b\x7F\r\n\r\n"sv, refused::badRequest,
     refused::badValue},
    {"ControlInTarget", "GET /\x01 HTTP/1.1\r\nHost: a\r\n\r\n"sv, refused::badRequest, refused::badTarget},
    {"NulInTarget", "GET /\0 HTTP/1.1\r\nHost: a\r\n\r\n"sv, refused::badRequest, refused::badTarget},
    {"TabInTarget", "GET /\ta HTTP/1.1\r\nHost: a\r\n\r\n"sv, refused::badRequest, refused::badTarget},
    {"SpaceInTarget", "GET /a b HTTP/1.1\r\nHost: a\r\n\r\n"sv, refused::badRequest, refused::noVersion},
    {"TwoSpacesBeforeTarget", "GET  / HTTP/1.1\r\nHost: a\r\n\r\n"sv, refused::badRequest,
     refused::badTarget},
    {"NoTarget", "GET\r\nHost: a\r\n\r\n"sv, refused::badRequest, refused::badMethod},
    {"NoVersion", "GET /\r\nHost: a\r\n\r\n"sv, refused::badRequest, refused::badTarget},
    {"SpaceAfterVersion", "GET / HTTP/1.1 \r\nHost: a\r\n\r\n"sv, refused::badRequest, refused::noVersion},
    {"LowerCaseVersion", "GET / http/1.1\r\nHost: a\r\n\r\n"sv, refused::badRequest, refused::noVersion},
    {"OtherProtocol", "GET / RTSP/1.0\r\nHost: a\r\n\r\n"sv, refused::badRequest, refused::noVersion},
    {"MethodWithControl", "GE\x02T / HTTP/1.1\r\nHost: a\r\n\r\n"sv, refused::badRequest, refused::badMethod},
    {"SpaceBeforeMethod", " GET / HTTP/1.1\r\nHost: a\r\n\r\n"sv, refused::badRequest, refused::badMethod},
    {"LineFeedBeforeMethod", "\nGET / HTTP/1.1\r\nHost: a\r\n\r\n"sv, refused::badRequest,
     refused::badMethod},
    {"TLSHandshake", "\x16\x03\x01\x02\x00\x01\x00\x01\xfc\x03\x03"sv, refused::badRequest,
     refused::badMethod},
    {"HTTP2Preface", "PRI * HTTP/2.0\r\n\r\nSM\r\n\r\n"sv, refused::version, refused::otherVersion},
    {"HTTP20", "GET / HTTP/2.0\r\nHost: a\r\n\r\n"sv, refused::version, refused::otherVersion},
    {"HTTP12", "GET / HTTP/1.2\r\nHost: a\r\n\r\n"sv, refused::version, refused::otherVersion},
    {"HTTP09", "GET / HTTP/0.9\r\nHost: a\r\n\r\n"sv, refused::version, refused::otherVersion},
    {"NoHost", "GET / HTTP/1.1\r\n\r\n"sv, refused::badRequest, refused::noHost},
    {"TwoHosts", "GET / HTTP/1.1\r\nHost: a\r\nhost: a\r\n\r\n"sv, refused::badRequest, refused::manyHosts},
    {"TwoHostsInHTTP10", "GET / HTTP/1.0\r\nHost: a\r\nHost: b\r\n\r\n"sv, refused::badRequest,
     refused::manyHosts},
    {"ListOfHosts", "GET / HTTP/1.1\r\nHost: a, b\r\n\r\n"sv, refused::badRequest, refused::badHost},
    {"OtherExpectation", "POST / HTTP/1.1\r\nHost: a\r\nExpect: gold\r\nContent-Length: 1\r\n\r\n"sv,
     "417 Expectation Failed", "The only expectation that is met is 100-continue."},
    {"SecondExpectation",
     "POST / HTTP/1.1\r\nHost: a\r\nExpect: 100-continue\r\nExpect: gold\r\nContent-Length: 1\r\n\r\n"sv,
     "417 Expectation Failed", "The only expectation that is met is 100-continue."},
    {"ChunkSizeNotHexadecimal", "POST / HTTP/1.1\r\nHost: a\r\nTransfer-Encoding: chunked\r\n\r\nx\r\nabc"sv,
     refused::badRequest, refused::badChunks},
    {"ChunkSizeWithPrefix",
     "POST / HTTP/1.1\r\nHost: a\r\nTransfer-Encoding: chunked\r\n\r\n0x1\r\na\r\n0\r\n\r\n"sv,
     refused::badRequest, refused::badChunks},
    {"ChunkSizeSigned", "POST / HTTP/1.1\r\nHost: a\r\nTransfer-Encoding: chunked\r\n\r\n+1\r\na\r\n"sv,
     refused::badRequest, refused::badChunks},
    {"ChunkSizeAbove64Bits",
     "POST / HTTP/1.1\r\nHost: a\r\nTransfer-Encoding: chunked\r\n\r\n10000000000000000\r\na"sv,
     refused::badRequest, refused::badChunks},
    {"ChunkLongerThanItsSize",
     "POST / HTTP/1.1\r\nHost: a\r\nTransfer-Encoding: chunked\r\n\r\n1\r\nab\r\n0\r\n\r\n"sv,
     refused::badRequest, refused::badChunks},
    {"ChunkSizeEndedByLineFeed",
     "POST / HTTP/1.1\r\nHost: a\r\nTransfer-Encoding: chunked\r\n\r\n1\na\r\n0\r\n\r\n"sv,
     refused::badRequest, refused::badChunks},
    {"ChunkSizeEndedByCarriageReturn",
     "POST / HTTP/1.1\r\nHost: a\r\nTransfer-Encoding: chunked\r\n\r\n1\ra\r\n0\r\n\r\n"sv,
     refused::badRequest, refused::badLineEnding},
    {"SpaceAfterChunkSize",
     "POST / HTTP/1.1\r\nHost: a\r\nTransfer-Encoding: chunked\r\n\r\n1 \r\na\r\n0\r\n\r\n"sv,
     refused::badRequest, refused::badChunks},
    {"LineFeedInChunkExtension",
     "POST / HTTP/1.1\r\nHost: a\r\nTransfer-Encoding: chunked\r\n\r\n1;a=\"\n\"\r\na\r\n0\r\n\r\n"sv,
     refused::badRequest, refused::badChunks},
    {"LengthInTrailers",
     "POST / HTTP/1.1\r\nHost: a\r\nTransfer-Encoding: chunked\r\n\r\n0\r\nContent-Length: 5\r\n\r\n"sv,
     refused::badRequest, refused::ambiguous},
    {"ControlInTrailers",
     "POST / HTTP/1.1\r\nHost: a\r\nTransfer-Encoding: chunked\r\n\r\n0\r\nX: \x01\r\n\r\n"sv,
     refused::badRequest, refused::badValue},
};

}  // namespace velm::test

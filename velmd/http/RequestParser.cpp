#include "velmd/http/RequestParser.h"

#include <algorithm>
#include <limits>
#include <optional>
#include <string_view>

#include <boost/asio/buffer.hpp>
#include <boost/beast/http/basic_parser.hpp>
#include <boost/beast/http/error.hpp>
#include <boost/beast/http/rfc7230.hpp>

namespace velm {

namespace {

namespace http = boost::beast::http;
using boost::beast::iequals;
using boost::system::error_code;
using View = boost::beast::string_view;

/// "0", CRLF, CRLF: until a chunked body has ended, so much is to come at least. Beast's parser relies on
/// seeing it at once.
constexpr std::size_t leastEndOfChunks = 5;

constexpr Refusal headTooLarge{431, "The request line and the headers are too large."};
constexpr Refusal chunkHeadTooLarge{431, "A chunk extension or the trailers are too large."};
constexpr Refusal bodyTooLarge{413, "The body is too large."};
constexpr Refusal otherVersion{505, "HTTP/1.0 and HTTP/1.1 are the versions that are spoken here."};
constexpr Refusal noVersion{400, "The request line does not end in a version of HTTP."};
constexpr Refusal ambiguousLength{400, "The headers are at odds about the length of the body."};
constexpr Refusal badChunks{400, "The chunks of the body are malformed."};
constexpr Refusal otherEncoding{501, "The only transfer coding that is understood is chunked."};
constexpr Refusal encodingIn10{400, "HTTP/1.0 has no Transfer-Encoding."};
constexpr Refusal foldedLine{400, "A header line is folded."};
constexpr Refusal noHost{400, "The Host header is missing."};
constexpr Refusal manyHosts{400, "There is more than one Host header."};
constexpr Refusal badHost{400, "The Host header is no host and port."};
constexpr Refusal otherExpectation{417, "The only expectation that is met is 100-continue."};
constexpr Refusal malformed{400, "The request is malformed."};

constexpr struct {
    http::error error;
    Refusal refusal;
} refusals[] = {
    {http::error::header_limit, headTooLarge},
    {http::error::body_limit, bodyTooLarge},
    {http::error::bad_method, {400, "The method is malformed."}},
    {http::error::bad_target, {400, "The target is missing or malformed."}},
    {http::error::bad_field, {400, "A header line does not begin with a name and a colon."}},
    {http::error::bad_value, {400, "The value of a header is malformed."}},
    {http::error::bad_line_ending, {400, "A carriage return is not followed by a line feed."}},
    {http::error::bad_content_length, ambiguousLength},
    {http::error::multiple_content_length, ambiguousLength},
    {http::error::bad_transfer_encoding, ambiguousLength},
    {http::error::bad_chunk, badChunks},
    {http::error::bad_chunk_extension, badChunks},
};

bool isDigit(char character) {
    return character >= '0' && character <= '9';
}

/// Whether a version stands where it belongs at all, which is then one that is not spoken here.
bool hasVersion(std::string_view requestLine) {
    const std::size_t target = requestLine.find(' ') + 1;
    const std::string_view version = requestLine.substr(requestLine.find(' ', target) + 1);
    return version.size() == 8 && version.starts_with("HTTP/") && isDigit(version[5]) && version[6] == '.' &&
           isDigit(version[7]);
}

/// `input` begins with the request line while the head is incomplete.
Refusal refusalOf(const error_code& error, std::string_view input) {
    if (error == http::error::bad_version) {
        return hasVersion(input.substr(0, input.find("\r\n"))) ? otherVersion : noVersion;
    }
    const auto* found =
        std::ranges::find_if(refusals, [&error](const auto& entry) { return error == entry.error; });
    return found == std::end(refusals) ? malformed : found->refusal;
}

bool isControl(char character) {
    const auto code = static_cast<unsigned char>(character);
    return (code < ' ' && character != '\t') || code == 0x7F;
}

}  // namespace

class RequestParser::Impl final : public http::basic_parser<true> {
public:
    explicit Impl(const HTTPLimits& limits) : _limits(limits) {
        header_limit(static_cast<std::uint32_t>(
            std::min<std::size_t>(limits.maxHeaderBytes, std::numeric_limits<std::uint32_t>::max())));
        body_limit(limits.maxBodyBytes);
    }

    /// The head stays in the input until it is complete.
    std::size_t heldSize() const { return is_header_done() ? _parsedSize + request.body.size() : 0; }
    Step advance(std::string& input) { return is_header_done() ? _advanceBody(input) : _advanceHead(input); }

    Refusal refusal;
    HTTPRequest request;
    bool isHTTP10 = false;
    bool isKeptAlive = false;
    bool expectsContinue = false;

private:
    Step _advanceHead(std::string& input);
    Step _advanceBody(std::string& input);
    Step _refuse(const Refusal& why) {
        refusal = why;
        return Step::refused;
    }
    std::optional<Refusal> _flawOf(std::string_view head) const;
    std::optional<Refusal> _flawOfHost() const;
    std::optional<Refusal> _flawOfEncoding() const;
    std::optional<Refusal> _flawOfExpectation() const;
    bool _asksToKeepAlive() const;
    std::vector<View> _values(std::string_view name) const;

    void on_request_impl(http::verb, View method, View target, int version, error_code&) override;
    void on_response_impl(int, View, int, error_code&) override {}
    void on_field_impl(http::field, View name, View value, error_code&) override;
    void on_header_impl(error_code&) override {}
    void on_body_init_impl(const boost::optional<std::uint64_t>&, error_code&) override {}
    std::size_t on_body_impl(View bytes, error_code&) override;
    void on_chunk_header_impl(std::uint64_t, View extensions, error_code& error) override;
    std::size_t on_chunk_body_impl(std::uint64_t, View bytes, error_code& error) override;
    void on_finish_impl(error_code&) override {}

    const HTTPLimits& _limits;
    /// Of the head.
    std::size_t _parsedSize = 0;
};

RequestParser::Step RequestParser::Impl::_advanceHead(std::string& input) {
    error_code error;
    const auto fresh = std::string_view(input).substr(_parsedSize);
    _parsedSize += put(boost::asio::const_buffer(fresh.data(), fresh.size()), error);
    if (error && error != http::error::need_more) {
        return _refuse(refusalOf(error, input));
    }
    if ((error ? input.size() : _parsedSize) > _limits.maxHeaderBytes) {
        return _refuse(headTooLarge);
    }
    if (error || !is_header_done()) {
        return Step::incomplete;
    }
    if (const auto flaw = _flawOf(std::string_view(input).substr(0, _parsedSize))) {
        return _refuse(*flaw);
    }
    isKeptAlive = _asksToKeepAlive();
    input.erase(0, _parsedSize);
    return is_done() ? Step::complete : Step::bodyFollows;
}

RequestParser::Step RequestParser::Impl::_advanceBody(std::string& input) {
    const std::size_t least = chunked() ? leastEndOfChunks : 1;
    std::string_view rest = input;
    error_code error;
    while (!is_done() && !error && rest.size() >= least) {
        rest.remove_prefix(put(boost::asio::const_buffer(rest.data(), rest.size()), error));
    }
    input.erase(0, input.size() - rest.size());
    if (error && error != http::error::need_more) {
        return _refuse(refusalOf(error, {}));
    }
    if (is_done()) {
        return Step::complete;
    }
    return input.size() > _limits.maxHeaderBytes ? _refuse(chunkHeadTooLarge) : Step::incomplete;
}

/// What Beast's parser lets pass.
std::optional<Refusal> RequestParser::Impl::_flawOf(std::string_view head) const {
    if (head.find("\r\n ") != head.npos || head.find("\r\n\t") != head.npos) {
        return foldedLine;
    }
    if (const auto flaw = _flawOfEncoding()) {
        return flaw;
    }
    if (const auto flaw = _flawOfHost()) {
        return flaw;
    }
    return _flawOfExpectation();
}

std::optional<Refusal> RequestParser::Impl::_flawOfEncoding() const {
    const auto encodings = _values("Transfer-Encoding");
    if (encodings.empty()) {
        return {};
    }
    if (content_length()) {
        return ambiguousLength;
    }
    if (isHTTP10) {
        return encodingIn10;
    }
    const bool isChunked = encodings.size() == 1 && iequals(encodings[0], "chunked");
    return isChunked ? std::nullopt : std::optional(otherEncoding);
}

std::optional<Refusal> RequestParser::Impl::_flawOfHost() const {
    const auto hosts = _values("Host");
    if (hosts.empty()) {
        return isHTTP10 ? std::nullopt : std::optional(noHost);
    }
    if (hosts.size() > 1) {
        return manyHosts;
    }
    const bool isHost = hosts[0].find_first_of(" \t,/\\?#@\"<>") == View::npos;
    return isHost ? std::nullopt : std::optional(badHost);
}

std::optional<Refusal> RequestParser::Impl::_flawOfExpectation() const {
    const auto expectations = _values("Expect");
    const bool isKnown =
        std::ranges::all_of(expectations, [](View value) { return iequals(value, "100-continue"); });
    return isKnown || isHTTP10 ? std::nullopt : std::optional(otherExpectation);
}

std::vector<View> RequestParser::Impl::_values(std::string_view name) const {
    std::vector<View> values;
    for (const auto& [other, value] : request.headers) {
        if (iequals(other, name)) {
            values.emplace_back(value);
        }
    }
    return values;
}

bool RequestParser::Impl::_asksToKeepAlive() const {
    const auto values = _values("Connection");
    const auto asksFor = [&values](View option) {
        return std::ranges::any_of(values,
                                   [option](View value) { return http::token_list(value).exists(option); });
    };
    return !asksFor("close") && (!isHTTP10 || asksFor("keep-alive"));
}

void RequestParser::Impl::on_request_impl(http::verb, View method, View target, int version, error_code&) {
    request.method = method;
    request.target = target;
    isHTTP10 = version == 10;
}

void RequestParser::Impl::on_field_impl(http::field field, View name, View value, error_code&) {
    if (is_header_done()) {
        return;  // A trailer.
    }
    request.headers.emplace_back(name, value);
    expectsContinue = expectsContinue || (field == http::field::expect && !isHTTP10);
}

std::size_t RequestParser::Impl::on_body_impl(View bytes, error_code&) {
    request.body.append(bytes.data(), bytes.size());
    return bytes.size();
}

/// A quoted extension could hide a line feed, which others take for the end of the line.
void RequestParser::Impl::on_chunk_header_impl(std::uint64_t, View extensions, error_code& error) {
    if (std::ranges::any_of(extensions, isControl)) {
        error = http::error::bad_chunk_extension;
    }
}

std::size_t RequestParser::Impl::on_chunk_body_impl(std::uint64_t, View bytes, error_code& error) {
    return on_body_impl(bytes, error);
}

RequestParser::RequestParser(const HTTPLimits& limits) : _impl(std::make_unique<Impl>(limits)) {
}
RequestParser::RequestParser(RequestParser&&) noexcept = default;
RequestParser& RequestParser::operator=(RequestParser&&) noexcept = default;
RequestParser::~RequestParser() = default;

RequestParser::Step RequestParser::advance(std::string& input) {
    return _impl->advance(input);
}

std::size_t RequestParser::heldSize() const {
    return _impl->heldSize();
}

const Refusal& RequestParser::refusal() const {
    return _impl->refusal;
}

bool RequestParser::expectsContinue() const {
    return _impl->expectsContinue;
}

bool RequestParser::isKeptAlive() const {
    return _impl->isKeptAlive;
}

bool RequestParser::isHTTP10() const {
    return _impl->isHTTP10;
}

HTTPRequest RequestParser::takeRequest() {
    return std::move(_impl->request);
}

void skipEmptyLines(std::string& input) {
    std::size_t size = 0;
    while (input.compare(size, 2, "\r\n") == 0) {
        size += 2;
    }
    input.erase(0, size);
}

}  // namespace velm

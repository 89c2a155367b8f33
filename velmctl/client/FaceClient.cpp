#include "velmctl/client/FaceClient.h"

#include "velmctl/client/ClientError.h"

#include <charconv>

#include <fmt/format.h>

namespace velm {

namespace {

using Kind = ClientError::Kind;

constexpr std::size_t shownSize = 200;

constexpr unsigned int httpOk = 200;
constexpr unsigned int httpNotFound = 404;
constexpr unsigned int httpNotAllowed = 405;
constexpr unsigned int httpMisdirected = 421;
constexpr unsigned int httpUnavailable = 503;

Kind kindFor(unsigned int status) {
    if (status == httpNotFound || status == httpNotAllowed) {
        return Kind::unknownPage;
    }
    const bool isRefusal = status == httpUnavailable || status == httpMisdirected;
    return isRefusal ? Kind::refused : Kind::noCIMServer;
}

/// The status, and the server's words where it has any for people.
std::string describe(const LocalConnection::Response& response) {
    const bool isText = response.header("Content-Type").starts_with("text/plain");
    const std::string words = isText ? response.body.substr(0, response.body.find('\n')) : "";
    return fmt::format("HTTP status {} {}{}{}", response.status, response.reason, words.empty() ? "" : ": ",
                       words.substr(0, shownSize));
}

std::uint64_t numberIn(const LocalConnection::Response& response, const char* name, const HostPort& server) {
    const std::string text = response.header(name);
    const char* const end = text.data() + text.size();
    std::uint64_t number = 0;
    const auto [last, failure] = std::from_chars(text.data(), end, number);
    if (failure != std::errc() || last != end) {
        throw ClientError(Kind::noCIMServer,
                          fmt::format("what {} sends as its log has no number in {}", server.text(), name));
    }
    return number;
}

}  // namespace

LocalConnection::Response FaceClient::_get(const std::string& target) const {
    LocalConnection connection(_server, _patience);
    connection.get(target);
    auto response = connection.receive();
    if (!response) {
        throw ClientError(Kind::noAnswer,
                          fmt::format("{} closed the connection without an answer", _server.text()));
    }
    if (response->status != httpOk) {
        throw ClientError(kindFor(response->status),
                          fmt::format("GET {} is answered with {}", target, describe(*response)));
    }
    return std::move(*response);
}

FaceClient::LogPart FaceClient::_log(const std::string& target) const {
    LocalConnection::Response response = _get(target);
    LogPart part;
    part.begin = numberIn(response, "X-Log-From", _server);
    part.size = numberIn(response, "X-Log-Size", _server);
    part.text = std::move(response.body);
    return part;
}

FaceClient::LogPart FaceClient::logFrom(std::uint64_t begin) const {
    return _log(fmt::format("/log?from={}", begin));
}

FaceClient::LogPart FaceClient::logEnd(std::uint64_t bytes) const {
    return _log(fmt::format("/log?from=-{}", bytes));
}

}  // namespace velm

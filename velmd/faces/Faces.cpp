#include "velmd/faces/Faces.h"

#include "velmd/faces/LogExcerpt.h"
#include "velmd/faces/StatusPage.h"
#include "velmd/faces/TablesDocument.h"
#include "velmd/faces/Text.h"

#include <algorithm>
#include <charconv>
#include <iterator>
#include <sstream>
#include <utility>

#include <boost/url/parse.hpp>
#include <boost/url/url_view.hpp>
#include <fmt/format.h>

namespace velm {

namespace {

namespace urls = boost::urls;

constexpr const char* plainType = "text/plain; charset=utf-8";
constexpr const char* metricsType = "text/plain; version=0.0.4; charset=utf-8";
constexpr const char* pageType = "text/html; charset=utf-8";

/// For what is no document, in case a browser takes it for one.
constexpr const char* nothingPolicy = "default-src 'none'; frame-ancestors 'none'";
/// No script, no form, no address but this server's for styles and the frame with the tables.
constexpr const char* pagePolicy =
    "default-src 'none'; style-src 'self'; img-src data:; frame-src 'self'; base-uri 'none'; "
    "form-action 'none'; frame-ancestors 'none'";
/// The tables hold names as clients gave them: nothing in them has a right, whatever it is taken for.
constexpr const char* tablesPolicy =
    "default-src 'none'; sandbox; base-uri 'none'; form-action 'none'; frame-ancestors 'self'";

/// The tail of the record where nobody says from where on.
constexpr const char* usualPlace = "-65536";

HTTPResponse response(unsigned int status, std::string type, std::string policy, std::string body) {
    return {status,
            {{"Content-Type", std::move(type)},
             {"Content-Security-Policy", std::move(policy)},
             {"X-Content-Type-Options", "nosniff"},
             {"Referrer-Policy", "no-referrer"},
             {"Cross-Origin-Resource-Policy", "same-origin"},
             {"X-DNS-Prefetch-Control", "off"},
             {"Cache-Control", "no-store"}},
            std::move(body),
            {}};
}

HTTPResponse plain(unsigned int status, std::string text) {
    return response(status, plainType, nothingPolicy, std::move(text) + "\n");
}

bool isReading(const HTTPRequest& request) {
    return request.method == "GET" || request.method == "HEAD";
}

/// "/" also takes operations, and says what the server can do.
bool isOperation(std::string_view method, std::string_view path) {
    return path == "/" && (method == "POST" || method == "M-POST" || method == "OPTIONS");
}

HTTPResponse notAllowed(std::string_view path) {
    const bool takesOperations = path == "/";
    HTTPResponse refused = plain(405, "This path is for GET.");
    refused.headers.emplace_back("Allow", takesOperations ? "GET, HEAD, POST, OPTIONS" : "GET, HEAD");
    return refused;
}

std::optional<std::int64_t> numberIn(const std::string& text) {
    std::int64_t number = 0;
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number);
    return error == std::errc() && stop == end ? std::optional(number) : std::nullopt;
}

std::string quotedHost(std::string_view host) {
    return host.empty() ? "there is none" : fmt::format("it is '{}'", faces::shortened(host, 60));
}

}  // namespace

/// A request taken apart (RFC 9112, 3.2).
struct Faces::Request {
    explicit Request(const HTTPRequest& request);

    /// The value of the first parameter of that name; nothing without one.
    std::optional<std::string> parameter(std::string_view name) const;
    /// Browsers do.
    bool acceptsPages() const;

    const HTTPRequest& http;
    /// Without query, as the client wrote it.
    std::string_view path;
    std::string_view query;
    /// Of a target that is a whole URL.
    std::optional<std::string_view> authority;
};

Faces::Request::Request(const HTTPRequest& request) : http(request) {
    const std::string_view target = request.target;
    if (const auto whole = urls::parse_absolute_uri(target); whole && whole->has_authority()) {
        authority = whole->encoded_authority();
        path = whole->encoded_path().empty() ? "/" : std::string_view(whole->encoded_path());
        query = whole->encoded_query();
        return;
    }
    const auto mark = target.find('?');
    path = target.substr(0, mark);
    query = mark == target.npos ? std::string_view() : target.substr(mark + 1);
}

bool Faces::Request::acceptsPages() const {
    const std::string* const accepted = http.header("Accept");
    return accepted != nullptr && accepted->find("text/html") != std::string::npos;
}

std::optional<std::string> Faces::Request::parameter(std::string_view name) const {
    const std::string reference = "?" + std::string(query);
    const auto parsed = urls::parse_uri_reference(reference);
    if (!parsed) {
        return std::nullopt;
    }
    const auto parameters = parsed->params();
    const auto found = parameters.find(name);
    return found == parameters.end() ? std::nullopt : std::optional((*found).value);
}

constexpr Faces::Face Faces::faces[] = {
    {"/", &Faces::_page},
    {"/style.css", &Faces::_style},
    {"/tables", &Faces::_tables},
    {"/healthz", &Faces::_health},
    {"/readyz", &Faces::_readiness},
    {"/metrics", &Faces::_metrics},
    {"/status.json", &Faces::_json},
    {"/log", &Faces::_log},
};

Faces::Faces(Sources sources)
    : _sources(std::move(sources)),
      _hostCheck(_sources.hostName, _sources.machineName),
      _keptTables(_sources.dumpTables, _sources.dumpClassTable) {
}

const Faces::Face* Faces::_find(std::string_view path) {
    const Face* const found = std::ranges::find(faces, path, &Face::path);
    return found == std::end(faces) ? nullptr : found;
}

bool Faces::isFor(const HTTPRequest& request) {
    const std::string_view path = Request(request).path;
    if (_find(path) != nullptr) {
        return !isOperation(request.method, path);
    }
    // The operations' path answers a GET itself.
    return isReading(request) && path != "/cimom";
}

std::optional<HTTPResponse> Faces::_refuseHost(const Request& request) const {
    const std::string* const header = request.http.header("Host");
    const std::string_view host = header != nullptr ? std::string_view(*header) : std::string_view();
    const bool isOwn = _hostCheck.isOwn(host) && (!request.authority || _hostCheck.isOwn(*request.authority));
    if (isOwn) {
        return std::nullopt;
    }
    return plain(421,
                 fmt::format("This server shows itself only under its own names: the Host header must be a "
                             "loopback address, localhost, or the name of this machine or server; {}.",
                             quotedHost(request.authority.value_or(host))));
}

std::optional<HTTPResponse> Faces::_refuseOrigin(const HTTPRequest& http) const {
    const std::string* const origin = http.header("Origin");
    if (origin == nullptr) {
        return std::nullopt;
    }
    const auto page = urls::parse_uri(*origin);
    if (page && page->has_authority() && _hostCheck.isOwn(std::string_view(page->encoded_authority()))) {
        return std::nullopt;
    }
    return plain(403, fmt::format("Operations are not for pages of other hosts: the Origin header is '{}'.",
                                  faces::shortened(*origin, 60)));
}

std::optional<HTTPResponse> Faces::handle(const HTTPRequest& http) const {
    if (!isFor(http)) {
        return _refuseOrigin(http);
    }
    const Request request(http);
    const Face* const face = _find(request.path);
    if (face == nullptr) {
        return plain(404,
                     "There is nothing here. There is: /, /tables, /healthz, /readyz, /metrics, "
                     "/status.json and /log. Operations are POSTed to /cimom.");
    }
    if (!isReading(http)) {
        return notAllowed(request.path);
    }
    if (auto refused = _refuseHost(request)) {
        return refused;
    }
    return (this->*face->answer)(request);
}

HTTPResponse Faces::_page(const Request& request) const {
    const faces::PageOptions options{request.parameter("refresh") != "off"};
    return response(200, pageType, pagePolicy,
                    faces::statusPage(_sources.status(), _sources.illness(), options));
}

HTTPResponse Faces::_style(const Request&) const {
    return response(200, "text/css; charset=utf-8", nothingPolicy, std::string(faces::pageStyle()));
}

HTTPResponse Faces::_excerpt() const {
    return response(200, pageType, tablesPolicy, faces::tablesDocument(*_keptTables.excerpt()));
}

HTTPResponse Faces::_tables(const Request& request) const {
    if (request.parameter("excerpt")) {
        return _excerpt();
    }
    std::ostringstream tables;
    _sources.dumpTables(tables);
    HTTPResponse answer = request.acceptsPages()
                              ? response(200, pageType, tablesPolicy, faces::tablesDocument(tables.view()))
                              : response(200, plainType, tablesPolicy, std::move(tables).str());
    answer.headers.emplace_back("Vary", "Accept");
    return answer;
}

HTTPResponse Faces::_health(const Request&) const {
    const std::string illness = _sources.illness();
    return illness.empty() ? plain(200, "ok") : plain(503, "not healthy: " + illness);
}

HTTPResponse Faces::_readiness(const Request&) const {
    const std::string reason = _sources.notReady();
    return reason.empty() ? plain(200, "ready") : plain(503, "not ready: " + reason);
}

HTTPResponse Faces::_metrics(const Request&) const {
    return response(200, metricsType, nothingPolicy, _sources.metrics(_sources.status()));
}

HTTPResponse Faces::_json(const Request&) const {
    return response(200, "application/json", nothingPolicy, _sources.json(_sources.status()));
}

HTTPResponse Faces::_log(const Request& request) const {
    const std::string wanted = request.parameter("from").value_or(usualPlace);
    const auto place = numberIn(wanted);
    if (!place) {
        return plain(
            400, fmt::format("'from' must be a number of bytes, from the end if it is negative; it is '{}'.",
                             faces::shortened(wanted, 40)));
    }
    LogExcerpt excerpt = LogExcerpt::read(_sources.indicationsLog, *place);
    HTTPResponse answer = response(200, plainType, nothingPolicy, std::move(excerpt.text));
    answer.headers.emplace_back("X-Log-From", std::to_string(excerpt.from));
    answer.headers.emplace_back("X-Log-Size", std::to_string(excerpt.size));
    return answer;
}

}  // namespace velm

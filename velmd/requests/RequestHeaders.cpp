#include "velmd/requests/RequestHeaders.h"

#include "velmd/model/CIMName.h"
#include "velmd/requests/CIMRequest.h"

#include <algorithm>
#include <charconv>
#include <initializer_list>
#include <optional>
#include <vector>

#include <fmt/format.h>

namespace velm {

namespace {

using Names = std::initializer_list<std::string_view>;

constexpr unsigned int badRequest = 400;
constexpr unsigned int notAcceptable = 406;
constexpr unsigned int unsupportedMediaType = 415;
constexpr unsigned int notImplemented = 501;

constexpr std::string_view headerMismatch = "header-mismatch";

std::optional<char> hexByte(std::string_view digits) {
    unsigned int value = 0;
    const char* end = digits.data() + digits.size();
    return digits.size() == 2 && std::from_chars(digits.data(), end, value, 16).ptr == end
               ? std::optional(static_cast<char>(value))
               : std::nullopt;
}

bool contains(const Names& names, std::string_view name) {
    return std::ranges::any_of(names, [name](std::string_view each) { return sameName(each, name); });
}

std::vector<std::string_view> parts(std::string_view text, char separator) {
    std::vector<std::string_view> result;
    for (auto end = text.find(separator); end != std::string_view::npos; end = text.find(separator)) {
        result.push_back(trimmedHeader(text.substr(0, end)));
        text.remove_prefix(end + 1);
    }
    result.push_back(trimmedHeader(text));
    return result;
}

/// The elements of a list, which may be spread over several headers.
std::vector<std::string_view> listIn(const HTTPRequest& http, std::string_view header) {
    std::vector<std::string_view> elements;
    for (const auto& [name, value] : http.headers) {
        if (sameName(name, header)) {
            std::ranges::copy(parts(value, ','), std::back_inserter(elements));
        }
    }
    std::erase_if(elements, [](std::string_view element) { return element.empty(); });
    return elements;
}

/// The values of a parameter such as charset in `text/xml; charset="utf-8"`, as often as it is there.
std::vector<std::string_view> parameterIn(std::string_view element, std::string_view name) {
    std::vector<std::string_view> values;
    for (const std::string_view item : parts(element, ';')) {
        const auto equals = item.find('=');
        if (equals == std::string_view::npos || !sameName(trimmedHeader(item.substr(0, equals)), name)) {
            continue;
        }
        std::string_view value = trimmedHeader(item.substr(equals + 1));
        if (value.size() >= 2 && value.front() == '"' && value.back() == '"') {
            value = value.substr(1, value.size() - 2);
        }
        values.push_back(value);
    }
    return values;
}

bool hasNoQuality(std::string_view element) {
    const auto qualities = parameterIn(element, "q");
    return !qualities.empty() && qualities.front().find_first_not_of("0.") == std::string_view::npos;
}

/// What a list of what a client takes says of something that goes by several names.
enum class Taken { unsaid, yes, no };

Taken taken(const std::vector<std::string_view>& list, const Names& names) {
    Taken result = Taken::unsaid;
    for (const std::string_view element : list) {
        if (!contains(names, parts(element, ';').front())) {
            continue;
        }
        if (!hasNoQuality(element)) {
            return Taken::yes;
        }
        result = Taken::no;
    }
    return result;
}

/// An empty list asks for nothing in particular.
bool isTakenWhereListed(const HTTPRequest& http, std::string_view header, const Names& names) {
    const auto list = listIn(http, header);
    return list.empty() || taken(list, names) == Taken::yes;
}

/// Identity needs no mention.
bool takesIdentity(const HTTPRequest& http) {
    const auto list = listIn(http, "Accept-Encoding");
    const Taken byName = taken(list, {"identity"});
    return (byName == Taken::unsaid ? taken(list, {"*"}) : byName) != Taken::no;
}

void checkResponseWanted(const HTTPRequest& http) {
    if (!isTakenWhereListed(http, "Accept",
                            {"*/*", "application/*", "text/*", "application/xml", "text/xml"})) {
        throw RefusedRequest(notAcceptable, "", "the response is application/xml");
    }
    if (!isTakenWhereListed(http, "Accept-Charset", {"utf-8", "*"})) {
        throw RefusedRequest(notAcceptable, "", "the response is in utf-8");
    }
    if (!takesIdentity(http)) {
        throw RefusedRequest(notAcceptable, "", "the response has the content encoding identity");
    }
    for (const char* name : {"Range", "If-Range", "Content-Range", "Accept-Ranges"}) {
        if (http.header(name)) {
            throw RefusedRequest(notAcceptable, "",
                                 fmt::format("{} cannot be met: messages are whole", name));
        }
    }
}

/// Two of them could be read in two ways, by somebody between the client and this server too.
void checkRepetitions(const HTTPRequest& http) {
    for (const char* name :
         {"Content-Type", "CIMOperation", "CIMProtocolVersion", "CIMMethod", "CIMObject"}) {
        const auto isThis = [name](const auto& header) { return sameName(header.first, name); };
        if (std::ranges::count_if(http.headers, isThis) > 1) {
            throw RefusedRequest(badRequest, headerMismatch, fmt::format("{} is there twice", name));
        }
    }
}

void checkContent(const HTTPRequest& http) {
    const std::string* header = http.header("Content-Type");
    const std::string_view value = header ? *header : std::string_view();
    if (!contains({"application/xml", "text/xml"}, parts(value, ';').front())) {
        throw RefusedRequest(badRequest, headerMismatch, "Content-Type must be application/xml or text/xml");
    }
    const auto isUTF8 = [](std::string_view charset) { return sameName(charset, "utf-8"); };
    if (!std::ranges::all_of(parameterIn(value, "charset"), isUTF8)) {
        throw RefusedRequest(badRequest, headerMismatch, "only the charset utf-8 is understood");
    }
    const auto isIdentity = [](std::string_view encoding) { return sameName(encoding, "identity"); };
    if (!std::ranges::all_of(listIn(http, "Content-Encoding"), isIdentity)) {
        throw RefusedRequest(unsupportedMediaType, "", "only the content encoding identity is understood");
    }
}

void checkOperation(const HTTPRequest& http) {
    if (http.header("CIMBatch")) {
        throw RefusedRequest(notImplemented, "multiple-requests-unsupported",
                             "send one operation in each request");
    }
    const std::string* operation = http.header("CIMOperation");
    if (!operation || !sameName(trimmedHeader(*operation), "MethodCall")) {
        throw RefusedRequest(badRequest, "unsupported-operation",
                             "the header CIMOperation: MethodCall is required");
    }
}

}  // namespace

void checkHeaders(const HTTPRequest& http) {
    checkResponseWanted(http);
    checkRepetitions(http);
    checkContent(http);
    checkOperation(http);
}

std::string_view trimmedHeader(std::string_view value) {
    const auto first = value.find_first_not_of(" \t");
    return first == std::string_view::npos ? std::string_view()
                                           : value.substr(first, value.find_last_not_of(" \t") - first + 1);
}

std::string decodedHeader(std::string_view value) {
    std::string_view rest = trimmedHeader(value);
    std::string decoded;
    while (!rest.empty()) {
        const auto byte = rest.front() == '%' ? hexByte(rest.substr(1, 2)) : std::nullopt;
        decoded += byte.value_or(rest.front());
        rest.remove_prefix(byte ? 3 : 1);
    }
    return decoded;
}

}  // namespace velm

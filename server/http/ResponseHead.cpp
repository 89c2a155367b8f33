#include "server/http/ResponseHead.h"

#include "foundation/http/ORVHTTPCodes.h"

#include <algorithm>
#include <array>

namespace velm {

namespace {

constexpr std::string_view protocol = "HTTP/";
constexpr std::string_view statusLineWithoutReason = "HTTP/1.1 200";
constexpr std::string_view tokenCharacters =
    "!#$%&'*+-.^_`|~0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz";

constexpr auto tokenTable = [] {
    std::array<bool, 256> table{};
    for (const char character : tokenCharacters) {
        table[static_cast<unsigned char>(character)] = true;
    }
    return table;
}();

bool isOfToken(char character) {
    return tokenTable[static_cast<unsigned char>(character)];
}

bool isControl(char character) {
    const auto code = static_cast<unsigned char>(character);
    return (code < ' ' && code != '\t') || code == 0x7F;
}

bool isHeaderLine(std::string_view line) {
    const auto colon = std::find_if_not(line.begin(), line.end(), isOfToken);
    return colon != line.begin() && colon != line.end() && *colon == ':' &&
           std::none_of(colon, line.end(), isControl);
}

/// Takes the first line off `text`.
std::string_view takeLine(std::string_view& text) {
    const std::size_t end = text.find('\n');
    std::string_view line = text.substr(0, end);
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    if (line.ends_with('\r')) {
        line.remove_suffix(1);
    }
    return line;
}

}  // namespace

bool mayStartStatusLine(std::string_view bytes) {
    const std::size_t compared = std::min(bytes.size(), protocol.size());
    return bytes.substr(0, compared) == protocol.substr(0, compared);
}

std::size_t findEndOfHead(std::string_view bytes, std::size_t searched) {
    const std::size_t lineFeed = bytes.find('\n');
    if (lineFeed == std::string_view::npos) {
        return lineFeed;
    }
    const std::string_view end = lineFeed > 0 && bytes[lineFeed - 1] == '\r' ? "\r\n\r\n" : "\n\n";
    const std::size_t found = bytes.find(end, searched - std::min(searched, end.size()));
    return found == std::string_view::npos ? found : found + end.size();
}

std::string repairHead(std::string_view head) {
    const std::string_view statusLine = takeLine(head);
    std::string repaired;
    repaired.reserve(statusLine.size() + head.size() + std::size_t{8});
    repaired += statusLine;
    if (statusLine.size() == statusLineWithoutReason.size()) {
        repaired += ' ';
    }
    repaired += ORVHTTPCodes::CRLF;
    while (!head.empty()) {
        const std::string_view line = takeLine(head);
        if (isHeaderLine(line)) {
            repaired.append(line).append(ORVHTTPCodes::CRLF);
        }
    }
    return repaired += ORVHTTPCodes::CRLF;
}

}  // namespace velm

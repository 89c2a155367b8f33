#include "velmctl/commands/LogReader.h"

#include <algorithm>

namespace velm {

namespace {

constexpr std::uint64_t usualPart = 64 * 1024;
/// As much as a server sends at once.
constexpr std::uint64_t longestPart = 1024 * 1024;

std::vector<std::string> linesOf(std::string_view text) {
    std::vector<std::string> lines;
    while (!text.empty()) {
        const std::size_t end = std::min(text.find('\n'), text.size());
        lines.emplace_back(text.substr(0, end));
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    return lines;
}

}  // namespace

std::vector<std::string> LogReader::last(std::size_t count) {
    std::vector<std::string> lines;
    for (const std::uint64_t size : {usualPart, longestPart}) {
        const FaceClient::LogPart part = _client.logEnd(size);
        lines = linesOf(part.text);
        if (part.begin > 0 && !lines.empty()) {
            // It begins somewhere inside a line.
            lines.erase(lines.begin());
        }
        _read = part.end();
        if (lines.size() >= count || part.begin == 0) {
            break;
        }
    }
    lines.erase(lines.begin(), lines.end() - static_cast<std::ptrdiff_t>(std::min(count, lines.size())));
    return lines;
}

LogReader::More LogReader::more() {
    More more;
    FaceClient::LogPart part;
    do {
        part = _client.logFrom(_read);
        if (part.begin < _read) {
            more.wasCleared = true;
            _unfinished.clear();
        }
        _read = part.end();
        _take(part, more.lines);
    } while (!part.text.empty() && _read < part.size);
    return more;
}

void LogReader::_take(const FaceClient::LogPart& part, std::vector<std::string>& lines) {
    _unfinished += part.text;
    const auto end = _unfinished.rfind('\n');
    if (end != std::string::npos) {
        for (std::string& line : linesOf(std::string_view(_unfinished).substr(0, end + 1))) {
            lines.push_back(std::move(line));
        }
        _unfinished.erase(0, end + 1);
    }
}

}  // namespace velm

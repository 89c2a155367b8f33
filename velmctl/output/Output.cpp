#include "velmctl/output/Output.h"

#include "velmctl/output/Text.h"

#include <algorithm>
#include <cerrno>
#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <langinfo.h>
#include <limits>
#include <sys/ioctl.h>
#include <system_error>
#include <unistd.h>

#include <fmt/format.h>

namespace velm {

namespace {

bool wantsColours() {
    const char* refused = std::getenv("NO_COLOR");
    const char* terminal = std::getenv("TERM");
    return (!refused || *refused == '\0') && (!terminal || std::string_view(terminal) != "dumb");
}

constexpr std::size_t usualColumns = 80;
constexpr std::size_t widestProse = 100;
constexpr std::size_t indent = 2;

/// Zeros where there is no terminal.
winsize terminalSize(int descriptor) {
    winsize size{};
    ::ioctl(descriptor, TIOCGWINSZ, &size);
    return size;
}

std::size_t proseColumnsOf(int descriptor) {
    const winsize size = terminalSize(descriptor);
    return size.ws_col == 0 ? usualColumns : std::min<std::size_t>(size.ws_col, widestProse);
}

/// Something that is said on standard error.
std::string said(std::string_view text) {
    return paragraph(printable(text), proseColumnsOf(STDERR_FILENO), indent);
}

bool isUTF8() {
    std::setlocale(LC_CTYPE, "");
    return std::string_view(::nl_langinfo(CODESET)) == "UTF-8";
}

const char* codeOf(Colour colour) {
    switch (colour) {
        case Colour::faint:
            return "2";
        case Colour::bold:
            return "1";
        case Colour::green:
            return "32";
        case Colour::yellow:
            return "33";
        case Colour::red:
            return "31";
        case Colour::cyan:
            return "36";
    }
    return "0";
}

bool write(std::FILE* stream, const std::string& text) {
    return std::fwrite(text.data(), 1, text.size(), stream) == text.size() && std::fflush(stream) == 0;
}

}  // namespace

Output::Output(bool writesJson)
    : _writesJson(writesJson),
      _isTerminal(::isatty(STDOUT_FILENO) != 0),
      _hasColours(!writesJson && _isTerminal && wantsColours()),
      _drawsBoxes(isUTF8()) {
}

std::size_t Output::columns() const {
    const winsize size = terminalSize(STDOUT_FILENO);
    return _isTerminal && size.ws_col != 0 ? size.ws_col : usualColumns;
}

std::size_t Output::rows() const {
    const winsize size = terminalSize(STDOUT_FILENO);
    return _isTerminal && size.ws_row != 0 ? size.ws_row : std::numeric_limits<std::size_t>::max();
}

std::size_t Output::proseColumns() const {
    return proseColumnsOf(STDOUT_FILENO);
}

void Output::screen(const std::vector<std::string>& lines) {
    constexpr const char* home = "\x1b[H";
    constexpr const char* clearRestOfLine = "\x1b[K\n";
    constexpr const char* clearRest = "\x1b[J";
    const std::size_t room = rows() - 1;
    const std::size_t shown = lines.size() <= room ? lines.size() : room - 1;
    std::string text = home;
    for (std::size_t index = 0; index < shown; ++index) {
        text += lines[index] + clearRestOfLine;
    }
    if (shown < lines.size()) {
        text += fmt::format("... and {} more lines{}", lines.size() - shown, clearRestOfLine);
    }
    _write(text + clearRest);
}

void Output::line(std::string_view text) {
    _write(std::string(text) + "\n");
}

void Output::prose(std::string_view text) {
    line(paragraph(text, proseColumns()));
}

void Output::_write(const std::string& text) {
    const std::lock_guard lock(_lock);
    if (!write(stdout, text) && !_hasFailed) {
        _hasFailed = true;
        _error = errno;
    }
}

void Output::notice(std::string_view text) {
    const std::string line = _writesJson ? Json::object().add("notice", text).text() : said(text);
    const std::lock_guard lock(_lock);
    write(stderr, line + "\n");
}

void Output::error(std::string_view problem, std::string_view advice, int exitCode) {
    std::string line;
    if (_writesJson) {
        Json json = Json::object();
        json.add("error", problem);
        if (!advice.empty()) {
            json.add("advice", advice);
        }
        line = json.add("exitCode", exitCode).text();
    } else {
        const char* mark = advice.empty() ? "" : problem.ends_with('?') ? " " : ". ";
        line = said(fmt::format("velmctl: {}{}{}", problem, mark, advice));
    }
    const std::lock_guard lock(_lock);
    write(stderr, line + "\n");
}

std::string Output::coloured(Colour colour, std::string_view text) const {
    return _hasColours ? fmt::format("\x1b[{}m{}\x1b[0m", codeOf(colour), text) : std::string(text);
}

bool Output::hasFailed() const {
    const std::lock_guard lock(_lock);
    return _hasFailed;
}

std::string Output::failure() const {
    const std::lock_guard lock(_lock);
    return _hasFailed && _error != EPIPE ? std::generic_category().message(_error) : "";
}

}  // namespace velm

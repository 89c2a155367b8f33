#include "velmctl/output/Text.h"

#include "server/xml/Utf8.h"

#include <algorithm>
#include <iterator>

#include <fmt/format.h>
#include <fmt/ranges.h>

namespace velm {

namespace {

constexpr std::string_view replacement = "\xEF\xBF\xBD";

bool isControl(char32_t character) {
    return character < 0x20 || (character >= 0x7F && character < 0xA0) || character == 0x2028 ||
           character == 0x2029;
}

/// Controls in `kept` stay as they are.
std::string escaped(std::string_view text, std::string_view kept) {
    std::string result;
    for (std::size_t at = 0; at < text.size();) {
        const Utf8Character character = utf8At(text, at);
        if (!character.isValid) {
            result += replacement;
        } else if (isControl(character.value) && kept.find(text[at]) == std::string_view::npos) {
            result += fmt::format("\\x{:02x}", static_cast<unsigned int>(character.value));
        } else {
            result += text.substr(at, character.length);
        }
        at += character.length;
    }
    return result;
}

/// Where the character in this column begins.
std::size_t offsetOf(std::string_view text, std::size_t column) {
    std::size_t at = 0;
    for (; column > 0 && at < text.size(); --column) {
        at += utf8At(text, at).length;
    }
    return at;
}

/// Where a line ends and where the next begins.
struct LineBreak {
    std::size_t end;
    std::size_t next;
};

/// `room` is where the first character begins that has no place in the line.
LineBreak breakOf(std::string_view text, std::size_t room, LongWord longWord) {
    if (const std::size_t blank = text.rfind(' ', room); blank != std::string_view::npos && blank != 0) {
        return {blank, blank + 1};
    }
    if (longWord == LongWord::whole) {
        const std::size_t end = std::min(text.find(' ', room), text.size());
        return {end, std::min(end + 1, text.size())};
    }
    const std::size_t mark = text.find_last_of(",./:", room - 1);
    const std::size_t end = mark == std::string_view::npos ? room : mark + 1;
    return {end, end};
}

}  // namespace

std::string validText(std::string_view text) {
    std::string result;
    for (std::size_t at = 0; at < text.size();) {
        const Utf8Character character = utf8At(text, at);
        result += character.isValid ? text.substr(at, character.length) : replacement;
        at += character.length;
    }
    return result;
}

std::string printable(std::string_view text) {
    return escaped(text, {});
}

std::string printableLines(std::string_view text) {
    return escaped(text, "\n\t");
}

std::string shortened(std::string_view text, std::size_t size) {
    if (text.size() <= size) {
        return std::string(text);
    }
    std::size_t end = 0;
    for (std::size_t next = 0; next <= size; next += utf8At(text, next).length) {
        end = next;
    }
    return std::string(text.substr(0, end)) + "...";
}

std::string counted(std::uint64_t count, std::string_view thing) {
    return fmt::format("{} {}{}", count, thing, count == 1 ? "" : "s");
}

std::string ageText(std::chrono::microseconds age) {
    const double seconds = static_cast<double>(age.count()) / 1e6;
    if (seconds < 10) {
        return fmt::format("{:.3f} s", seconds);
    }
    if (seconds < 120) {
        return fmt::format("{:.1f} s", seconds);
    }
    return seconds < 7200 ? fmt::format("{:.0f} min", seconds / 60) : fmt::format("{:.0f} h", seconds / 3600);
}

std::size_t columnsOf(std::string_view text) {
    std::size_t columns = 0;
    for (std::size_t at = 0; at < text.size(); at += utf8At(text, at).length) {
        ++columns;
    }
    return columns;
}

std::vector<std::string> wrapped(std::string_view text, std::size_t columns, LongWord longWord) {
    std::vector<std::string> lines;
    while (columnsOf(text) > columns) {
        const LineBreak found = breakOf(text, offsetOf(text, columns), longWord);
        lines.emplace_back(text.substr(0, found.end));
        text.remove_prefix(found.next);
    }
    if (!text.empty() || lines.empty()) {
        lines.emplace_back(text);
    }
    return lines;
}

std::string paragraph(std::string_view text, std::size_t columns, std::size_t indent) {
    const std::size_t room = columns > indent ? columns - indent : 1;
    const auto lines = wrapped(text, room, LongWord::whole);
    return fmt::format("{}", fmt::join(lines, "\n" + std::string(indent, ' ')));
}

std::string spanText(std::chrono::seconds span) {
    const struct {
        std::int64_t seconds;
        const char* name;
    } units[] = {{86400, "d"}, {3600, "h"}, {60, "min"}, {1, "s"}};
    std::int64_t rest = std::max<std::int64_t>(0, span.count());
    for (std::size_t index = 0; index + 1 < std::size(units); ++index) {
        if (rest >= units[index].seconds) {
            const std::int64_t smaller = rest % units[index].seconds / units[index + 1].seconds;
            const std::string text = fmt::format("{} {}", rest / units[index].seconds, units[index].name);
            return smaller == 0 ? text : fmt::format("{} {} {}", text, smaller, units[index + 1].name);
        }
    }
    return fmt::format("{} s", rest);
}

}  // namespace velm

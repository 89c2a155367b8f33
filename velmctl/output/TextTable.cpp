#include "velmctl/output/TextTable.h"

#include "velmctl/output/Text.h"

#include <algorithm>
#include <numeric>
#include <string_view>

namespace velm {

namespace {

constexpr std::string_view gap = "  ";
constexpr std::string_view noteIndent = "    ";
constexpr std::size_t narrowest = 8;

std::vector<std::string> linesOf(const std::string& text, std::size_t width) {
    std::vector<std::string> lines;
    for (std::size_t at = 0; at <= text.size();) {
        const std::size_t end = std::min(text.find('\n', at), text.size());
        for (std::string& line : wrapped(std::string_view(text).substr(at, end - at), width)) {
            lines.push_back(std::move(line));
        }
        at = end + 1;
    }
    return lines;
}

std::size_t widthOf(const std::string& text) {
    std::size_t widest = 0;
    for (const std::string& line : linesOf(text, std::string::npos)) {
        widest = std::max(widest, columnsOf(line));
    }
    return widest;
}

std::string padded(const std::string& text, std::size_t width, bool isNumber, const Output& output,
                   const std::optional<Colour>& colour) {
    const std::string blanks(width - std::min(width, columnsOf(text)), ' ');
    const std::string shown = colour ? output.coloured(*colour, text) : text;
    return isNumber ? blanks + shown : shown + blanks;
}

void trimRight(std::string& line) {
    line.erase(line.find_last_not_of(' ') + 1);
}

}  // namespace

void TextTable::add(std::vector<Cell> cells) {
    _rows.push_back({std::move(cells), {}});
}

void TextTable::addNote(std::string text, Colour colour) {
    _rows.back().notes.push_back({std::move(text), colour});
}

std::vector<std::size_t> TextTable::_widths(std::size_t width) const {
    std::vector<std::size_t> widths;
    for (std::size_t index = 0; index < _columns.size(); ++index) {
        widths.push_back(columnsOf(_columns[index].title));
        for (const Row& row : _rows) {
            widths[index] = std::max(widths[index], widthOf(row.cells[index].text));
        }
    }
    const std::size_t gaps = gap.size() * (_columns.size() - 1);
    const std::size_t room = width - std::min(width, gaps);
    while (std::accumulate(widths.begin(), widths.end(), std::size_t{0}) > room) {
        const auto widest = std::max_element(widths.begin(), widths.end());
        if (*widest <= narrowest) {
            break;
        }
        --*widest;
    }
    return widths;
}

void TextTable::_write(std::vector<std::string>& lines, const std::vector<Cell>& cells,
                       const std::vector<std::size_t>& widths, const Output& output) const {
    std::vector<std::vector<std::string>> parts;
    std::size_t height = 0;
    for (std::size_t index = 0; index < cells.size(); ++index) {
        parts.push_back(linesOf(cells[index].text, widths[index]));
        height = std::max(height, parts.back().size());
    }
    for (std::size_t at = 0; at < height; ++at) {
        std::string line;
        for (std::size_t index = 0; index < cells.size(); ++index) {
            const std::string text = at < parts[index].size() ? parts[index][at] : "";
            line += index == 0 ? "" : gap;
            line += padded(text, widths[index], _columns[index].isNumber, output, cells[index].colour);
        }
        trimRight(line);
        lines.push_back(std::move(line));
    }
}

std::vector<std::string> TextTable::lines(std::size_t width, const Output& output) const {
    const std::vector<std::size_t> widths = _widths(width);
    std::vector<Cell> titles;
    for (const Column& column : _columns) {
        titles.emplace_back(column.title, Colour::faint);
    }
    std::vector<std::string> lines;
    if (std::ranges::any_of(_columns, [](const Column& column) { return !column.title.empty(); })) {
        _write(lines, titles, widths, output);
    }
    for (const Row& row : _rows) {
        _write(lines, row.cells, widths, output);
        for (const Note& note : row.notes) {
            for (const std::string& line :
                 wrapped(note.text, std::max(narrowest, width - noteIndent.size()))) {
                lines.push_back(std::string(noteIndent) + output.coloured(note.colour, line));
            }
        }
    }
    return lines;
}

}  // namespace velm

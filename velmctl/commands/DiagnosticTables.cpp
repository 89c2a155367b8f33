#include "velmctl/commands/DiagnosticTables.h"

#include <algorithm>
#include <array>

namespace velm {

namespace {

using Cells = std::vector<std::string>;

constexpr std::string_view secondTable = "<TABLE BORDER><TR><TH>Relationship Subscriptions</TH></TR>";
constexpr std::string_view firstTable = "<TABLE BORDER><TR><TH>Instance Name</TH>";
constexpr std::string_view tableEnd = "</TABLE>";
constexpr std::string_view rowStart = "<TR>";

std::vector<std::string_view> splitAt(std::string_view text, std::string_view mark) {
    std::vector<std::string_view> parts;
    for (;;) {
        const auto found = text.find(mark);
        parts.push_back(text.substr(0, found));
        if (found == std::string_view::npos) {
            return parts;
        }
        text.remove_prefix(found + mark.size());
    }
}

std::string without(std::string text, std::string_view mark) {
    for (auto found = text.find(mark); found != std::string::npos; found = text.find(mark, found)) {
        text.erase(found, mark.size());
    }
    return text;
}

std::string trimmed(std::string_view text) {
    const auto first = text.find_first_not_of(" \n");
    const auto last = text.find_last_not_of(" \n");
    return first == std::string_view::npos ? "" : std::string(text.substr(first, last - first + 1));
}

/// Takes out the blank before every 50th character, if there is one before each.
std::string unspaced(std::string_view text) {
    constexpr std::size_t step = 51;
    std::string result;
    for (std::size_t at = 0; at < text.size(); at += step) {
        if (text[at] != ' ') {
            return trimmed(text);
        }
        result += text.substr(at + 1, step - 1);
    }
    return result;
}

std::string plain(std::string_view cell) {
    std::string text(cell);
    for (const char* mark : {"<TD>", "</TD>", "<TH>", "</TH>", "</TR>", "<B>", "</B>", "<BR>"}) {
        text = without(std::move(text), mark);
    }
    return text;
}

Cells cellsOf(std::string_view row) {
    Cells cells;
    for (const std::string_view cell : splitAt(row, "</TD><TD>")) {
        cells.emplace_back(cell);
    }
    return cells;
}

/// What stands behind `label`, if the row begins with it.
bool takes(std::string_view row, std::string_view label, std::string& text) {
    const auto found = row.find(label);
    if (found == std::string_view::npos) {
        return false;
    }
    text = plain(row.substr(found + label.size()));
    return true;
}

/// Only the name may hold anything, so that what stands at the right is what it looks like.
DiagnosticTables::Subscription subscriptionOf(const Cells& cells) {
    DiagnosticTables::Subscription row;
    std::string name;
    for (std::size_t index = 0; index + 2 < cells.size(); ++index) {
        name += (index == 0 ? "" : "</TD><TD>") + cells[index];
    }
    row.object = unspaced(std::string_view(name).substr(name.starts_with("<TD>") ? 4 : 0));
    row.subscriber = trimmed(plain(cells[cells.size() - 2]));
    for (const std::string_view filter : splitAt(cells.back(), "<BR>")) {
        row.filters.push_back(trimmed(plain(filter)));
    }
    return row;
}

std::string_view withoutEnd(std::string_view table) {
    table.remove_suffix(table.ends_with(tableEnd) ? tableEnd.size() : 0);
    return table;
}

std::vector<DiagnosticTables::Subscription> readSubscriptions(std::string_view table) {
    std::vector<DiagnosticTables::Subscription> rows;
    std::string open;
    const auto parts = splitAt(table, rowStart);
    for (std::size_t index = 1; index < parts.size(); ++index) {
        open += (open.empty() ? "" : rowStart);
        open += parts[index];
        if (const Cells cells = cellsOf(open); cells.size() >= 3) {
            rows.push_back(subscriptionOf(cells));
            open.clear();
        }
    }
    return rows;
}

/// A class, and behind a colon or at once a blank and the keys.
std::string endOf(std::string_view text) {
    const std::string_view className = text.substr(0, text.find_first_of(": "));
    const std::string_view keys = text.substr(std::min(text.size(), text.find(' ', className.size())));
    return keys.empty() ? std::string(className) : std::string(className) + "." + unspaced(keys);
}

/// Goes through the rows of the second table.
class RelationshipReader {
public:
    void take(std::string_view row) {
        std::string text;
        if (takes(row, "<TH>Subscription Type</TH>", text)) {
            _pending.clear();
            _map = {_className, trimmed(text), {}, {}, {}, {}, {}};
        } else if (takes(row, "<B>InstanceName : </B>", text)) {
            _map.instance = unspaced(text);
            _flush();
        } else if (takes(row, "<B>InstanceName Left : </B>", text)) {
            _amend(&Relationship::left, text);
        } else if (takes(row, "<B>InstanceName Right : </B>", text)) {
            _amend(&Relationship::right, text);
        } else if (takes(row, "<TD>Class ", text)) {
            _className = trimmed(text);
        } else if (const Cells cells = cellsOf(row); cells.size() == 2) {
            std::string count;
            takes(cells[1], "Ref Count: ", count);
            _pending.emplace_back(trimmed(plain(cells[0])), trimmed(count));
        }
    }

    std::vector<DiagnosticTables::Relationship> rows;

private:
    using Relationship = DiagnosticTables::Relationship;

    void _flush() {
        _begin = rows.size();
        for (const auto& [subscriber, count] : _pending) {
            rows.push_back(_map);
            rows.back().subscriber = subscriber;
            rows.back().count = count;
        }
        _pending.clear();
    }

    void _amend(std::string Relationship::*end, std::string_view text) {
        for (std::size_t index = _begin; index < rows.size(); ++index) {
            rows[index].*end = endOf(text);
        }
    }

    std::string _className;
    Relationship _map;
    std::vector<std::pair<std::string, std::string>> _pending;
    std::size_t _begin = 0;
};

}  // namespace

DiagnosticTables DiagnosticTables::read(std::string_view html) {
    DiagnosticTables tables;
    const auto first = html.find(firstTable);
    const auto second = html.find(secondTable, first == std::string_view::npos ? 0 : first);
    if (first != std::string_view::npos) {
        const std::size_t begin = first + firstTable.size();
        tables.subscriptions = readSubscriptions(withoutEnd(html.substr(begin, second - begin)));
    }
    if (second == std::string_view::npos) {
        return tables;
    }
    std::string_view rest = html.substr(second + secondTable.size());
    tables.isCutOff = rest.rfind(tableEnd) == std::string_view::npos;
    rest = rest.substr(0, std::min(rest.rfind(tableEnd), rest.rfind("\n</body>")));
    RelationshipReader reader;
    for (const std::string_view row : splitAt(rest, rowStart)) {
        reader.take(row);
    }
    tables.relationships = std::move(reader.rows);
    return tables;
}

}  // namespace velm

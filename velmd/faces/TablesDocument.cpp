#include "velmd/faces/TablesDocument.h"

#include "velmd/faces/Text.h"

#include <algorithm>

#include <fmt/format.h>

namespace velm::faces {

namespace {

constexpr std::string_view marks[] = {"<TABLE BORDER>", "</TABLE>", "<TR>", "</TR>", "<TD>", "</TD>",
                                      "<TH>",           "</TH>",    "<BR>", "<B>",   "</B>"};

/// The mark with which the text begins; empty when it begins with none.
std::string_view markAt(std::string_view text) {
    const auto* const found =
        std::ranges::find_if(marks, [text](std::string_view mark) { return text.starts_with(mark); });
    return found == std::end(marks) ? std::string_view() : *found;
}

/// How much of the text can stand as it is.
std::size_t plainSize(std::string_view text) {
    return std::min(text.find_first_of("<&"), text.size());
}

/// `lead` is HTML.
std::string documentOf(std::string_view tables, std::string_view lead) {
    std::string html =
        "<!DOCTYPE html>\n<html lang=\"en\"><head><meta charset=\"utf-8\">"
        "<meta name=\"color-scheme\" content=\"light dark\"><title>Diagnostic "
        "tables</title></head>\n<body>\n";
    html += lead;
    while (!tables.empty()) {
        std::string_view part = tables.substr(0, plainSize(tables));
        if (part.empty()) {
            part = markAt(tables);
        }
        if (part.empty()) {
            html += tables.front() == '<' ? "&lt;" : "&amp;";
            tables.remove_prefix(1);
        }
        html += part;
        tables.remove_prefix(part.size());
    }
    return html += "\n</body></html>\n";
}

}  // namespace

std::string tablesDocument(std::string_view tables) {
    return documentOf(tables, "");
}

std::string tablesDocument(const KeptTables::Excerpt& excerpt) {
    const std::string cut =
        excerpt.isCut
            ? fmt::format(" Of each table no more than {} kB is here; the link above leads to the whole.",
                          KeptTables::mostBytes / 1024)
            : "";
    return documentOf(excerpt.tables,
                      fmt::format("<p>As of {} UTC.{}</p>\n", momentText(excerpt.taken, excerpt.taken), cut));
}

}  // namespace velm::faces

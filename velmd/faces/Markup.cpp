#include "velmd/faces/Markup.h"

#include "velmd/faces/Text.h"

#include <algorithm>
#include <chrono>
#include <iterator>

#include <fmt/format.h>

namespace velm::faces {

namespace {

constexpr std::size_t longestFailure = 240;

std::string whenText(const status::Failure& failure, Course course, status::Time now) {
    const std::string often =
        failure.count > 1 ? fmt::format(", {} in a row", numberText(failure.count)) : std::string();
    switch (course) {
        case Course::goesOn:
            return fmt::format(
                R"(for <span class="whole">{}</span>, since <time datetime="{}">{}</time>{})",
                durationText(std::max<status::Time::duration>(now - failure.since, std::chrono::seconds(1))),
                isoText(failure.since), momentText(now, failure.since), often);
        case Course::isOver:
            return "over; last " + agoElement(now, failure.last) + often;
        case Course::wasLast:
            break;
    }
    return agoElement(now, failure.last) + often;
}

}  // namespace

std::string tableHead(std::string_view caption, std::initializer_list<Column> columns) {
    std::string html = fmt::format("<table><caption>{}</caption><thead><tr>", caption);
    for (const Column& column : columns) {
        fmt::format_to(std::back_inserter(html), R"(<th scope="col"{}>{}</th>)",
                       column.isNumber ? R"( class="number")" : "", column.name);
    }
    return html += "</tr></thead><tbody>\n";
}

std::string cell(std::string_view column, std::string_view html, std::string_view style) {
    const std::string styled = style.empty() ? std::string() : fmt::format(R"( class="{}")", style);
    return fmt::format(R"(<td data-label="{}"{}>{}</td>)", column, styled, html);
}

std::string countCell(std::string_view column, std::uint64_t number) {
    return cell(column, numberText(number), number == 0 ? "number zero" : "number");
}

std::string failureCell(const std::optional<status::Failure>& failure, Course course, status::Time now,
                        std::string_view moreHtml) {
    std::string html;
    if (failure) {
        html = fmt::format(R"({}<div class="when">{}</div>)", shown(failure->text, longestFailure),
                           whenText(*failure, course, now));
    }
    html += moreHtml;
    return html.empty() ? cell("Last error", "none", "error zero") : cell("Last error", html, "error");
}

std::string badge(std::string_view kind, std::string_view word) {
    return fmt::format(R"(<span class="badge {0}"><svg class="sign" viewBox="0 0 16 16" aria-hidden="true">)"
                       R"(<use href="#{0}"/></svg>{1}</span>)",
                       kind, word);
}

std::string signs() {
    return R"(<svg class="signs" aria-hidden="true"><defs>)"
           R"(<path id="good" d="M2.5 8.5 6.3 12.2 13.5 4.4"/>)"
           R"(<path id="bad" d="M3.5 3.5 12.5 12.5M12.5 3.5 3.5 12.5"/>)"
           R"(<path id="warn" d="M8 2 14.5 13.5H1.5ZM8 6.5V9.6M8 11.4V11.5"/>)"
           R"(<path id="calm" d="M3 8H13"/>)"
           R"(<path id="gone" d="M3 8H12.5M8.5 4 12.5 8 8.5 12"/>)"
           "</defs></svg>";
}

}  // namespace velm::faces

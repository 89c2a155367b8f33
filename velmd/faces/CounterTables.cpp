#include "velmd/faces/Markup.h"
#include "velmd/faces/StatusPage.h"
#include "velmd/faces/Text.h"

#include <algorithm>
#include <iterator>
#include <map>
#include <numeric>
#include <vector>

#include <fmt/format.h>

namespace velm::faces {

namespace {

using status::Latency;
using status::Operation;
using status::ServerStatus;

using Count = std::pair<std::string, std::uint64_t>;

enum class Bars { none, shown };

/// How much of the largest count it is, for the eye only.
std::string bar(std::uint64_t count, std::uint64_t most) {
    const double width = most == 0 ? 0 : 100 * static_cast<double>(count) / static_cast<double>(most);
    return fmt::format(
        R"(<td class="bar"><svg viewBox="0 0 100 8" preserveAspectRatio="none" aria-hidden="true">)"
        R"(<rect width="{:.1f}" height="8"/></svg></td>)",
        count == 0 ? 0 : std::max(1.0, width));
}

/// A small table of names and counts. `names` are HTML.
std::string countsTable(std::string_view caption, std::string_view ofWhat, const std::vector<Count>& rows,
                        Bars bars = Bars::none) {
    const std::uint64_t most = rows.empty() ? 0 : std::ranges::max(rows, {}, &Count::second).second;
    std::string html = fmt::format(
        R"(<div class="panel"><table class="counts"><caption>{}</caption><thead><tr><th scope="col">{}</th>)"
        R"({}<th scope="col" class="number">Count</th></tr></thead><tbody>)",
        caption, ofWhat, bars == Bars::shown ? "<td></td>" : "");
    const std::size_t shownCount = std::min(rows.size(), mostCountsShown);
    for (std::size_t index = 0; index < shownCount; ++index) {
        const auto& [name, count] = rows[index];
        fmt::format_to(std::back_inserter(html),
                       R"(<tr><th scope="row">{}</th>{}<td class="number{}">{}</td></tr>)", name,
                       bars == Bars::shown ? bar(count, most) : std::string(), count == 0 ? " zero" : "",
                       numberText(count));
    }
    if (rows.empty()) {
        html +=
            fmt::format(R"(<tr><th scope="row" class="zero">none</th>{}<td class="number zero">0</td></tr>)",
                        bars == Bars::shown ? "<td></td>" : "");
    }
    html += "</tbody></table>";
    if (shownCount < rows.size()) {
        html += fmt::format(R"(<p class="note">{} more are left out here.</p>)",
                            numberText(rows.size() - shownCount));
    }
    return html += "</div>\n";
}

/// The largest first, and what never happened not at all.
std::vector<Count> rowsOf(const std::map<std::string, std::uint64_t>& counts) {
    std::vector<Count> rows;
    for (const auto& [name, count] : counts) {
        if (count > 0) {
            rows.emplace_back(shown(name), count);
        }
    }
    std::ranges::stable_sort(rows, std::ranges::greater(), &Count::second);
    return rows;
}

/// Refused ones first, then by count.
std::vector<Count> rowsOf(std::vector<Operation> operations) {
    std::ranges::stable_sort(operations, [](const Operation& one, const Operation& other) {
        const bool isOneFine = one.status == "ok";
        const bool isOtherFine = other.status == "ok";
        return isOneFine != isOtherFine ? isOtherFine : one.count > other.count;
    });
    std::vector<Count> rows;
    for (const Operation& operation : operations) {
        const bool isFine = operation.status == "ok";
        rows.emplace_back(shown(operation.name) + (isFine ? "" : ": status " + shown(operation.status, 20)),
                          operation.count);
    }
    return rows;
}

/// From the first that something took to the last.
std::vector<Count> rowsOf(const Latency& latency) {
    std::vector<Count> rows;
    for (std::size_t index = 0; index < std::min(latency.bounds.size(), latency.counts.size()); ++index) {
        rows.emplace_back("up to " + latencyText(latency.bounds[index]), latency.counts[index]);
    }
    rows.emplace_back("longer", latency.beyond);
    const auto isUsed = [](const Count& row) { return row.second > 0; };
    rows.erase(std::find_if(rows.rbegin(), rows.rend(), isUsed).base(), rows.end());
    rows.erase(rows.begin(), std::ranges::find_if(rows, isUsed));
    return rows;
}

}  // namespace

std::string countersSection(const ServerStatus& status) {
    const status::Counters& counters = status.counters;
    std::string html =
        R"(<section aria-labelledby="counters"><h2 id="counters">Counted since the start</h2><div class="panels">)";
    html += countsTable("Indications", "Step",
                        {{"reported", counters.reported},
                         {"matched a subscription", counters.matched},
                         {"queued", counters.queued},
                         {"delivered", counters.delivered},
                         {"and answered improperly", counters.improperAnswers},
                         {"calls into providers", counters.providerCalls},
                         {"and failed", counters.failedProviderCalls}});
    html += countsTable("Deliveries that failed", "Reason", rowsOf(counters.failed));
    html += countsTable("Indications dropped", "Rule", rowsOf(counters.dropped));
    html += countsTable("Subscribers removed", "Reason", rowsOf(counters.removed));
    html += countsTable("From report to delivery", "Time", rowsOf(status.latency), Bars::shown);
    html += countsTable("Requests", "Operation", rowsOf(status.operations));
    return html += "</div></section>\n";
}

}  // namespace velm::faces

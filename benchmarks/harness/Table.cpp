#include "benchmarks/harness/Table.h"

#include <algorithm>

#include <fmt/format.h>

namespace velm::bench {

namespace {

constexpr const char* lineFormat = "{:>3}  {:<46} {:>12} {:>12} {:>7} {:>13}  {:<10} {:<17} {}";

/// Text of a number that may be far below 1 or far above.
std::string number(double value) {
    return fmt::format("{:.{}f}", value, value < 10 ? 2 : value < 100 ? 1 : 0);
}

std::string ratioText(const Row& row) {
    return row.ratio.values().empty() ? "-" : number(row.ratio.median()) + row.target.unit;
}

std::string spreadText(const Row& row) {
    return row.ratio.values().empty() ? "-" : number(row.ratio.low()) + ".." + number(row.ratio.high());
}

std::string targetText(const Target& target) {
    if (target.sense == Target::Sense::none) {
        return "";
    }
    return fmt::format("{} {:.3g}{} ({:.3g})",
                       target.sense == Target::Sense::atLeast ? ">=" : "<=", target.wanted, target.unit,
                       target.wished);
}

std::string what(const Row& row) {
    return row.failure.empty() ? row.what : row.what + ": " + row.failure;
}

}  // namespace

std::string metText(const Row& row) {
    const auto met = row.isMet();
    return !met ? "" : *met ? "yes" : "no";
}

std::string tableHead() {
    return fmt::format(fmt::runtime(lineFormat), "#", "what", "ours", "limit", "ratio", "spread", "placement",
                       "target (wish)", "met");
}

std::string tableLine(const Row& row) {
    return fmt::format(fmt::runtime(lineFormat), row.number, what(row), row.ours, row.limit, ratioText(row),
                       spreadText(row), row.placement, targetText(row.target), metText(row));
}

std::string markdownTable(const Report& report) {
    std::vector<Row> rows = report.rows;
    std::stable_sort(rows.begin(), rows.end(),
                     [](const Row& left, const Row& right) { return left.number < right.number; });
    std::string text =
        "| # | what | ours | limit | ratio | spread | placement | target (wish) | met |\n"
        "|---|---|---|---|---|---|---|---|---|\n";
    for (const Row& row : rows) {
        text += fmt::format("| {} | {} | {} | {} | {} | {} | {} | {} | {} |\n", row.number, what(row),
                            row.ours, row.limit, ratioText(row), spreadText(row), row.placement,
                            targetText(row.target), metText(row));
    }
    return text;
}

}  // namespace velm::bench

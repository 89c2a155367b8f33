#include "velmctl/client/FaceClient.h"
#include "velmctl/commands/Command.h"
#include "velmctl/commands/DiagnosticTables.h"
#include "velmctl/commands/ExitCode.h"
#include "velmctl/output/Text.h"
#include "velmctl/output/TextTable.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>
#include <fmt/ranges.h>

namespace velm {

namespace {

using Relationship = DiagnosticTables::Relationship;
using Subscription = DiagnosticTables::Subscription;

/// Those with a subscription, or with properties, behind them.
std::string filterText(const Subscription& row) {
    std::vector<std::string> used;
    for (const std::string& filter : row.filters) {
        if (!filter.ends_with(": NULL R: 0")) {
            used.push_back(printable(filter));
        }
    }
    return fmt::format("{}", fmt::join(used, "\n"));
}

std::string objectText(const Relationship& row) {
    std::vector<std::string> parts;
    if (!row.instance.empty()) {
        parts.push_back(printable(row.instance));
    }
    if (!row.left.empty() || !row.right.empty()) {
        parts.push_back(fmt::format("{} - {}", printable(row.left), printable(row.right)));
    }
    return parts.empty() ? "any" : fmt::format("{}", fmt::join(parts, "\n"));
}

void print(const TextTable& table, Output& output) {
    for (const std::string& line : table.lines(output.columns(), output)) {
        output.line(line);
    }
}

void printSubscriptions(const DiagnosticTables& tables, Output& output) {
    TextTable table({{"INSTANCE OR CLASS"}, {"SUBSCRIBER"}, {"FILTER (R: subscriptions)"}});
    for (const Subscription& row : tables.subscriptions) {
        table.add({printable(row.object), printable(row.subscriber), filterText(row)});
    }
    print(table, output);
}

void printRelationships(const DiagnosticTables& tables, Output& output) {
    TextTable table({{"CLASS"}, {"EVENT"}, {"OBJECT, ENDS"}, {"SUBSCRIBER"}, {"COUNT", true}});
    for (const Relationship& row : tables.relationships) {
        table.add({printable(row.className), printable(row.event), objectText(row), printable(row.subscriber),
                   printable(row.count)});
    }
    output.line("");
    print(table, output);
}

void writeJson(const DiagnosticTables& tables, Output& output) {
    if (tables.subscriptions.empty() && tables.relationships.empty()) {
        output.json(Json::object().add("subscriptions", Json::array()).add("relationships", Json::array()));
    }
    for (const Subscription& row : tables.subscriptions) {
        output.json(Json::object()
                        .add("table", "subscriptions")
                        .add("object", row.object)
                        .add("subscriber", row.subscriber)
                        .add("filters", row.filters));
    }
    for (const Relationship& row : tables.relationships) {
        output.json(Json::object()
                        .add("table", "relationships")
                        .add("class", row.className)
                        .add("event", row.event)
                        .add("instance", row.instance)
                        .add("left", row.left)
                        .add("right", row.right)
                        .add("subscriber", row.subscriber)
                        .add("count", row.count));
    }
}

class Dump : public Command {
public:
    CLI::App* declare(CLI::App& program, CommonOptions& common) override {
        CLI::App* command =
            program.add_subcommand("dump", "Show the daemon's tables of who is subscribed to what");
        command->add_flag("--html", _asHTML, "As the daemon writes them");
        declareServer(*command, common);
        return command;
    }

    int run(const CommonOptions& common, Output& output) override {
        const std::string html = FaceClient(common.serverAddress()).tables();
        if (_asHTML) {
            return _printHTML(html, output);
        }
        const DiagnosticTables tables = DiagnosticTables::read(html);
        if (output.writesJson()) {
            writeJson(tables, output);
        } else if (tables.subscriptions.empty() && tables.relationships.empty() && !tables.isCutOff) {
            output.line("Nobody is subscribed.");
        } else {
            printSubscriptions(tables, output);
            printRelationships(tables, output);
        }
        if (tables.isCutOff) {
            output.notice(
                "The daemon's second table ends early: it stops at the first subscription to creations or "
                "destructions. velmctl status shows every subscriber.");
        }
        return ExitCode::done;
    }

private:
    /// A name in it must not move the cursor of a terminal.
    static int _printHTML(const std::string& html, Output& output) {
        if (output.writesJson()) {
            output.json(Json::object().add("html", html));
        } else {
            output.line(output.isTerminal() ? printableLines(html) : html);
        }
        return ExitCode::done;
    }

    bool _asHTML = false;
};

}  // namespace

std::unique_ptr<Command> makeDump() {
    return std::make_unique<Dump>();
}

}  // namespace velm

#include "velmctl/client/ClientError.h"
#include "velmctl/commands/Command.h"
#include "velmctl/commands/Ending.h"
#include "velmctl/commands/ExitCode.h"
#include "velmctl/commands/Importer.h"
#include "velmctl/output/Progress.h"
#include "velmctl/output/Text.h"

#include <array>
#include <optional>
#include <stdexcept>

#include <CLI/CLI.hpp>
#include <fmt/format.h>
#include <fmt/ranges.h>

namespace velm {

namespace {

using Outcome = Importer::Outcome;

constexpr std::array outcomeNames{"created", "replaced", "skipped", "refused"};

const char* nameOf(Outcome outcome) {
    return outcomeNames[static_cast<std::size_t>(outcome)];
}

/// What became of all that was tried.
class Tally {
public:
    void add(Outcome outcome, const PlannedDeclaration& declaration) {
        ++_counts[static_cast<std::size_t>(outcome)];
        if (outcome == Outcome::skipped && _skippedNames.size() < shownNames) {
            _skippedNames.push_back(printable(declaration.name()));
        }
    }

    std::uint64_t count(Outcome outcome) const { return _counts[static_cast<std::size_t>(outcome)]; }

    void print(Output& output) const {
        if (output.writesJson()) {
            Json json = Json::object();
            for (std::size_t index = 0; index < _counts.size(); ++index) {
                json.add(outcomeNames[index], _counts[index]);
            }
            output.json(json);
            return;
        }
        output.line(fmt::format("{} created, {} replaced, {} skipped, {} refused", _counts[0], _counts[1],
                                _counts[2], _counts[3]));
        if (!_skippedNames.empty()) {
            const std::uint64_t rest = count(Outcome::skipped) - _skippedNames.size();
            output.prose(fmt::format("There already: {}{}", fmt::join(_skippedNames, ", "),
                                     rest == 0 ? "" : fmt::format(" and {} more", rest)));
        }
    }

private:
    static constexpr std::size_t shownNames = 8;

    std::array<std::uint64_t, outcomeNames.size()> _counts{};
    std::vector<std::string> _skippedNames;
};

class Import : public Command {
public:
    CLI::App* declare(CLI::App& program, CommonOptions& common) override {
        CLI::App* command = program.add_subcommand(
            "import", "Load qualifiers, classes and instances from CIM-XML files, one after the other");
        command->add_option("FILE", _files, "CIM-XML files with declarations")->type_name("")->required();
        command->add_flag("--replace", _replaces,
                          "Replace what is there already, as far as the daemon can; otherwise it is skipped");
        declareServer(*command, common);
        declareNamespace(*command, common);
        return command;
    }

    int run(const CommonOptions& common, Output& output) override {
        Ending ending;
        const auto plan = _plan(output);
        if (!plan) {
            return ExitCode::failed;
        }
        CIMClient client(common.serverAddress(), common.nameSpace);
        Importer importer(client, _replaces);
        Tally tally;
        const std::size_t done = _load(*plan, importer, tally, ending, output);
        tally.print(output);
        if (importer.cannotReplaceClasses()) {
            output.notice("The daemon cannot replace classes while it runs. Stop it and use: velmd --import");
        }
        return _conclude(done, plan->size(), tally, output);
    }

private:
    /// Nothing when a file cannot be read.
    std::optional<std::vector<PlannedDeclaration>> _plan(Output& output) const {
        try {
            return planImport(_files);
        } catch (const std::runtime_error& failure) {
            output.error(failure.what(), "Nothing was loaded; name CIM-XML files with declarations",
                         ExitCode::failed);
            return std::nullopt;
        }
    }

    /// Answers how many were tried before it was told to end.
    static std::size_t _load(const std::vector<PlannedDeclaration>& plan, Importer& importer, Tally& tally,
                             Ending& ending, Output& output) {
        Progress progress(plan.size(), output);
        for (const PlannedDeclaration& declaration : plan) {
            if (ending.wait(-1, std::chrono::milliseconds(0)) == Ending::Cause::told) {
                break;
            }
            const Importer::Result result = _loadOne(declaration, importer, progress);
            tally.add(result.outcome, declaration);
            if (output.writesJson()) {
                output.json(_json(declaration, result));
            } else if (result.outcome == Outcome::refused) {
                progress.notice(fmt::format("{}: {}", declaration.place(), result.reason));
            }
            progress.step(declaration.name());
        }
        return static_cast<std::size_t>(progress.done());
    }

    /// A daemon that goes meanwhile ends the import.
    static Importer::Result _loadOne(const PlannedDeclaration& declaration, Importer& importer,
                                     const Progress& progress) {
        try {
            return importer.load(declaration);
        } catch (const ClientError& error) {
            throw ClientError(error.kind(),
                              fmt::format("ended after {} of {} declarations: {}", progress.done(),
                                          progress.total(), error.what()),
                              error.status());
        }
    }

    static Json _json(const PlannedDeclaration& declaration, const Importer::Result& result) {
        Json json = Json::object();
        json.add("done", nameOf(result.outcome))
            .add("kind", declaration.kind())
            .add("name", declaration.name())
            .add("file", declaration.file)
            .add("line", declaration.line == 0 ? Json() : Json(declaration.line));
        return result.reason.empty() ? json : json.add("reason", result.reason);
    }

    static int _conclude(std::size_t done, std::size_t total, const Tally& tally, Output& output) {
        if (done < total) {
            output.error(fmt::format("stopped after {} of {} declarations", done, total),
                         "What was loaded stays; run it again to go on, what is there is skipped",
                         ExitCode::failed);
            return ExitCode::failed;
        }
        if (const std::uint64_t refused = tally.count(Outcome::refused); refused != 0) {
            output.error(fmt::format("the daemon refused {} of {} declarations", refused, total),
                         "The lines above say why", ExitCode::refused);
            return ExitCode::refused;
        }
        return ExitCode::done;
    }

    std::vector<std::string> _files;
    bool _replaces = false;
};

}  // namespace

std::unique_ptr<Command> makeImport() {
    return std::make_unique<Import>();
}

}  // namespace velm

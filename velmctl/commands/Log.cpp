#include "velmctl/client/ClientError.h"
#include "velmctl/client/StatusReader.h"
#include "velmctl/client/WBEMClient.h"
#include "velmctl/commands/Command.h"
#include "velmctl/commands/CommandLineMistake.h"
#include "velmctl/commands/Ending.h"
#include "velmctl/commands/ExitCode.h"
#include "velmctl/commands/LogReader.h"
#include "velmctl/output/Text.h"

#include <limits>
#include <optional>
#include <utility>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

namespace velm {

namespace {

constexpr std::chrono::milliseconds interval{500};
constexpr std::size_t usualLines = 10;

/// Where the log is and whether it is written; nothing from a server that does not tell.
struct LogState {
    std::optional<bool> isOn;
    std::string file;

    bool isOff() const { return isOn == false; }

    static LogState of(const FaceClient& client) {
        try {
            const status::ServerStatus status = readStatus(client.status());
            return {status.logsIndications, status.indicationsLog};
        } catch (const std::runtime_error&) {
            return {};
        }
    }
};

/// Prints what is added to the log until it is told to end; waits for a daemon that went.
class Following {
public:
    Following(LogReader& reader, const FaceClient& client, Ending& ending, Output& output)
        : _reader(reader), _client(client), _ending(ending), _output(output) {}

    template <class Print>
    void run(Print print) {
        while (!_output.hasFailed() && _ending.wait(-1, interval) != Ending::Cause::told) {
            try {
                const LogReader::More more = _reader.more();
                _noteReturn();
                if (more.wasCleared) {
                    _output.notice("The log was cleared.");
                }
                print(more.lines);
            } catch (const ClientError& error) {
                _noteAbsence(error);
            }
        }
    }

private:
    void _noteAbsence(const ClientError& error) {
        if (!std::exchange(_isGone, true)) {
            _output.notice(fmt::format("The daemon is gone: {}. Waiting for it to come back; Ctrl-C ends.",
                                       error.what()));
        }
    }

    void _noteReturn() {
        if (std::exchange(_isGone, false)) {
            _output.notice(
                LogState::of(_client).isOff()
                    ? "The daemon is back, with the log switched off; velmctl log on switches it on."
                    : "The daemon is back.");
        }
    }

    LogReader& _reader;
    const FaceClient& _client;
    Ending& _ending;
    Output& _output;
    bool _isGone = false;
};

class Log : public Command {
public:
    CLI::App* declare(CLI::App& program, CommonOptions& common) override {
        CLI::App* command = program.add_subcommand(
            "log", "Switch, mark, clear or read the daemon's log of the indications that it delivers");
        command
            ->add_option("ACTION", _action,
                         "on, off; mark: a line of number signs; clear: empty it; tail: show its end")
            ->transform(oneOf({"on", "off", "mark", "clear", "tail"}))
            ->type_name("")
            ->required();
        command->add_option("-l,--lines", _lines, "How many lines tail shows; default: 10")
            ->type_name("N")
            ->check(numberFrom(0, std::numeric_limits<std::size_t>::max()));
        command->add_flag("-f,--follow", _follows, "tail: go on with what is added, until Ctrl-C");
        declareServer(*command, common);
        return command;
    }

    int run(const CommonOptions& common, Output& output) override {
        const FaceClient client(common.serverAddress(),
                                _follows ? FaceClient::shortPatience : FaceClient::usualPatience);
        if (_action == "tail") {
            return _tail(client, output);
        }
        if (_lines || _follows) {
            throw CommandLineMistake("--lines and --follow are for tail");
        }
        WBEMClient connection(client.server());
        if (_action == "on" || _action == "off") {
            connection.call("LogIndications",
                            {{"On", WBEMClient::value(_action == "on" ? "TRUE" : "FALSE")}});
        } else {
            connection.call(_action == "mark" ? "PlaceMarker" : "ClearIndicationsLog", {});
        }
        _report(LogState::of(client), output);
        return ExitCode::done;
    }

private:
    void _report(const LogState& state, Output& output) const {
        if (output.writesJson()) {
            Json json = Json::object().add("done", _action).add("file", state.file);
            output.json(json.add("isOn", state.isOn ? Json(*state.isOn) : Json()));
            return;
        }
        const std::string file = state.file.empty() ? "the indications log" : printable(state.file);
        if (_action == "on") {
            output.prose(fmt::format("on: each indication that is delivered gets a line in {}", file));
        } else if (_action == "off") {
            output.prose(fmt::format("off: {} stays as it is", file));
        } else if (_action == "mark") {
            output.prose(fmt::format("marked: the marker reaches {} with the next line", file));
        } else {
            output.prose(fmt::format("cleared {}", file));
        }
        if (state.isOff() && _action == "mark") {
            output.notice("Logging is off. Switch it on with: velmctl log on");
        }
    }

    int _tail(const FaceClient& client, Output& output) const {
        Ending ending;
        LogReader reader(client);
        const auto print = [&output](const std::vector<std::string>& lines) {
            for (const std::string& line : lines) {
                output.writesJson() ? output.json(Json::object().add("line", line))
                                    : output.line(printable(line));
            }
        };
        print(reader.last(_lines.value_or(usualLines)));
        if (LogState::of(client).isOff()) {
            output.notice("Logging is off: nothing is added. Switch it on with: velmctl log on");
        }
        if (_follows) {
            Following(reader, client, ending, output).run(print);
        }
        return ExitCode::done;
    }

    std::string _action;
    std::optional<std::size_t> _lines;
    bool _follows = false;
};

}  // namespace

std::unique_ptr<Command> makeLog() {
    return std::make_unique<Log>();
}

}  // namespace velm

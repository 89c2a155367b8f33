#include "velmctl/client/ClientError.h"
#include "velmctl/client/FaceClient.h"
#include "velmctl/client/StatusReader.h"
#include "velmctl/commands/Command.h"
#include "velmctl/commands/CommandLineMistake.h"
#include "velmctl/commands/Ending.h"
#include "velmctl/commands/ExitCode.h"
#include "velmctl/commands/StatusText.h"
#include "velmctl/commands/SubscriberReport.h"
#include "velmctl/commands/VersionCheck.h"
#include "velmctl/output/Text.h"

#include <algorithm>
#include <limits>
#include <optional>
#include <sstream>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

namespace velm {

namespace {

using Lines = std::vector<std::string>;

constexpr std::size_t detailWidth = 15;

/// What is shown of one status, and the exit code that it means.
struct Picture {
    Lines lines;
    int exitCode = ExitCode::done;
    /// Empty, or that the daemon's version is another one.
    std::string difference;
};

Lines reportLines(const SubscriberReport& report, std::size_t width, const Output& output) {
    Lines lines{output.coloured(Colour::bold, report.name)};
    for (const auto& [what, text] : report.details) {
        std::string lead = what;
        for (const std::string& line : wrapped(text, std::max(detailWidth, width - detailWidth - 4))) {
            lines.push_back(fmt::format("  {:<{}}  {}", lead, detailWidth, line));
            lead.clear();
        }
    }
    for (const std::string& line : wrapped(report.finding, width)) {
        lines.push_back(output.coloured(report.isWell ? Colour::green : Colour::red, line));
    }
    std::istringstream ways(report.advice);
    for (std::string way; std::getline(ways, way);) {
        for (std::string& line : wrapped(way, width)) {
            lines.push_back(std::move(line));
        }
    }
    return lines;
}

Json reportJson(const SubscriberReport& report) {
    Json details = Json::object();
    for (const auto& [what, text] : report.details) {
        details.add(what, text);
    }
    return Json::object()
        .add("subscriber", report.name)
        .add("isWell", report.isWell)
        .add("finding", report.finding)
        .add("advice", report.advice)
        .add("details", details);
}

class Status : public Command {
public:
    CLI::App* declare(CLI::App& program, CommonOptions& common) override {
        CLI::App* command = program.add_subcommand("status", "Show how the daemon and its subscribers do");
        command
            ->add_option("SUBSCRIBER", _subscriber,
                         "HOST:PORT[/SESSION]: all that is known about this one, and why it hears nothing")
            ->type_name("");
        command->add_flag("-w,--watch", _watches, "Show it again and again, until Ctrl-C");
        command->add_option("--interval", _interval, "Seconds between two looks with --watch; default: 1")
            ->type_name("SECONDS")
            ->check(numberFrom(1, 86400));
        command->add_flag("--all", _showsAll, "List every subscriber, however many there are");
        declareServer(*command, common);
        return command;
    }

    int run(const CommonOptions& common, Output& output) override {
        const FaceClient client(common.serverAddress(),
                                _watches ? FaceClient::shortPatience : FaceClient::usualPatience);
        if (!_subscriber.empty()) {
            _name = SubscriberName::parse(_subscriber);
        }
        if (_watches) {
            return _watch(client, output);
        }
        const Picture picture = _look(client, output);
        _show(picture, output);
        return picture.exitCode;
    }

private:
    Picture _look(const FaceClient& client, const Output& output) const {
        const std::string document = client.status();
        const status::ServerStatus status = _read(document, client.server());
        Picture picture = _name ? _pictureOfSubscribers(status, output)
                                : _pictureOfServer(status, document, client.server().text(), output);
        if (const auto difference = versionDifference(client.server(), status.version)) {
            picture.difference = printable(*difference);
            picture.exitCode = picture.exitCode == ExitCode::done ? ExitCode::otherVersion : picture.exitCode;
        }
        return picture;
    }

    static status::ServerStatus _read(const std::string& document, const HostPort& server) {
        try {
            return readStatus(document);
        } catch (const std::runtime_error& failure) {
            throw ClientError(
                ClientError::Kind::noCIMServer,
                fmt::format("what {} tells of its status cannot be read: {}", server.text(), failure.what()));
        }
    }

    Picture _pictureOfServer(const status::ServerStatus& status, const std::string& document,
                             const std::string& server, const Output& output) const {
        Picture picture;
        StatusView view{server, output.columns()};
        view.maxSubscribers = _showsAll ? std::numeric_limits<std::size_t>::max() : view.maxSubscribers;
        picture.lines = output.writesJson() ? Lines{document} : statusLines(status, view, output);
        picture.exitCode = isHealthy(status) ? ExitCode::done : ExitCode::unhealthy;
        return picture;
    }

    Picture _pictureOfSubscribers(const status::ServerStatus& status, const Output& output) const {
        Picture picture;
        for (const SubscriberReport& report : reportSubscribers(status, *_name)) {
            if (output.writesJson()) {
                picture.lines.push_back(reportJson(report).text());
            } else {
                for (std::string& line : reportLines(report, output.columns(), output)) {
                    picture.lines.push_back(std::move(line));
                }
            }
            picture.exitCode = report.isWell ? picture.exitCode : ExitCode::unhealthy;
        }
        return picture;
    }

    static void _draw(Picture picture, Output& output) {
        if (!picture.difference.empty()) {
            picture.lines.insert(picture.lines.begin(), output.coloured(Colour::yellow, picture.difference));
        }
        output.screen(picture.lines);
    }

    static void _show(const Picture& picture, Output& output) {
        if (!picture.difference.empty()) {
            output.notice(picture.difference);
        }
        for (const std::string& line : picture.lines) {
            output.line(line);
        }
    }

    int _watch(const FaceClient& client, Output& output) const {
        Ending ending;
        const bool redraws = output.isTerminal() && !output.writesJson();
        // The first look fails as a single one does; later ones wait for the daemon to come back.
        for (Picture picture = _look(client, output);;) {
            redraws ? _draw(picture, output) : _show(picture, output);
            if (output.hasFailed() ||
                ending.wait(-1, std::chrono::seconds(_interval)) == Ending::Cause::told) {
                return ExitCode::done;
            }
            picture = _lookAgain(client, output);
        }
    }

    Picture _lookAgain(const FaceClient& client, const Output& output) const {
        try {
            return _look(client, output);
        } catch (const ClientError& error) {
            const std::string text = fmt::format("The daemon is gone: {}", printable(error.what()));
            return {
                {output.writesJson() ? Json::object().add("notice", text).text() : text}, ExitCode::done, {}};
        }
    }

    std::string _subscriber;
    std::optional<SubscriberName> _name;
    bool _watches = false;
    bool _showsAll = false;
    int _interval = 1;
};

}  // namespace

std::unique_ptr<Command> makeStatus() {
    return std::make_unique<Status>();
}

}  // namespace velm

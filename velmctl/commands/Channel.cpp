#include "velmctl/client/ChannelClient.h"
#include "velmctl/client/ClientError.h"
#include "velmctl/commands/Command.h"
#include "velmctl/commands/Ending.h"
#include "velmctl/commands/ExitCode.h"
#include "velmctl/commands/IndicationPrinter.h"
#include "velmctl/commands/SessionOptions.h"
#include "velmctl/commands/Subscriber.h"
#include "velmctl/commands/SubscriptionOptions.h"
#include "velmctl/output/Text.h"

#include <optional>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

namespace velm {

namespace {

using std::chrono::duration_cast;
using std::chrono::milliseconds;
using std::chrono::seconds;
using std::chrono::steady_clock;

/// Reads a channel until it is told to end or the channel breaks.
class ChannelReading {
public:
    ChannelReading(ChannelClient& channel, IndicationPrinter& printer, seconds interval, Ending& ending,
                   Output& output)
        : _channel(channel), _printer(printer), _interval(interval), _ending(ending), _output(output) {}

    /// Answers why the channel broke; nothing when it was told to end.
    std::optional<std::string> run() {
        for (auto due = steady_clock::now() + _interval;;) {
            if (steady_clock::now() >= due) {
                if (auto failure = _beat()) {
                    return failure;
                }
                due = steady_clock::now() + _interval;
            }
            switch (_ending.wait(_channel.descriptor(),
                                 duration_cast<milliseconds>(due - steady_clock::now()) + milliseconds(1))) {
                case Ending::Cause::told:
                    return std::nullopt;
                case Ending::Cause::late:
                    break;
                case Ending::Cause::readable:
                    if (auto failure = _receive()) {
                        return failure;
                    }
            }
        }
    }

private:
    std::optional<std::string> _beat() {
        try {
            _channel.sendHeartBeat();
            return std::nullopt;
        } catch (const ClientError& error) {
            return fmt::format("the daemon takes no heartbeat: {}", error.what());
        }
    }

    std::optional<std::string> _receive() {
        try {
            const bool isOpen =
                _channel.receive([this](const ExportMessage& message) { _printer.print(message); });
            return isOpen ? std::nullopt : std::optional<std::string>("the daemon closed it");
        } catch (const ClientError& error) {
            return error.what();
        } catch (const std::runtime_error& error) {
            _output.notice(fmt::format("not an export message: {}", error.what()));
            return std::nullopt;
        }
    }

    ChannelClient& _channel;
    IndicationPrinter& _printer;
    const seconds _interval;
    Ending& _ending;
    Output& _output;
};

class Channel : public Command {
public:
    CLI::App* declare(CLI::App& program, CommonOptions& common) override {
        CLI::App* command = program.add_subcommand(
            "channel", "The same over a connection that stays open, without a listener");
        _subscriptions.declare(*command);
        _printing.declare(*command);
        _session.declare(*command);
        declareServer(*command, common);
        return command;
    }

    int run(const CommonOptions& common, Output& output) override {
        Ending ending;
        IndicationPrinter printer(_printing, _subscriptions, output, ending);
        const HostPort server = common.serverAddress();
        const auto wanted = _subscriptions.subscriptionsAt(server);
        ChannelClient channel(server, _session.number(), _session.patience());
        Subscriber subscriber(server, channel.identity(), wanted, _session.patience());
        subscriber.subscribe();
        channel.sendHeartBeat();
        output.notice(fmt::format("Channel open as {}, {} at {}. Ctrl-C ends.", channel.name().text(),
                                  counted(subscriber.size(), "subscription"), server.text()));
        const auto failure = ChannelReading(channel, printer, _session.interval(), ending, output).run();
        if (failure) {
            output.error(fmt::format("the channel broke after {}: {}", counted(printer.count(), "indication"),
                                     *failure),
                         "The subscriptions went with it; run this again when the daemon is there",
                         ExitCode::channelBroke);
            return ExitCode::channelBroke;
        }
        output.notice(fmt::format("Channel closed after {}.", counted(printer.count(), "indication")));
        return ExitCode::done;
    }

private:
    SubscriptionOptions _subscriptions;
    PrintOptions _printing;
    SessionOptions _session;
};

}  // namespace

std::unique_ptr<Command> makeChannel() {
    return std::make_unique<Channel>();
}

}  // namespace velm

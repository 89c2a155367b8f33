#include "velmctl/client/ClientError.h"
#include "velmctl/client/ExportListener.h"
#include "velmctl/commands/Command.h"
#include "velmctl/commands/CommandLineMistake.h"
#include "velmctl/commands/Ending.h"
#include "velmctl/commands/ExitCode.h"
#include "velmctl/commands/IndicationPrinter.h"
#include "velmctl/commands/SessionOptions.h"
#include "velmctl/commands/Subscriber.h"
#include "velmctl/commands/SubscriptionOptions.h"
#include "velmctl/output/Text.h"

#include <algorithm>
#include <thread>
#include <utility>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

namespace velm {

namespace {

using std::chrono::seconds;

constexpr seconds retryInterval{1};
/// Whoever presses Ctrl-C does not want to wait.
constexpr seconds patienceAtEnd{2};

/// Serves a listener on a thread of its own for as long as it lives.
class Serving {
public:
    explicit Serving(ExportListener& listener)
        : _listener(listener), _thread([&listener] { listener.run(); }) {}
    Serving(const Serving&) = delete;
    Serving& operator=(const Serving&) = delete;
    ~Serving() {
        _listener.stop();
        _thread.join();
    }

private:
    ExportListener& _listener;
    std::thread _thread;
};

/// Waits for the end, and meanwhile sees the daemon go and come back.
class Watch {
public:
    Watch(Subscriber& subscriber, const HostPort& server, seconds interval, Ending& ending, Output& output)
        : _subscriber(subscriber),
          _server(server.text()),
          _interval(interval),
          _ending(ending),
          _output(output) {}

    /// Returns when told to end.
    void run() {
        for (;;) {
            const auto cause =
                _isGone ? _ending.wait(-1, retryInterval) : _ending.wait(_subscriber.descriptor(), _interval);
            if (cause == Ending::Cause::told) {
                return;
            }
            if (cause == Ending::Cause::late && !_isGone) {
                _beat();
            } else {
                _return();
            }
        }
    }

private:
    void _beat() {
        try {
            _subscriber.sendHeartBeat();
        } catch (const ClientError& error) {
            _noteAbsence(error);
        }
    }

    /// The connection is gone; perhaps the daemon only closed it.
    void _return() {
        try {
            const bool stood = _subscriber.resubscribe();
            if (_isGone || !stood) {
                _output.notice(fmt::format("The daemon at {} is back: {}.", _server,
                                           stood ? "it still has the subscriptions" : "subscribed again"));
            }
            _isGone = false;
        } catch (const ClientError& error) {
            _noteAbsence(error);
        }
    }

    void _noteAbsence(const ClientError& error) {
        if (error.kind() == ClientError::Kind::refused) {
            throw error;
        }
        if (!std::exchange(_isGone, true)) {
            _output.notice(fmt::format("The daemon is gone: {}. Waiting for it to come back; Ctrl-C ends.",
                                       error.what()));
        }
    }

    Subscriber& _subscriber;
    const std::string _server;
    const seconds _interval;
    Ending& _ending;
    Output& _output;
    bool _isGone = false;
};

class Listen : public Command {
public:
    CLI::App* declare(CLI::App& program, CommonOptions& common) override {
        CLI::App* command = program.add_subcommand(
            "listen", "Listen for indications and print one line for each, until Ctrl-C");
        _subscriptions.declare(*command);
        _printing.declare(*command);
        command->add_option("--address", _address, "Loopback address to listen on; default: 127.0.0.1")
            ->type_name("ADDRESS");
        command->add_option("--port", _port, "Port to listen on; default: a free one")
            ->type_name("PORT")
            ->check(numberFrom(0, 65535));
        _session.declare(*command);
        declareServer(*command, common);
        return command;
    }

    int run(const CommonOptions& common, Output& output) override {
        const HostPort server = common.serverAddress();
        _requireAnotherAddress(server);
        Ending ending;
        IndicationPrinter printer(_printing, _subscriptions, output, ending);
        ExportListener listener(
            {_address, std::to_string(_port)}, [&](const ExportMessage& message) { printer.print(message); },
            [&](const std::string& problem) { output.notice(problem); });
        Subscriber subscriber(server, WBEMClient::subscriber(listener.address(), _session.number()),
                              _subscriptions.subscriptionsAt(server), _session.patience());
        const Serving serving(listener);
        subscriber.subscribe();
        // From the first one on, the daemon forgets a subscriber that is no longer there.
        subscriber.sendHeartBeat();
        output.notice(fmt::format("Listening on {}, {} at {}. Ctrl-C ends.", listener.address().text(),
                                  counted(subscriber.size(), "subscription"), server.text()));
        Watch(subscriber, server, _session.interval(), ending, output).run();
        _unsubscribe(subscriber, printer.count(), output);
        return ExitCode::done;
    }

private:
    /// Where no daemon keeps it from its port, the listener would wait for an answer of its own.
    void _requireAnotherAddress(const HostPort& server) const {
        if (server.port != std::to_string(_port)) {
            return;
        }
        const auto addresses = loopbackAddresses(server.host);
        if (std::ranges::find(addresses, loopbackAddresses(_address).front()) != addresses.end()) {
            throw CommandLineMistake(fmt::format(
                "{} is the daemon's own address; give the listener another --port, or none", server.text()));
        }
    }

    static void _unsubscribe(Subscriber& subscriber, std::uint64_t count, Output& output) {
        const std::string heard = counted(count, "indication") + ".";
        try {
            subscriber.unsubscribe(patienceAtEnd);
            output.notice("Unsubscribed after " + heard);
        } catch (const ClientError& error) {
            const bool isGone = error.kind() == ClientError::Kind::noServer;
            output.notice(fmt::format("Could not unsubscribe: {}{}. Ended after {}", error.what(),
                                      isGone ? "; the subscriptions went with the daemon"
                                             : "; the daemon forgets a listener that is not there",
                                      heard));
        }
    }

    SubscriptionOptions _subscriptions;
    PrintOptions _printing;
    std::string _address = "127.0.0.1";
    std::uint16_t _port = 0;
    SessionOptions _session;
};

}  // namespace

std::unique_ptr<Command> makeListen() {
    return std::make_unique<Listen>();
}

}  // namespace velm

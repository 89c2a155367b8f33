#include "velmctl/client/ClientError.h"
#include "velmctl/client/FaceClient.h"
#include "velmctl/client/StatusReader.h"
#include "velmctl/commands/Command.h"
#include "velmctl/commands/CommandLineMistake.h"
#include "velmctl/commands/ExitCode.h"
#include "velmctl/commands/StatusText.h"
#include "velmctl/commands/Subscriber.h"
#include "velmctl/commands/SubscriptionOptions.h"
#include "velmctl/output/Text.h"

#include <limits>

#include <CLI/CLI.hpp>
#include <fmt/format.h>
#include <fmt/ranges.h>

namespace velm {

namespace {

constexpr std::chrono::seconds patienceForName{3};

/// For a listener that is another program.
class SubscribeBase : public Command {
protected:
    void declareOptions(CLI::App& command, CommonOptions& common) {
        _subscriptions.declare(command);
        command.add_option("--to", _listener, "HOST:PORT of the listener, as the daemon is to call it")
            ->type_name("LISTENER")
            ->required();
        command.add_option("--session", _session, "Session number of the listener; default: 1")
            ->type_name("N")
            ->check(numberFrom(0, std::numeric_limits<unsigned int>::max()));
        declareServer(command, common);
    }

    HostPort listener() const { return HostPort::parse(_listener); }

    Subscriber subscriber(const CommonOptions& common) const {
        const HostPort server = common.serverAddress();
        return {server, WBEMClient::subscriber(listener(), _session), _subscriptions.subscriptionsAt(server),
                WBEMClient::usualPatience};
    }

    void report(const char* what, const Subscriber& subscriber, Output& output) const {
        if (output.writesJson()) {
            output.json(Json::object()
                            .add("done", what)
                            .add("listener", listener().text())
                            .add("session", static_cast<std::uint64_t>(_session))
                            .add("subscriptions", static_cast<std::uint64_t>(subscriber.size())));
        } else {
            output.line(fmt::format("{} {} session {}: {}", what, listener().text(), _session,
                                    counted(subscriber.size(), "subscription")));
        }
    }

    /// The daemon runs here, so that it finds what is found here.
    void noteUnknownHost(Output& output) const {
        const std::string host = listener().host;
        try {
            loopbackAddresses(host, patienceForName);
        } catch (const ClientError& error) {
            if (error.kind() == ClientError::Kind::unresolved) {
                output.notice(fmt::format(
                    "But {}: the daemon removes such a subscriber with its first indication.", error.what()));
            }
        }
    }

    /// Empty, or what to say of the sessions that are subscribed at the listener's address.
    std::string sessionsKnown(const HostPort& server) const {
        try {
            const SubscriberName name{listener(), {}};
            std::vector<std::string> sessions;
            for (const auto& subscriber : readStatus(FaceClient(server).status()).subscribers) {
                if (name.names(subscriber) && !hasLeft(subscriber)) {
                    sessions.push_back(subscriber.session);
                }
            }
            return sessions.empty()
                       ? ""
                       : fmt::format("; subscribed there: session {}", fmt::join(sessions, ", "));
        } catch (const std::runtime_error&) {
            return {};  // It is a hint only.
        }
    }

private:
    SubscriptionOptions _subscriptions;
    std::string _listener;
    unsigned int _session = 1;
};

class Subscribe : public SubscribeBase {
public:
    CLI::App* declare(CLI::App& program, CommonOptions& common) override {
        CLI::App* command = program.add_subcommand("subscribe", "Subscribe for a listener of your own");
        declareOptions(*command, common);
        return command;
    }

    int run(const CommonOptions& common, Output& output) override {
        Subscriber wanted = subscriber(common);
        wanted.subscribe();
        report("subscribed", wanted, output);
        noteUnknownHost(output);
        return ExitCode::done;
    }
};

class Unsubscribe : public SubscribeBase {
public:
    CLI::App* declare(CLI::App& program, CommonOptions& common) override {
        CLI::App* command =
            program.add_subcommand("unsubscribe", "Take back what subscribe did, with the same options");
        declareOptions(*command, common);
        return command;
    }

    int run(const CommonOptions& common, Output& output) override {
        Subscriber unwanted = subscriber(common);
        if (!unwanted.unsubscribe(WBEMClient::usualPatience)) {
            output.error("the daemon has no such subscription, or not all of them",
                         "Give the options with which it was made, --to and --session included" +
                             sessionsKnown(common.serverAddress()),
                         ExitCode::refused);
            return ExitCode::refused;
        }
        report("unsubscribed", unwanted, output);
        return ExitCode::done;
    }
};

}  // namespace

std::unique_ptr<Command> makeSubscribe() {
    return std::make_unique<Subscribe>();
}

std::unique_ptr<Command> makeUnsubscribe() {
    return std::make_unique<Unsubscribe>();
}

}  // namespace velm

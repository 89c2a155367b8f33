#include "velmd/daemon/Daemon.h"

#include "foundation/services/ORVLog.h"
#include "foundation/utilities/OrvoBaseException.h"
#include "velmd/daemon/ClassMirror.h"
#include "velmd/daemon/Descriptors.h"
#include "velmd/daemon/Import.h"
#include "velmd/daemon/LastResort.h"
#include "velmd/daemon/LogSetup.h"
#include "velmd/daemon/Server.h"
#include "velmd/daemon/ServiceManager.h"
#include "velmd/daemon/Signals.h"
#include "velmd/daemon/StateDirectory.h"
#include "velmd/settings/Settings.h"

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <exception>
#include <memory>
#include <string>
#include <unistd.h>
#include <utility>

#include <fmt/format.h>
#include <fmt/ranges.h>

extern char** environ;

namespace velm {

namespace {

using std::chrono::milliseconds;

constexpr int exitFailed = 1;
constexpr int exitNotAllowed = 2;
constexpr milliseconds longestNap{1000};
/// For what cannot be cut off: a request that is being carried out, and a provider that goes.
constexpr milliseconds grace{3000};

Settings::Environment environment() {
    Settings::Environment variables;
    for (char** next = environ; *next != nullptr; ++next) {
        const std::string_view entry(*next);
        const auto equals = entry.find('=');
        if (equals != std::string_view::npos) {
            variables.emplace(entry.substr(0, equals), entry.substr(equals + 1));
        }
    }
    return variables;
}

Settings readSettings(const CommandLine& commandLine) {
    return Settings(commandLine.configuration, environment(), commandLine.overrides);
}

/// Requires: an exception is being handled.
std::string presentFailure() {
    try {
        throw;
    } catch (const OrvoBaseException& failure) {
        return std::string(failure.getMessage().view());
    } catch (const std::exception& failure) {
        return failure.what();
    } catch (...) {
        return "unknown failure";
    }
}

const char* nameOf(int signal) {
    return signal == SIGTERM ? "SIGTERM" : "SIGINT";
}

/// A provider may take its time to start, or never come back.
std::unique_ptr<Server> startServer(const Settings& settings) {
    const LastResort lastResort(LastResort::never, [](int signal) {
        return fmt::format("Ended at once by {}, before the start was complete.", nameOf(signal));
    });
    try {
        return std::make_unique<Server>(settings);
    } catch (...) {
        if (!settings.text("Log", "File").empty()) {
            logError("Not started: " + presentFailure());
        }
        throw;
    }
}

std::string listOr(const std::vector<std::string>& keys, const char* otherwise) {
    return keys.empty() ? otherwise : fmt::format("{}", fmt::join(keys, ", "));
}

void reload(const CommandLine& commandLine, Settings& settings, const Server& server) {
    tellReloading();
    if (!ORVLog::reopen()) {
        logError("The log file cannot be opened anew; the log goes on in the one that was open.");
    }
    try {
        const Settings newer = readSettings(commandLine);
        const Settings::Difference difference = settings.differenceTo(newer);
        const Settings changed = settings.withLiveOnesOf(newer);
        changeLog(settings, changed);
        settings = changed;
        logInformation(fmt::format("Reloaded; in effect now: {}; at the next start: {}.",
                                   listOr(difference.live, "nothing new"),
                                   listOr(difference.needRestart, "nothing")));
    } catch (...) {
        logError("Not reloaded: " + presentFailure());
    }
    tellReady(server.describe());
}

/// Until SIGTERM or SIGINT.
void waitForTheEnd(const CommandLine& commandLine, Settings& settings, Server& server,
                   const Signals& signals) {
    const milliseconds watchdog = watchdogInterval();
    const milliseconds nap = watchdog.count() > 0 ? std::min(watchdog, longestNap) : longestNap;
    for (;;) {
        const int signal = signals.wait(nap);
        if (signal == SIGHUP) {
            reload(commandLine, settings, server);
        } else if (signal != 0) {
            logInformation(fmt::format("Received {}, stopping.", nameOf(signal)));
            return;
        }
        if (server.makesProgress()) {
            tellAlive();
        }
        server.sampleRates();
        // Counts of repeated lines are written at the next line; a quiet server has none.
        ORVLog::flush();
    }
}

void stopServing(Server& server, milliseconds patience) {
    const Server::Leftover left = server.stop(patience);
    logInformation(
        left.requests == 0 && left.indications == 0
            ? "Stopped; nothing was left undone."
            : fmt::format("Stopped; {} request(s) were cut off and {} indication(s) were not delivered.",
                          left.requests, left.indications));
}

/// In `patience` and the grace, whatever hangs.
void stop(std::unique_ptr<Server> server, milliseconds patience) {
    const milliseconds longest = patience + grace;
    const auto deadline = LastResort::Clock::now() + longest;
    const auto reason = [longest](int signal) {
        return signal != 0 ? fmt::format("Ended at once by {} while stopping", nameOf(signal))
                           : fmt::format(
                                 "Ended without them: a request or a provider did not come to its end within "
                                 "{} seconds",
                                 std::chrono::ceil<std::chrono::seconds>(longest).count());
    };
    {
        const LastResort lastResort(deadline, [&](int signal) {
            const Server::Leftover left = server->underWay();
            return fmt::format(
                "{}; left behind: {} request(s) being carried out, {} indication(s) not "
                "delivered.",
                reason(signal), left.requests, left.indications);
        });
        stopServing(*server, patience);
    }
    const LastResort lastResort(deadline, [&](int signal) { return reason(signal) + "."; });
    server.reset();
}

/// Connections, files and deliveries share the descriptors.
void provideDescriptors(const Settings& settings) {
    const std::size_t limit = raiseDescriptorLimit();
    const auto connections = static_cast<std::size_t>(settings.number("Limits", "MaxConnections"));
    const std::size_t taken = connectionsWithin(limit, connections);
    if (taken < connections) {
        logInformation(
            fmt::format("The system allows {} open files; that is too few for Limits.MaxConnections = {}: at "
                        "most {} connections are taken.",
                        limit, connections, taken));
    }
}

int serve(const CommandLine& commandLine) {
    const Signals signals;
    Settings settings = readSettings(commandLine);
    setUpLog(settings);
    provideDescriptors(settings);
    auto server = startServer(settings);
    logInformation("Serving on " + server->describe() + ".");
    tellReady(server->describe());
    waitForTheEnd(commandLine, settings, *server, signals);
    const milliseconds patience = settings.seconds("Server", "DrainSeconds");
    tellStopping(patience + grace);
    stop(std::move(server), patience);
    return 0;
}

int checkConfiguration(const CommandLine& commandLine) {
    fmt::print("{}\nThe configuration is fine.\n", readSettings(commandLine).describe());
    return 0;
}

/// The files are read first: when one cannot be, nothing has been touched.
int import(const CommandLine& commandLine) {
    const Settings settings = readSettings(commandLine);
    Import files;
    for (const auto& file : commandLine.imports) {
        files.addFile(file);
    }
    const StateDirectory state(settings.text("Server", "StateDirectory"));
    Repository repository(state.repositoryFile());
    if (repository.isNew()) {
        seed(repository);
    }
    const Import::Count count = files.into(repository, commandLine.nameSpace);
    fmt::print("Imported {} classes, {} qualifier types and {} instances into {}.\n", count.classes,
               count.qualifiers, count.instances, commandLine.nameSpace);
    return 0;
}

int act(const CommandLine& commandLine) {
    switch (commandLine.action) {
        case CommandLine::Action::serve:
            return serve(commandLine);
        case CommandLine::Action::checkConfiguration:
            return checkConfiguration(commandLine);
        case CommandLine::Action::printDefaults:
            fmt::print("{}", Settings::documentedDefaults());
            return 0;
        case CommandLine::Action::import:
            return import(commandLine);
        case CommandLine::Action::leave:
            break;
    }
    return commandLine.exitCode;
}

}  // namespace

int runDaemon(const CommandLine& commandLine) {
    ignoreWriteSignals();
    try {
        return act(commandLine);
    } catch (const SettingError& error) {
        std::fprintf(stderr, "%s\n", error.what());
        return exitNotAllowed;
    } catch (...) {
        std::fprintf(stderr, "velmd: %s\n", presentFailure().c_str());
        return exitFailed;
    }
}

}  // namespace velm

#include "velmctl/commands/Program.h"

#include "foundation/utilities/OrvoBaseException.h"
#include "velmctl/client/ClientError.h"
#include "velmctl/commands/Command.h"
#include "velmctl/commands/CommandLineMistake.h"
#include "velmctl/commands/ExitCode.h"
#include "velmctl/commands/HelpText.h"
#include "velmctl/commands/VersionCheck.h"
#include "velmd/model/CIMStatus.h"

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <fcntl.h>
#include <map>
#include <sstream>
#include <string_view>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

namespace velm {

namespace {

using Kind = ClientError::Kind;

void declareCommon(CLI::App& app, CommonOptions& common) {
    app.set_help_flag("-h,--help", "Print this text")->group("Common");
    app.add_flag("--json", common.writesJson, "Write JSON, one object a line")->group("Common");
}

std::string adviceFor(CIMStatus status, const CommonOptions& common) {
    const bool isUsual = common.nameSpace == CommonOptions().nameSpace;
    switch (status) {
        case CIMStatus::invalidClass:
            return fmt::format("velmctl classes{} shows those that there are",
                               isUsual ? "" : " --namespace " + common.nameSpace);
        case CIMStatus::invalidNamespace:
            return isUsual ? "" : fmt::format("Leave out --namespace for {}", CommonOptions().nameSpace);
        case CIMStatus::notFound:
            return "velmctl instances CLASS --names shows those that there are";
        case CIMStatus::alreadyExists:
            return "velmctl emit modify changes one that there is";
        case CIMStatus::noSuchProperty:
            return "Check the spelling of its name";
        case CIMStatus::invalidParameter:
            return "velmctl COMMAND --help shows what is allowed";
        default:
            return "The daemon's log may tell more";
    }
}

/// What to do about a failure.
std::string adviceFor(const ClientError& error, const CommonOptions& common) {
    switch (error.kind()) {
        case Kind::unresolved:
            return "Check the spelling, or name an address: 127.0.0.1 or ::1";
        case Kind::notLocal:
            return "velmctl talks to this machine only: 127.0.0.1, ::1 or localhost";
        case Kind::noServer:
            return fmt::format(
                "Start the daemon: systemctl start velmd, or velmd --port {}. Or name another with --server "
                "HOST:PORT",
                common.serverAddress().port);
        case Kind::noAnswer:
            return "Look at the daemon's log; it may be stopped or overloaded";
        case Kind::noCIMServer:
            return "Name the daemon's port with --server HOST:PORT";
        case Kind::cannotListen:
            return "Choose another with --address and --port; --port 0 is a free one";
        case Kind::refused:
            return adviceFor(static_cast<CIMStatus>(error.status()), common);
        case Kind::badAddress:
        case Kind::unknownPage:
            break;
    }
    return {};
}

/// Whether the reason may be that the daemon is older or newer than this program.
bool dependsOnVersion(const ClientError& error) {
    return error.kind() == Kind::unknownPage ||
           (error.kind() == Kind::refused && error.status() == static_cast<int>(CIMStatus::notSupported));
}

int exitCodeFor(Kind kind) {
    switch (kind) {
        case Kind::badAddress:
            return ExitCode::usage;
        case Kind::refused:
            return ExitCode::refused;
        case Kind::cannotListen:
            return ExitCode::cannotListen;
        case Kind::unknownPage:
            return ExitCode::failed;
        case Kind::unresolved:
        case Kind::notLocal:
        case Kind::noServer:
        case Kind::noAnswer:
        case Kind::noCIMServer:
            break;
    }
    return ExitCode::unreachable;
}

class Program {
public:
    Program() : _app("Talks to velmd: subscribes, listens, makes things happen.", "velmctl") {
        const std::size_t columns = Output(false).proseColumns();
        _app.formatter(makeHelpFormatter(columns));
        _app.footer(helpFooter(columns));
        _app.require_subcommand(1);
        _app.set_version_flag("--version", "velmctl " + ownVersion(), "Print the version")->group("Common");
        declareCommon(_app, _common);
        declareServer(_app, _common);
        // Here only: a subcommand's option would take it although the program's own was given.
        _app.get_option("--server")->envname("VELMCTL_SERVER");
        for (auto& command : allCommands()) {
            CLI::App* declared = command->declare(_app, _common);
            declareCommon(*declared, _common);
            declared->footer("");
            _commands.emplace(declared, std::move(command));
        }
    }

    int run(int argc, const char* const* argv) {
        try {
            _app.parse(argc, argv);
        } catch (const CLI::ParseError& reason) {
            // A parse that failed has set no flag.
            const bool wantsJson = std::find(argv, argv + argc, std::string_view("--json")) != argv + argc;
            return _leave(reason, wantsJson);
        }
        Output output(_common.writesJson);
        return _guarded(*_commands.at(_app.get_subcommands().front()), output);
    }

private:
    int _leave(const CLI::ParseError& reason, bool writesJson) {
        Output output(writesJson);
        if (reason.get_exit_code() == 0) {
            return _printHelp(reason, output);
        }
        output.error(describeMistake(_app, reason), adviceForMistake(_app), ExitCode::usage);
        return ExitCode::usage;
    }

    /// Or the version.
    int _printHelp(const CLI::ParseError& wish, Output& output) {
        std::ostringstream text;
        _app.exit(wish, text);
        std::string help = text.str();
        help.erase(help.find_last_not_of('\n') + 1);
        output.line(help);
        return _withOutput(ExitCode::done, output);
    }

    /// Results that were not written are a failure.
    static int _withOutput(int code, Output& output) {
        if (const std::string failure = output.failure(); code == ExitCode::done && !failure.empty()) {
            output.error(fmt::format("cannot write to standard output: {}", failure),
                         "Write to another place, or make room there", ExitCode::failed);
            return ExitCode::failed;
        }
        return code;
    }

    int _guarded(Command& command, Output& output) {
        try {
            return _withOutput(command.run(_common, output), output);
        } catch (const ClientError& error) {
            return _report(error, output);
        } catch (const CommandLineMistake& mistake) {
            output.error(mistake.what(), adviceForMistake(_app), ExitCode::usage);
            return ExitCode::usage;
        } catch (const OrvoBaseException& error) {
            output.error(error.getMessage().view(), "", ExitCode::failed);
        } catch (const std::exception& error) {
            output.error(error.what(), "", ExitCode::failed);
        }
        return ExitCode::failed;
    }

    int _report(const ClientError& error, Output& output) const {
        if (dependsOnVersion(error)) {
            try {
                return _reportWithPeer(error, askWho(_common.serverAddress()), output);
            } catch (const ClientError&) {
                // It went meanwhile; what it said before counts.
            }
        }
        const int code = exitCodeFor(error.kind());
        output.error(error.what(), adviceFor(error, _common), code);
        return code;
    }

    int _reportWithPeer(const ClientError& error, const Peer& peer, Output& output) const {
        const HostPort server = _common.serverAddress();
        if (!peer.isDaemon) {
            const ClientError other(Kind::noCIMServer,
                                    fmt::format("what listens on {} is no velmd", server.text()));
            output.error(other.what(), adviceFor(other, _common), ExitCode::unreachable);
            return ExitCode::unreachable;
        }
        if (const auto difference = versionDifference(server, peer.version)) {
            output.error(fmt::format("{}: {}", *difference, error.what()),
                         "Use the velmctl that came with the daemon, or restart the daemon after an update",
                         ExitCode::otherVersion);
            return ExitCode::otherVersion;
        }
        const int code = exitCodeFor(error.kind());
        output.error(error.what(), adviceFor(error, _common), code);
        return code;
    }

    CLI::App _app;
    CommonOptions _common;
    std::map<const CLI::App*, std::unique_ptr<Command>> _commands;
};

/// A stream that the caller closed must not become a connection's descriptor.
void keepStreams() {
    int opened = 0;
    do {
        opened = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
    } while (opened >= 0 && opened <= STDERR_FILENO);
    ::close(opened);
}

}  // namespace

int runVelmctl(int argc, const char* const* argv) {
    keepStreams();
    // A reader that goes away is seen where its lines are written, so that there is time to unsubscribe.
    std::signal(SIGPIPE, SIG_IGN);
    try {
        return Program().run(argc, argv);
    } catch (const std::exception& failure) {
        fmt::print(stderr, "velmctl: {}\n", failure.what());
    }
    return ExitCode::failed;
}

}  // namespace velm

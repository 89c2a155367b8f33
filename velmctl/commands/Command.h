#pragma once

#include "velmctl/client/HostPort.h"
#include "velmctl/output/Output.h"

#include <memory>
#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace velm {

/// The options that are the same wherever they stand.
struct CommonOptions {
    std::string server = "127.0.0.1:5988";
    std::string nameSpace = "root/kob/talmora";
    bool writesJson = false;

    HostPort serverAddress() const { return HostPort::parse(server, "5988"); }
};

/// Options that several subcommands take.
void declareServer(CLI::App& command, CommonOptions& common);
void declareNamespace(CLI::App& command, CommonOptions& common);

/// One subcommand. A new one is a class in a file of its own and a line in allCommands().
///
/// Used by one thread. Failure: whatever run() throws becomes a line on standard error and an exit code.
class Command {
public:
    Command() = default;
    Command(const Command&) = delete;
    Command& operator=(const Command&) = delete;
    virtual ~Command() = default;

    /// Adds the subcommand to the program and returns it; its options write to this object and to `common`.
    virtual CLI::App* declare(CLI::App& program, CommonOptions& common) = 0;

    /// Does what the options say. Returns the exit code.
    virtual int run(const CommonOptions& common, Output& output) = 0;
};

/// In the order in which the help shows them.
std::vector<std::unique_ptr<Command>> allCommands();

/// Each in its own file.
std::unique_ptr<Command> makeStatus();
std::unique_ptr<Command> makeSubscribe();
std::unique_ptr<Command> makeUnsubscribe();
std::unique_ptr<Command> makeListen();
std::unique_ptr<Command> makeChannel();
std::unique_ptr<Command> makeEmit();
std::unique_ptr<Command> makePingListener();
std::unique_ptr<Command> makeClasses();
std::unique_ptr<Command> makeInstances();
std::unique_ptr<Command> makeImport();
std::unique_ptr<Command> makeDump();
std::unique_ptr<Command> makeLog();
std::unique_ptr<Command> makeCompletion();

}  // namespace velm

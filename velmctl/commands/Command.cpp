#include "velmctl/commands/Command.h"

#include <CLI/CLI.hpp>

namespace velm {

void declareServer(CLI::App& command, CommonOptions& common) {
    command
        .add_option("-s,--server", common.server,
                    "HOST or HOST:PORT of the daemon; default: 127.0.0.1:5988; also from the environment: "
                    "VELMCTL_SERVER")
        ->type_name("SERVER")
        ->group("Common");
}

void declareNamespace(CLI::App& command, CommonOptions& common) {
    command.add_option("-n,--namespace", common.nameSpace, "Default: root/kob/talmora")
        ->type_name("NS")
        ->group("Common");
}

std::vector<std::unique_ptr<Command>> allCommands() {
    std::vector<std::unique_ptr<Command>> commands;
    commands.push_back(makeStatus());
    commands.push_back(makeListen());
    commands.push_back(makeChannel());
    commands.push_back(makeSubscribe());
    commands.push_back(makeUnsubscribe());
    commands.push_back(makeEmit());
    commands.push_back(makePingListener());
    commands.push_back(makeClasses());
    commands.push_back(makeInstances());
    commands.push_back(makeImport());
    commands.push_back(makeDump());
    commands.push_back(makeLog());
    commands.push_back(makeCompletion());
    return commands;
}

}  // namespace velm

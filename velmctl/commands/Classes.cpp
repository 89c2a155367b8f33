#include "velmctl/client/CIMClient.h"
#include "velmctl/commands/Command.h"
#include "velmctl/commands/ExitCode.h"
#include "velmctl/output/Text.h"
#include "velmctl/output/Tree.h"

#include <CLI/CLI.hpp>

namespace velm {

namespace {

using Entry = CIMClient::ClassEntry;

std::vector<Entry> withRoot(CIMClient& client, const std::string& root) {
    std::vector<Entry> entries;
    if (!root.empty()) {
        const CIMClass declaration = client.getClass(root);
        entries.push_back({declaration.name, declaration.superClass});
    }
    for (Entry& entry : client.classes(root)) {
        entries.push_back(std::move(entry));
    }
    return entries;
}

void printTree(const std::vector<Entry>& entries, Output& output) {
    std::vector<std::pair<std::string, std::string>> pairs;
    for (const Entry& entry : entries) {
        pairs.emplace_back(printable(entry.name), printable(entry.superClass));
    }
    for (const std::string& line : drawTrees(makeTrees(pairs), output.drawsBoxes())) {
        output.line(line);
    }
}

class Classes : public Command {
public:
    CLI::App* declare(CLI::App& program, CommonOptions& common) override {
        CLI::App* command = program.add_subcommand("classes", "Show the classes as a tree");
        command->add_option("ROOT", _root, "Only this class and those below it")->type_name("");
        declareServer(*command, common);
        declareNamespace(*command, common);
        return command;
    }

    int run(const CommonOptions& common, Output& output) override {
        CIMClient client(common.serverAddress(), common.nameSpace);
        const std::vector<Entry> entries = withRoot(client, _root);
        if (!output.writesJson()) {
            printTree(entries, output);
            return ExitCode::done;
        }
        for (const Entry& entry : entries) {
            Json json = Json::object().add("class", entry.name);
            output.json(json.add("superClass", entry.superClass.empty() ? Json() : Json(entry.superClass)));
        }
        return ExitCode::done;
    }

private:
    std::string _root;
};

}  // namespace

std::unique_ptr<Command> makeClasses() {
    return std::make_unique<Classes>();
}

}  // namespace velm

#include "velmctl/client/CIMClient.h"
#include "velmctl/commands/Command.h"
#include "velmctl/commands/CommandLineMistake.h"
#include "velmctl/commands/ExitCode.h"
#include "velmctl/commands/InstanceArguments.h"
#include "velmctl/output/Text.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>

namespace velm {

namespace {

class Emit : public Command {
public:
    CLI::App* declare(CLI::App& program, CommonOptions& common) override {
        CLI::App* command =
            program.add_subcommand("emit", "Create, modify or delete an instance, so that something happens");
        command->add_option("ACTION", _action, "create, modify or delete")
            ->transform(oneOf({"create", "modify", "delete"}))
            ->type_name("")
            ->required();
        command->add_option("CLASS", _class, "The class of the instance")->type_name("")->required();
        command->add_option("NAME=VALUE", _values, "Keys and properties; an array takes several")
            ->type_name("");
        command->add_option("--null", _nulls, "A property that is to have no value; repeatable")
            ->type_name("NAME")
            ->allow_extra_args(false);
        declareServer(*command, common);
        declareNamespace(*command, common);
        return command;
    }

    int run(const CommonOptions& common, Output& output) override {
        CIMClient client(common.serverAddress(), common.nameSpace);
        const TypedInstance instance = _read(client.getClass(_class));
        const auto name = _act(client, instance);
        const std::string path = client.path(*name);
        if (output.writesJson()) {
            output.json(Json::object().add("done", _action).add("path", path));
        } else {
            output.line(fmt::format("{} {}", _pastTense(), printable(path)));
        }
        return ExitCode::done;
    }

private:
    TypedInstance _read(const CIMClass& declaration) const {
        TypedInstance instance = readTypedInstance(declaration, _values, _nulls);
        if (_action == "modify" && instance.properties.empty()) {
            throw CommandLineMistake("there is nothing to modify; add PROPERTY=VALUE or --null PROPERTY");
        }
        return instance;
    }

    ORVSmrPtr<IOrvoInstanceName> _act(CIMClient& client, const TypedInstance& instance) const {
        if (_action == "create") {
            return client.create(*instance.object);
        }
        if (_action == "modify") {
            client.modify(*instance.name, *instance.object, instance.properties);
        } else {
            client.remove(*instance.name);
        }
        return instance.name;
    }

    const char* _pastTense() const {
        return _action == "create" ? "created" : _action == "modify" ? "modified" : "deleted";
    }

    std::string _action;
    std::string _class;
    std::vector<std::string> _values;
    std::vector<std::string> _nulls;
};

}  // namespace

std::unique_ptr<Command> makeEmit() {
    return std::make_unique<Emit>();
}

}  // namespace velm

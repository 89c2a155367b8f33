#include "velmctl/client/CIMClient.h"
#include "velmctl/commands/Command.h"
#include "velmctl/commands/ExitCode.h"
#include "velmctl/output/Text.h"

#include <algorithm>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

namespace velm {

namespace {

Json jsonOf(const IOrvoObject& object);

/// Numbers and booleans as such, embedded instances as objects, everything else as its text.
Json jsonOf(const IOrvoValue& value) {
    if (value.isNull()) {
        return {};
    }
    const auto type = value.getType();
    if (type->isArray()) {
        Json array = Json::array();
        const auto elements = value.getElements();
        for (const auto& element : *elements) {
            array.append(jsonOf(*element));
        }
        return array;
    }
    const std::string name(type->getName().view());
    if (name == "boolean") {
        return value.getBoolean();
    }
    if (name.starts_with("uint")) {
        return value.getUint64();
    }
    if (name.starts_with("sint")) {
        return value.getSint64();
    }
    if (name.starts_with("real")) {
        return value.getReal64();
    }
    return name == "instance" ? jsonOf(*value.getInstance()) : Json(value.toString().view());
}

Json jsonOf(const IOrvoObject& object) {
    Json properties = Json::object();
    for (unsigned int position = 0; position < object.getPropertyCount(); ++position) {
        const auto property = object.getProperty(position);
        const auto value = property->getValue();
        properties.add(property->getName().view(), jsonOf(*value));
    }
    return properties;
}

/// "  Name        = moon" for each property that has a value.
std::string propertyLines(const IOrvoObject& object) {
    std::size_t width = 0;
    for (unsigned int position = 0; position < object.getPropertyCount(); ++position) {
        width = std::max(width, object.getProperty(position)->getName().length());
    }
    std::string lines;
    for (unsigned int position = 0; position < object.getPropertyCount(); ++position) {
        const auto property = object.getProperty(position);
        const auto value = property->getValue();
        if (!value->isNull()) {
            lines += fmt::format("\n  {:<{}} = {}", printable(property->getName().view()), width,
                                 printable(value->toString().view()));
        }
    }
    return lines;
}

class Instances : public Command {
public:
    CLI::App* declare(CLI::App& program, CommonOptions& common) override {
        CLI::App* command =
            program.add_subcommand("instances", "Show the instances of a class and of its subclasses");
        command->add_option("CLASS", _class, "The class")->type_name("")->required();
        command->add_flag("--names", _onlyNames, "Only their paths");
        declareServer(*command, common);
        declareNamespace(*command, common);
        return command;
    }

    int run(const CommonOptions& common, Output& output) override {
        CIMClient client(common.serverAddress(), common.nameSpace);
        const std::size_t count = _onlyNames ? _printNames(client, output) : _printInstances(client, output);
        if (count == 0 && !output.writesJson()) {
            output.notice(fmt::format("There are no instances of {}.", _class));
        }
        return ExitCode::done;
    }

private:
    /// Answers how many there are.
    std::size_t _printNames(CIMClient& client, Output& output) const {
        const auto names = client.instanceNames(_class);
        for (const auto& name : names) {
            const std::string path = client.path(*name);
            output.writesJson() ? output.json(Json::object().add("path", path))
                                : output.line(printable(path));
        }
        return names.size();
    }

    std::size_t _printInstances(CIMClient& client, Output& output) const {
        const auto instances = client.instances(_class);
        for (const auto& instance : instances) {
            _print(client.path(*instance.name), *instance.object, output);
        }
        return instances.size();
    }

    static void _print(const std::string& path, const IOrvoObject& object, Output& output) {
        if (output.writesJson()) {
            output.json(Json::object()
                            .add("path", path)
                            .add("class", object.getClassName().view())
                            .add("properties", jsonOf(object)));
        } else {
            output.line(output.coloured(Colour::bold, printable(path)) + propertyLines(object));
        }
    }

    std::string _class;
    bool _onlyNames = false;
};

}  // namespace

std::unique_ptr<Command> makeInstances() {
    return std::make_unique<Instances>();
}

}  // namespace velm

#include "velmctl/commands/Command.h"
#include "velmctl/commands/CommandLineMistake.h"
#include "velmctl/commands/CompletionScript.h"
#include "velmctl/commands/ExitCode.h"

#include <CLI/CLI.hpp>

namespace velm {

namespace {

class Completion : public Command {
public:
    CLI::App* declare(CLI::App& program, CommonOptions&) override {
        _program = &program;
        CLI::App* command =
            program.add_subcommand("completion", "Print a script that completes velmctl's words in a shell");
        command->add_option("SHELL", _shell, "bash or zsh")
            ->transform(oneOf({"bash", "zsh"}))
            ->type_name("")
            ->required();
        return command;
    }

    int run(const CommonOptions&, Output& output) override {
        std::string script = _shell == "bash" ? bashCompletion(*_program) : zshCompletion(*_program);
        script.pop_back();
        output.line(script);
        return ExitCode::done;
    }

private:
    const CLI::App* _program = nullptr;
    std::string _shell;
};

}  // namespace

std::unique_ptr<Command> makeCompletion() {
    return std::make_unique<Completion>();
}

}  // namespace velm

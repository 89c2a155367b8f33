#include "velmctl/commands/CompletionScript.h"

#include <vector>

#include <CLI/CLI.hpp>
#include <fmt/format.h>
#include <fmt/ranges.h>

namespace velm {

namespace {

struct OptionWords {
    /// "--name", "-n".
    std::vector<std::string> names;
    std::string description;
    bool takesValue = false;
    /// The values that are allowed; empty for any.
    std::vector<std::string> choices;
};

struct CommandWords {
    std::string name;
    std::string description;
    std::vector<OptionWords> options;
    /// What the first positional argument may be.
    std::vector<std::string> choices;
    /// The positional arguments are files.
    bool takesFiles = false;
};

/// The words of a validator that has a set of them, as the help writes them: they stand in braces in the
/// type's name.
std::vector<std::string> choicesOf(const CLI::Option& option) {
    const std::string type = option.get_type_name();
    const auto open = type.find('{');
    const auto close = type.find('}');
    if (open == std::string::npos || close == std::string::npos || close < open) {
        return {};
    }
    auto choices = CLI::detail::split(type.substr(open + 1, close - open - 1), ',');
    for (std::string& choice : choices) {
        choice.replace(0, 1, CLI::detail::to_lower(choice.substr(0, 1)));
    }
    return choices;
}

OptionWords wordsOf(const CLI::Option& option) {
    OptionWords words;
    for (const std::string& name : option.get_lnames()) {
        words.names.push_back("--" + name);
    }
    for (const std::string& name : option.get_snames()) {
        words.names.push_back("-" + name);
    }
    words.description = option.get_description();
    words.takesValue = option.get_items_expected_max() > 0;
    words.choices = choicesOf(option);
    return words;
}

CommandWords wordsOf(const CLI::App& app) {
    CommandWords words{app.get_name(), app.get_description(), {}, {}, false};
    for (const CLI::Option* option : app.get_options()) {
        if (!option->get_positional()) {
            words.options.push_back(wordsOf(*option));
        } else if (words.choices.empty()) {
            words.choices = choicesOf(*option);
            words.takesFiles = option->get_single_name() == "FILE";
        }
    }
    return words;
}

std::vector<CommandWords> commandsOf(const CLI::App& program) {
    std::vector<CommandWords> commands;
    for (const CLI::App* command : program.get_subcommands([](const CLI::App*) { return true; })) {
        commands.push_back(wordsOf(*command));
    }
    return commands;
}

std::vector<std::string> optionNames(const CommandWords& command) {
    std::vector<std::string> names;
    for (const OptionWords& option : command.options) {
        names.insert(names.end(), option.names.begin(), option.names.end());
    }
    return names;
}

std::string bashPattern(const CommandWords& command, const OptionWords& option) {
    return fmt::format("'{0} {1}'", command.name,
                       fmt::join(option.names, fmt::format("' | '{} ", command.name)));
}

/// The branches of a bash function for the word behind an option that takes a value.
std::string bashValues(const CommandWords& command) {
    std::string branches;
    std::vector<std::string> withoutChoices;
    for (const OptionWords& option : command.options) {
        const std::string pattern = bashPattern(command, option);
        if (!option.choices.empty()) {
            branches +=
                fmt::format("        {}) isValue=1 words='{}' ;;\n", pattern, fmt::join(option.choices, " "));
        } else if (option.takesValue) {
            withoutChoices.push_back(pattern);
        }
    }
    if (!withoutChoices.empty()) {
        branches += fmt::format("        {}) isValue=1 ;;\n", fmt::join(withoutChoices, " | "));
    }
    return branches;
}

/// `text` inside the single quotes and square brackets of a zsh argument.
std::string zshQuoted(const std::string& text) {
    std::string quoted;
    for (const char letter : text) {
        if (letter == '\'') {
            quoted += "'\\''";
        } else if (letter == '[' || letter == ']' || letter == ':' || letter == '\\') {
            quoted += {'\\', letter};
        } else {
            quoted += letter;
        }
    }
    return quoted;
}

std::string zshOption(const OptionWords& option) {
    std::string lines;
    for (const std::string& name : option.names) {
        const std::string value = !option.takesValue ? ""
                                  : option.choices.empty()
                                      ? ":value:"
                                      : fmt::format(":value:({})", fmt::join(option.choices, " "));
        // Long options take their value behind a blank or an equals sign.
        const char* link = option.takesValue && name.starts_with("--") ? "=" : "";
        lines += fmt::format(" \\\n                '*{}{}[{}]{}'", name, link, zshQuoted(option.description),
                             value);
    }
    return lines;
}

std::string zshBranch(const CommandWords& command) {
    std::string branch = fmt::format("        {})\n            _arguments", command.name);
    for (const OptionWords& option : command.options) {
        branch += zshOption(option);
    }
    if (!command.choices.empty()) {
        branch += fmt::format(" \\\n                '1: :({})'", fmt::join(command.choices, " "));
    }
    // Without words for the rest, options would not be completed behind them.
    branch += fmt::format(" \\\n                '*: :{}'", command.takesFiles ? "_files" : "()");
    return branch + " ;;\n";
}

}  // namespace

std::string bashCompletion(const CLI::App& program) {
    const auto commands = commandsOf(program);
    std::vector<std::string> names;
    std::string values = bashValues(wordsOf(program));
    std::string branches;
    for (const CommandWords& command : commands) {
        names.push_back(command.name);
        values += bashValues(command);
        branches += fmt::format("        '{}') words='{}' options='{}'{} ;;\n", command.name,
                                fmt::join(command.choices, " "), fmt::join(optionNames(command), " "),
                                command.takesFiles ? " isFile=1" : "");
    }
    const std::string& name = program.get_name();
    return fmt::format(R"(# Completes {0} in bash: source <({0} completion bash)
_{0}() {{
    local current=${{COMP_WORDS[COMP_CWORD]}} previous=${{COMP_WORDS[COMP_CWORD-1]}}
    local command='' words='' options='' isValue='' isFile='' word
    # What is typed as --option=value is several words here.
    if [[ $current == '=' ]]; then
        current=''
    elif [[ $previous == '=' && $COMP_CWORD -ge 2 ]]; then
        previous=${{COMP_WORDS[COMP_CWORD-2]}}
    fi
    for word in "${{COMP_WORDS[@]:1:COMP_CWORD-1}}"; do
        case $word in
            {1}) command=$word; break ;;
        esac
    done
    case "${{command:-{0}}} $previous" in
{2}    esac
    if [[ -z $isValue ]]; then
        case $command in
{3}        '') words='{4}' options='{5}' ;;
        esac
        for word in "${{COMP_WORDS[@]:1:COMP_CWORD-1}}"; do
            [[ -n $command && " $words " == *" $word "* ]] && words=''
        done
        [[ $current == -* ]] && words=$options
    fi
    if [[ -n $isFile && $current != -* ]]; then
        compopt -o filenames 2>/dev/null
        mapfile -t COMPREPLY < <(compgen -f -- "$current")
    else
        mapfile -t COMPREPLY < <(compgen -W "$words" -- "$current")
    fi
}}
complete -F _{0} {0}
)",
                       name, fmt::join(names, " | "), values, branches, fmt::join(names, " "),
                       fmt::join(optionNames(wordsOf(program)), " "));
}

std::string zshCompletion(const CLI::App& program) {
    std::string described;
    std::string branches;
    for (const CommandWords& command : commandsOf(program)) {
        described += fmt::format("        '{}:{}'\n", command.name, zshQuoted(command.description));
        branches += zshBranch(command);
    }
    std::string options;
    for (const OptionWords& option : wordsOf(program).options) {
        options += zshOption(option);
    }
    return fmt::format(R"(#compdef {0}
# Completes {0} in zsh: source <({0} completion zsh), or as _{0} in a folder of $fpath
_{0}() {{
    local context state state_descr line
    typeset -A opt_args
    local -a commands=(
{1}    )
    _arguments -C{2} \
                '1: :->command' '*:: :->rest' && return
    case $state in
        command) _describe command commands; return ;;
    esac
    case $words[1] in
{3}    esac
}}
if [[ $funcstack[1] == _{0} ]]; then _{0} "$@"; else compdef _{0} {0}; fi
)",
                       program.get_name(), described, options, branches);
}

}  // namespace velm

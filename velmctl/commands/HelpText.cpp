#include "velmctl/commands/HelpText.h"

#include "velmctl/output/Text.h"

#include <algorithm>
#include <string_view>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

namespace velm {

namespace {

constexpr std::size_t optionColumn = 30;
constexpr std::size_t exampleColumn = 42;
constexpr std::size_t narrowest = 16;

constexpr struct {
    const char* command;
    const char* description;
} examples[] = {
    {"velmctl listen", "hear whatever happens, until Ctrl-C"},
    {"velmctl listen -e change CIM_DataFile", "hear of changes of files"},
    {"velmctl emit create CIM_ComputerSystem Name=moon", "make something happen"},
    {"velmctl status", "see how daemon and subscribers do"},
    {"velmctl status 127.0.0.1:5990", "find out why a listener hears nothing"},
    {"velmctl ping-listener 127.0.0.1:5990", "see what a listener answers"},
};

constexpr const char* exitCodes =
    "Exit codes: 0 done; 1 failed; 2 the command line is not allowed; 3 no daemon was reached; 4 the daemon "
    "refused; 5 the listener's port cannot be had; 6 the channel broke; 7 a listener did not accept the test "
    "indication; 8 the daemon is of another version; 9 status: the daemon, or the subscriber named, is not "
    "well.";

/// What stands in the column behind a name.
std::string besides(std::string_view text, std::size_t column, std::size_t columns) {
    return paragraph(text, std::max(narrowest, columns - std::min(column, columns)));
}

class HelpFormatter : public CLI::Formatter {
public:
    explicit HelpFormatter(std::size_t columns) : _columns(columns) { column_width(optionColumn); }

    std::string make_help(const CLI::App* app, std::string name, CLI::AppFormatMode mode) const override {
        return CLI::detail::find_and_replace(Formatter::make_help(app, name, mode), "\n\n\n", "\n\n");
    }
    std::string make_description(const CLI::App* app) const override {
        return paragraph(app->get_description(), _columns) + "\n";
    }
    std::string make_subcommand(const CLI::App* command) const override {
        std::ostringstream entry;
        CLI::detail::format_help(entry, command->get_name(),
                                 besides(command->get_description(), optionColumn, _columns), optionColumn);
        return entry.str();
    }
    /// The name with its argument, and nothing more.
    std::string make_option_opts(const CLI::Option* option) const override {
        const std::string type = option->get_type_name();
        const std::string name = type.substr(0, type.find(':'));
        return name.empty() ? "" : " " + name;
    }
    std::string make_option_desc(const CLI::Option* option) const override {
        return besides(option->get_description(), optionColumn, _columns);
    }

private:
    const std::size_t _columns;
};

}  // namespace

std::shared_ptr<CLI::FormatterBase> makeHelpFormatter(std::size_t columns) {
    return std::make_shared<HelpFormatter>(columns);
}

std::string helpFooter(std::size_t columns) {
    std::ostringstream footer;
    footer << "Examples:\n";
    for (const auto& [command, description] : examples) {
        CLI::detail::format_help(footer, command, besides(description, exampleColumn, columns),
                                 exampleColumn);
    }
    footer << "\n" << paragraph(exitCodes, columns);
    return footer.str();
}

}  // namespace velm

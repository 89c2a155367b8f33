#include "velmd/settings/CommandLine.h"

#include "velmd/settings/Words.h"

#include <cstdio>
#include <exception>
#include <functional>
#include <memory>

#include <CLI/CLI.hpp>
#include <fmt/format.h>
#include <fmt/ranges.h>

#ifndef VELM_VERSION
#define VELM_VERSION "unknown"
#endif

namespace velm {

namespace {

constexpr int exitUsage = 2;
constexpr std::size_t optionColumn = 30;

constexpr const char* examples =
    "Settings are taken from the command line, else from the environment (VELM_SERVER_PORT=5988),\n"
    "else from the file, else from the defaults.\n"
    "\n"
    "Examples:\n"
    "  velmd                                         serve on port 5988 of this machine\n"
    "  velmd --port 0 --state-dir /tmp/velm          serve on a free port, to try things out\n"
    "  velmd -c /etc/velm/velmd.conf --check-config  tell whether the file is fine\n"
    "  velmd --print-defaults > velmd.conf           begin a file of your own\n"
    "  velmd --import schema.xml --namespace root/x  load classes into that namespace\n"
    "\n"
    "Exit codes: 0 done, or stopped as it was told; 1 failed, or ended before it was done;\n"
    "2 the command line or the configuration is not allowed.";

constexpr const char* actions = "Instead of serving";
constexpr const char* settings = "Settings";
constexpr const char* others = "Others";

using Texts = std::vector<std::string>;

/// Names an option with its argument, and nothing more.
class OneLineFormatter : public CLI::Formatter {
public:
    OneLineFormatter() { column_width(optionColumn); }
    std::string make_option_opts(const CLI::Option* option) const override {
        return option->get_type_name().empty() ? "" : " " + option->get_type_name();
    }
};

CLI::Validator notEmpty() {
    return {[](std::string& text) { return text.empty() ? "must not be empty" : std::string(); }, ""};
}

class Parser {
public:
    Parser() : _app("A CIM server that tells its clients what happens to CIM objects.", "velmd") {
        _app.formatter(std::make_shared<OneLineFormatter>());
        _app.footer(examples);
        _app.failure_message([](const CLI::App*, const CLI::Error& mistake) {
            return fmt::format("velmd: {}\nvelmd --help shows the options.\n", mistake.what());
        });
        _addActions();
        _addSettings();
        _app.set_help_flag("-h,--help", "Print this text")->group(others);
        _app.set_version_flag("--version", "velmd " VELM_VERSION, "Print the version")->group(others);
    }

    CommandLine parse(int argc, const char* const* argv) {
        try {
            _app.parse(argc, argv);
            return _line;
        } catch (const CLI::ParseError& reason) {
            return leaving(_app.exit(reason) == 0 ? 0 : exitUsage);
        }
    }

    static CommandLine leaving(int exitCode) {
        CommandLine line;
        line.action = CommandLine::Action::leave;
        line.exitCode = exitCode;
        return line;
    }

private:
    using Action = CommandLine::Action;

    void _addActions() {
        CLI::Option* check = _addAction("--check-config", Action::checkConfiguration,
                                        "Print the settings and where they come from");
        CLI::Option* print = _addAction("--print-defaults", Action::printDefaults,
                                        "Print a configuration file with every setting");
        CLI::Option* import = _app.add_option_function<Texts>(
            "--import",
            [this](const Texts& files) {
                _line.action = Action::import;
                _line.imports.assign(files.begin(), files.end());
            },
            "Load CIM-XML declarations");
        import->type_name("FILE...")->check(notEmpty())->group(actions);
        check->excludes(print)->excludes(import);
        print->excludes(import);
        _app.add_option("--namespace", _line.nameSpace,
                        fmt::format("Where to import them; default: {}", defaultNamespace))
            ->type_name("NS")
            ->check(notEmpty())
            ->needs(import)
            ->group(actions);
    }

    CLI::Option* _addAction(const char* name, Action action, const char* help) {
        return _app
            .add_flag_callback(
                name, [this, action] { _line.action = action; }, help)
            ->group(actions);
    }

    void _addSettings() {
        _app.add_option_function<std::string>(
                "-c,--config", [this](const std::string& file) { _line.configuration = file; },
                "Configuration file; also from the environment: VELM_CONFIG")
            ->type_name("FILE")
            ->envname("VELM_CONFIG")
            ->check(notEmpty())
            ->group(settings);
        _addSetting("--port", "Server.Port", "PORT", "TCP port; 0 for a free one");
        _addSetting("--state-dir", "Server.StateDirectory", "DIR", "Where the repository is kept");
        _addSetting("--log-file", "Log.File", "FILE", "Where the log is written; default: standard error");
        _addRepeatable("--address", "ADDRESS", "Loopback address to listen on; repeatable",
                       [this](const Texts& addresses) {
                           _override("Server.Addresses", fmt::format("{}", fmt::join(addresses, ", ")));
                       });
        _addRepeatable("--set", "Section.Key=VALUE", "Any setting of the configuration file; repeatable",
                       [this](const Texts& assignments) {
                           for (const std::string& assignment : assignments) {
                               _assign(assignment);
                           }
                       });
    }

    void _addSetting(const char* name, const char* key, const char* type, const char* help) {
        _app.add_option_function<std::string>(
                name, [this, key](const std::string& value) { _override(key, value); }, help)
            ->type_name(type)
            ->group(settings);
    }

    void _addRepeatable(const char* name, const char* type, const char* help,
                        const std::function<void(const Texts&)>& take) {
        _app.add_option_function<Texts>(name, take, help)
            ->type_name(type)
            ->allow_extra_args(false)
            ->group(settings);
    }

    void _assign(const std::string& assignment) {
        const auto equals = assignment.find('=');
        if (equals == std::string::npos || assignment.find('.') >= equals) {
            throw CLI::ValidationError("--set", quotation(assignment) + " is not Section.Key=VALUE");
        }
        _override(assignment.substr(0, equals), assignment.substr(equals + 1));
    }

    void _override(const std::string& key, const std::string& value) {
        if (!_line.overrides.emplace(key, value).second) {
            throw CLI::ValidationError(key, "set twice");
        }
    }

    CLI::App _app;
    CommandLine _line;
};

}  // namespace

CommandLine CommandLine::read(int argc, const char* const* argv) {
    try {
        return Parser().parse(argc, argv);
    } catch (const std::exception& failure) {
        fmt::print(stderr, "velmd: {}\n", failure.what());
        return Parser::leaving(exitUsage);
    }
}

}  // namespace velm

#include "velmctl/commands/CommandLineMistake.h"

#include "velmctl/output/Nearest.h"
#include "velmctl/output/Text.h"
#include "velmd/model/CIMName.h"

#include <charconv>
#include <limits>

#include <CLI/CLI.hpp>
#include <fmt/format.h>
#include <fmt/ranges.h>

namespace velm {

namespace {

constexpr std::size_t quotedSize = 60;

std::vector<std::string> subcommandNames(const CLI::App& app) {
    std::vector<std::string> names;
    for (const CLI::App* command : app.get_subcommands([](const CLI::App*) { return true; })) {
        names.push_back(command->get_name());
    }
    return names;
}

std::vector<std::string> optionNames(const CLI::App& app) {
    std::vector<std::string> names;
    for (const CLI::Option* option : app.get_options()) {
        for (const std::string& name : option->get_lnames()) {
            names.push_back("--" + name);
        }
    }
    return names;
}

/// `word` with what was probably meant.
std::string unknown(const char* what, std::string word, const std::vector<std::string>& known) {
    word = word.substr(0, word.find('='));
    const std::string meant = nearest(word, known);
    return fmt::format("there is no {} '{}'{}", what, shortened(word, quotedSize),
                       meant.empty() ? "" : fmt::format("; did you mean '{}'?", meant));
}

/// The subcommand that was given, or the program.
const CLI::App& parsedCommand(const CLI::App& program) {
    const auto parsed = program.get_subcommands();
    return parsed.empty() ? program : *parsed.front();
}

/// As the parser tells of an option without its value: "--count: 1 required N missing".
bool isAboutMissing(std::string_view text) {
    return text.find(": 1 required ") != std::string_view::npos && text.ends_with(" missing");
}

}  // namespace

std::string describeMistake(const CLI::App& program, const CLI::ParseError& reason) {
    for (const CLI::App* app : {&parsedCommand(program), &program}) {
        for (const std::string& word : app->remaining()) {
            if (word.starts_with("-")) {
                return unknown("option", word, optionNames(*app));
            }
            if (app == &program) {
                return unknown("command", word, subcommandNames(program));
            }
            return fmt::format("'{}' is one argument too many", shortened(word, quotedSize));
        }
    }
    if (program.get_subcommands().empty()) {
        return fmt::format("no command was given; there are {}", fmt::join(subcommandNames(program), ", "));
    }
    if (const std::string_view text = reason.what(); isAboutMissing(text)) {
        return fmt::format("{} needs a value", text.substr(0, text.find(':')));
    }
    return reason.what();
}

std::string adviceForMistake(const CLI::App& program) {
    const auto parsed = program.get_subcommands();
    return fmt::format("velmctl {}--help shows what is allowed",
                       parsed.empty() ? "" : parsed.front()->get_name() + " ");
}

CLI::Validator oneOf(const std::vector<std::string>& words) {
    const auto check = [words](std::string& text) -> std::string {
        for (const std::string& word : words) {
            if (sameName(word, text)) {
                text = word;
                return {};
            }
        }
        const std::string meant = nearest(text, words);
        return fmt::format("'{}' is none of {}{}", shortened(text, quotedSize), fmt::join(words, ", "),
                           meant.empty() ? "" : fmt::format("; did you mean '{}'?", meant));
    };
    return {check, fmt::format("{{{}}}", fmt::join(words, ","))};
}

CLI::Validator numberFrom(std::uint64_t least, std::uint64_t most) {
    const auto check = [least, most](std::string& text) -> std::string {
        std::uint64_t number = 0;
        const char* end = text.data() + text.size();
        const auto [stop, failure] = std::from_chars(text.data(), end, number);
        if (failure == std::errc() && stop == end && number >= least && number <= most) {
            return {};
        }
        const std::string bounds = most == std::numeric_limits<std::uint64_t>::max()
                                       ? fmt::format("{} on", least)
                                       : fmt::format("{} to {}", least, most);
        return fmt::format("'{}' is no number from {}", shortened(text, quotedSize), bounds);
    };
    return {check, ""};
}

}  // namespace velm

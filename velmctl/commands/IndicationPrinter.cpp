#include "velmctl/commands/IndicationPrinter.h"

#include "velmctl/commands/CommandLineMistake.h"
#include "velmctl/output/Text.h"

#include <algorithm>
#include <limits>
#include <optional>

#include <CLI/CLI.hpp>
#include <fmt/chrono.h>
#include <fmt/format.h>
#include <fmt/ranges.h>

namespace velm {

namespace {

using std::chrono::duration_cast;
using std::chrono::microseconds;
using std::chrono::milliseconds;

Colour colourOf(const std::string& event) {
    if (event == "Creation" || event == "Addition" || event.starts_with("Enter")) {
        return Colour::green;
    }
    return event == "Change" || event == "Indication" ? Colour::yellow : Colour::red;
}

std::string isoTime(ExportMessage::Time time) {
    const auto seconds = std::chrono::floor<std::chrono::seconds>(time);
    return fmt::format("{:%Y-%m-%dT%H:%M:%S}.{:06}Z",
                       fmt::gmtime(std::chrono::system_clock::to_time_t(seconds)),
                       duration_cast<microseconds>(time - seconds).count());
}

/// Lines below the event of an indication; nothing for an empty text.
std::string below(const std::string& text, std::optional<Colour> colour, const Output& output) {
    constexpr std::size_t indent = 10;
    constexpr std::size_t narrowest = 20;
    std::string lines;
    if (!text.empty()) {
        for (const std::string& line :
             wrapped(text, std::max(narrowest + indent, output.columns()) - indent)) {
            lines += "\n" + std::string(indent, ' ') + (colour ? output.coloured(*colour, line) : line);
        }
    }
    return lines;
}

}  // namespace

void PrintOptions::declare(CLI::App& command) {
    command.add_flag("--xml", asDocument, "Print the documents as they arrive");
    command.add_flag("--short", withShortNames, "Name objects by their Name rather than their path");
    command.add_option("--count", count, "End after so many indications")
        ->type_name("N")
        ->check(numberFrom(1, std::numeric_limits<std::uint64_t>::max()));
}

void IndicationPrinter::print(const ExportMessage& message) {
    const bool isEnough = _options.count != 0 && _count >= _options.count;
    if (isEnough || !_subscriptions.shows(message.event)) {
        return;
    }
    const auto now = std::chrono::system_clock::now();
    if (_output.writesJson()) {
        _output.json(indicationJson(message, now, _options));
    } else if (_options.asDocument) {
        _output.line(printableLines(message.document));
    } else {
        _output.line(indicationText(message, now, _options, _output));
    }
    ++_count;
    if (_count == _options.count || _output.hasFailed()) {
        _ending.stop();
    }
}

std::string indicationText(const ExportMessage& message, ExportMessage::Time now, const PrintOptions& options,
                           const Output& output) {
    const std::string age = message.time ? ageText(duration_cast<microseconds>(now - *message.time)) : "?";
    const std::string event = printable(message.event);
    const std::string objectClass = message.objectClass.empty() ? "?" : printable(message.objectClass);
    const std::string object = printable(options.withShortNames ? message.objectName() : message.objectPath);
    const std::string changes =
        message.changedProperties.empty()
            ? ""
            : printable(fmt::format("({})", fmt::join(message.changedProperties, ", ")));
    const std::string lead =
        fmt::format("{}  {}  ", output.coloured(Colour::faint, fmt::format("{:>8}", age)),
                    output.coloured(colourOf(message.event), fmt::format("{:<12}", event)));
    const std::string line = fmt::format("{:<26}  {}", objectClass, object);
    const std::size_t columns = columnsOf(fmt::format("{:>8}  {:<12}  {}  {}", age, event, line, changes));
    if (!output.isTerminal() || columns <= output.columns()) {
        return lead + line + (changes.empty() ? "" : "  " + output.coloured(Colour::cyan, changes));
    }
    return lead + objectClass + below(object, {}, output) + below(changes, Colour::cyan, output);
}

Json indicationJson(const ExportMessage& message, ExportMessage::Time now, const PrintOptions& options) {
    Json json = Json::object();
    if (message.time) {
        json.add("time", isoTime(*message.time));
        json.add("ageMilliseconds", duration_cast<milliseconds>(now - *message.time).count());
    }
    json.add("event", message.event);
    json.add("indicationClass", message.indicationClass);
    json.add("class", message.objectClass);
    json.add("path", message.objectPath);
    json.add("changed", message.changedProperties);
    json.add("messageID", message.messageID);
    if (options.asDocument) {
        json.add("xml", message.document);
    }
    return json;
}

}  // namespace velm

#include "server/services/LogLine.h"

#include "server/services/LogText.h"

#include <string_view>

#include <boost/json/object.hpp>
#include <boost/json/serialize.hpp>
#include <fmt/format.h>
#include <spdlog/pattern_formatter.h>

namespace velm {

namespace {

/// Who writes, and when.
spdlog::details::log_msg present() {
    return {spdlog::string_view_t(), spdlog::level::off, spdlog::string_view_t()};
}

std::string timeOf(const spdlog::details::log_msg& moment) {
    spdlog::pattern_formatter formatter("%Y-%m-%dT%H:%M:%S.%e%z", spdlog::pattern_time_type::local, "");
    spdlog::memory_buf_t text;
    formatter.format(moment, text);
    return fmt::to_string(text);
}

std::string_view nameOf(OrvoTraceLog::Severity severity) noexcept {
    if (severity <= OrvoTraceLog::SeverityError) {
        return "error";
    }
    if (severity == OrvoTraceLog::SeverityWarning) {
        return "warning";
    }
    return severity == OrvoTraceLog::SeverityInformation ? "info" : "debug";
}

std::string escaped(const ORVString& text) {
    std::string line;
    appendLogText(line, text.view());
    return line;
}

std::string asText(const LogLine& line, unsigned long repeats) {
    const auto moment = present();
    std::string text = fmt::format("{} [{}] [{}] ", timeOf(moment), nameOf(line.severity), moment.thread_id);
    appendLogText(text, line.component.view());
    text += ": ";
    appendLogText(text, line.message.view());
    if (line.number != 0) {
        text += fmt::format(" ({})", line.number);
    }
    if (repeats != 0) {
        text += fmt::format(" ({} more {})", repeats, repeats == 1 ? "time" : "times");
    }
    return text;
}

std::string asJSON(const LogLine& line, unsigned long repeats) {
    const auto moment = present();
    boost::json::object object{
        {"time", timeOf(moment)},
        {"severity", nameOf(line.severity)},
        {"component", escaped(line.component)},
        {"thread", moment.thread_id},
    };
    if (line.number != 0) {
        object["number"] = line.number;
    }
    object["message"] = escaped(line.message);
    if (repeats != 0) {
        object["repeats"] = repeats;
    }
    return boost::json::serialize(object);
}

}  // namespace

std::string formatted(const LogLine& line, unsigned long repeats, ORVLog::Format format) {
    return format == ORVLog::Format::json ? asJSON(line, repeats) : asText(line, repeats);
}

}  // namespace velm

#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace velm {

/// What an export message (DSP0200, ExportIndication) tells.
struct ExportMessage {
    using Time = std::chrono::system_clock::time_point;

    std::string messageID;
    /// The class of the indication: "CIM_InstCreation" ...
    std::string indicationClass;
    /// What was subscribed to and happened: "Change", "Creation", "Addition" ...
    std::string event;
    /// The WBEM URI of the object that it happened to, and its class: empty when the path has another form.
    std::string objectPath;
    std::string objectClass;
    std::vector<std::string> changedProperties;
    /// When it happened; nothing when the message does not say.
    std::optional<Time> time;
    /// The message itself.
    std::string document;

    /// Reads a message. Throws std::runtime_error that says what is missing or malformed.
    static ExportMessage parse(std::string_view document);

    /// One readable line: event, class, object, and the properties that changed.
    std::string describe() const;

    /// What people know the object by: its Name, the two ends of an association, or all keys.
    std::string objectName() const;
};

/// Reads a CIM timestamp ("20261120151918.123456+000"); nothing when the text is none.
std::optional<ExportMessage::Time> parseTimestamp(std::string_view text);

}  // namespace velm

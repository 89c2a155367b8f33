#pragma once

#include <string>
#include <string_view>
#include <vector>

/// What an export message (DSP0200, ExportIndication) tells.
struct ExportMessage {
    std::string messageID;
    /// What was subscribed to and happened: "Change", "Creation", "Addition" ...
    std::string event;
    /// The WBEM URI of the object that it happened to.
    std::string objectPath;
    std::vector<std::string> changedProperties;

    /// Reads a message. Throws std::runtime_error that says what is missing or malformed.
    static ExportMessage parse(std::string_view document);

    /// One readable line: event, class, object, and the properties that changed.
    std::string describe() const;
};

#pragma once

#include "tests/support/ScriptedListener.h"

#include <ostream>
#include <string>
#include <vector>

namespace velm::test {

/// What a listener learns from one export message.
struct ExportedIndication {
    /// "Creation", "Destruction" or "Change".
    std::string kind;
    /// The path of the instance.
    std::string path;
    /// The names of changed properties, parted by commas.
    std::string changed;

    /// Reads the body of an export request.
    static ExportedIndication read(const std::string& body);

    bool operator==(const ExportedIndication&) const = default;
};

void PrintTo(const ExportedIndication& indication, std::ostream* out);

/// What the listener has received so far, in order.
std::vector<ExportedIndication> receivedBy(const ScriptedListener& listener);

}  // namespace velm::test

#pragma once

#include <string>
#include <vector>

namespace velm {

/// What is to be said about one header of the answer to an export request (DSP0200).
struct HeaderFinding {
    enum class Grade {
        good,     ///< As it is asked for.
        neutral,  ///< Nobody asks for it, and nobody minds.
        wrong,    ///< Not what is asked for, or missing.
    };

    Grade grade;
    /// The line as it came; the header's name for one that is missing.
    std::string line;
    /// Why.
    std::string remark;

    bool operator==(const HeaderFinding&) const = default;
};

/// One for each line, in their order, then one for each header that is missing. `bodyIsExpected`: the status
/// is 200. Any thread.
std::vector<HeaderFinding> judgeHeaders(const std::vector<std::string>& lines, bool bodyIsExpected);

}  // namespace velm

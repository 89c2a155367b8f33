#include "tests/unit/providers/network_links/NetworkReports.h"

#include "foundation/object_model/COrvoDebugTools.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace velm::test {

std::string lineOf(const Report& report) {
    std::string line(COrvoDebugTools::indicationTypeToString(report.type).view());
    line += " " + report.className() + " " + report.key("DeviceID") + report.key("Name");
    std::string separator = " [";
    for (const std::string& property : report.changedProperties) {
        line += std::exchange(separator, " ") + property;
    }
    return report.changedProperties.empty() ? line : line + "]";
}

std::vector<std::string> linesOf(const RecordingObserver::Reports& reports) {
    std::vector<std::string> lines;
    std::ranges::transform(reports, std::back_inserter(lines), lineOf);
    return lines;
}

}  // namespace velm::test

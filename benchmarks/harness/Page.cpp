#include "benchmarks/harness/Page.h"

#include "benchmarks/harness/Json.h"
#include "benchmarks/harness/Table.h"

#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <string_view>

#include <fmt/format.h>

namespace velm::bench {

void writeIntoPage(const Report& report, const std::filesystem::path& page) {
    constexpr std::string_view begin = "<!-- scripts/bench writes from here -->\n";
    constexpr std::string_view end = "<!-- to here -->";
    std::ifstream stream(page, std::ios::binary);
    std::string text(std::istreambuf_iterator<char>(stream), {});
    const std::size_t from = text.find(begin);
    const std::size_t to = text.find(end);
    if (from == std::string::npos || to == std::string::npos || to < from) {
        throw std::runtime_error(page.string() + " has no place for the table");
    }
    const std::size_t behind = from + begin.size();
    text.replace(
        behind, to - behind,
        fmt::format("\nMeasured {} on {}.\n\n{}\n", today(), machineDescription(), markdownTable(report)));
    std::ofstream(page, std::ios::binary) << text;
}

}  // namespace velm::bench

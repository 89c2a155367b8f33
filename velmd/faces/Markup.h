#pragma once

#include "velmd/status/ServerStatus.h"

#include <cstdint>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>

/// Small pieces of the page. What they are given as HTML goes in as it stands; everything else is escaped.
/// Pure functions; any thread.
namespace velm::faces {

struct Column {
    std::string_view name;
    bool isNumber = false;
};

/// The opening of a table up to its body; "</tbody></table>" closes it.
std::string tableHead(std::string_view caption, std::initializer_list<Column> columns);

/// A cell. Its column's name goes with it, for narrow screens, where a row is shown as a card.
std::string cell(std::string_view column, std::string_view html, std::string_view style = "");
/// A cell with a count; a 0 steps back.
std::string countCell(std::string_view column, std::uint64_t number);
enum class Course {
    goesOn,   ///< It fails still.
    isOver,   ///< It works again.
    wasLast,  ///< Nothing came after it.
};
/// The cell with the last error, and when; without one it says so in a word.
std::string failureCell(const std::optional<status::Failure>& failure, Course course, status::Time now,
                        std::string_view moreHtml = "");

/// A sign and a word beside it, so that neither colour nor sign is needed. `kind`: "good", "bad", "warn" or
/// "calm" and "gone", which are also the names of the signs.
std::string badge(std::string_view kind, std::string_view word);
/// The drawings that badges refer to.
std::string signs();

}  // namespace velm::faces

#pragma once

#include <cstddef>
#include <string>
#include <string_view>

/// Prepares what listeners in the field send as the head of a response for a strict parser. Any thread.
namespace velm {

/// False as soon as `bytes`, the first of an answer, cannot be the start of a status line any more.
bool mayStartStatusLine(std::string_view bytes);

/// The size of the head at the start of `bytes`, its empty line included; npos when its end is not there yet.
/// `searched` bytes are known to hold no end. Lines end as the status line does: some listeners put text with
/// bare line feeds, empty lines included, into a header line.
std::size_t findEndOfHead(std::string_view bytes, std::size_t searched);

/// The head without lines that are no header lines (text that broke out of one), and with a status line that
/// has a place for a reason, be it empty.
std::string repairHead(std::string_view head);

}  // namespace velm

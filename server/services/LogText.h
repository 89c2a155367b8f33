#pragma once

#include <string>
#include <string_view>

namespace velm {

/// Appends `text` so that it stays on one line and cannot pretend to be another: texts in the log hold host
/// names and messages that strangers chose.
///
/// Line ends and TAB become \n, \r and \t; other control characters and bytes that are not UTF-8 become \xHH;
/// C1 controls, the line and paragraph separators and the characters that reverse the direction of writing
/// become \uHHHH. Everything else, backslashes included, stays as it is: log scrapers match it.
void appendLogText(std::string& line, std::string_view text);

}  // namespace velm

#pragma once

#include "foundation/utilities/ORVString.h"

#include <cstddef>
#include <ostream>

namespace velm {

/// Writes `text` with a blank before every 50th character, the first included, so that browsers can wrap the
/// long names in the tables; nothing for an empty text.
inline void writeSpaced(std::ostream& out, const ORVString& text) {
    constexpr std::size_t charactersBetweenBlanks = 50;
    for (std::size_t index = 0; index < text.length(); index += charactersBetweenBlanks) {
        out << ' ' << text.view().substr(index, charactersBetweenBlanks);
    }
}

}  // namespace velm

#pragma once

#include "velmd/faces/KeptTables.h"

#include <string>
#include <string_view>

namespace velm::faces {

/// The diagnostic tables as a document for people. `tables` is what the library writes, in which names stand
/// as clients gave them: the marks of which its tables are made stay, and everything else becomes text. A
/// name can thus make a cell of its own, and nothing that acts: no policy keeps a browser from connecting to
/// where a link or a frame points. Any thread.
std::string tablesDocument(std::string_view tables);

/// The same of an excerpt, with a line above it that says of when it is and whether it is all.
std::string tablesDocument(const KeptTables::Excerpt& excerpt);

}  // namespace velm::faces

#pragma once

#include "foundation/utilities/ORVXMLError.h"
#include "foundation/utilities/OrvoBaseException.h"
#include "velmd/repository/Database.h"
#include "velmd/wire/XMLElement.h"

#include <limits>
#include <stdexcept>
#include <string>
#include <string_view>

namespace velm {

/// References inside keys of references nest, each a few elements deep; requests are held to far less.
inline constexpr std::size_t maxStoredDepth = 1024;

/// What `read` makes of a document that the database keeps. A document that cannot be read any more is
/// damage: it throws CIMOMException (1), whose text names the file and `what` it belongs to.
template <class Read>
auto readStored(const Database& database, std::string_view what, std::string_view document, Read read) {
    std::string problem;
    try {
        return read(readXMLTree(document, std::numeric_limits<std::size_t>::max(), maxStoredDepth));
    } catch (const OrvoBaseException& error) {
        problem = error.getMessage().view();
    } catch (const ORVXMLError& error) {
        problem = error.GetErrorMessage().view();
    } catch (const std::runtime_error& error) {
        problem = error.what();
    }
    database.refuse("the database is damaged: " + std::string(what) + ": " + problem);
}

}  // namespace velm

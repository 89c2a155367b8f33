#pragma once

#include "velmd/repository/Repository.h"
#include "velmd/wire/CIMReader.h"

#include <cstddef>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace velm {

/// CIM-XML declarations on their way into a repository, with the places that they come from.
///
/// Used by one thread. Failure: CIMOMException, whose text names the source (the file), the line where one is
/// to blame, and the class.
class Import {
public:
    struct Count {
        std::size_t qualifiers = 0;
        std::size_t classes = 0;
        std::size_t instances = 0;
    };

    void addFile(const std::filesystem::path& file);
    /// A document in memory; `sourceName` stands for the file.
    void addText(std::string_view document, const std::string& sourceName);

    /// Adds everything to a namespace, which is created when it does not exist, as Repository::import() does:
    /// all of it or, when it throws, none. Superclasses may have come later than their subclasses.
    Count into(Repository& repository, std::string_view nameSpace) const;

private:
    void _add(const std::string& sourceName, CIMDeclarations declared);
    std::string _placeOf(std::string_view className) const;

    Repository::Declarations _declarations;
    /// "schema.xml: line 3", in the same order.
    std::vector<std::string> _classPlaces;
    std::vector<std::string> _instancePlaces;
};

/// Gives a new repository the classes that a server starts with.
Import::Count seed(Repository& repository);

}  // namespace velm

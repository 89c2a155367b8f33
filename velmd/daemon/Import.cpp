#include "velmd/daemon/Import.h"

#include "foundation/services/CIMOMException.h"
#include "foundation/utilities/ORVXMLError.h"
#include "velmd/daemon/ClassMirror.h"
#include "velmd/daemon/ShippedSchema.h"
#include "velmd/model/CIMName.h"
#include "velmd/model/CIMStatus.h"
#include "velmd/wire/XMLElement.h"

#include <algorithm>
#include <iterator>

#include <fmt/format.h>

namespace velm {

namespace {

constexpr std::size_t anySize = 0;
constexpr std::size_t deepestDeclaration = 64;

[[noreturn]] void refuse(std::string_view place, std::string_view problem) {
    throwStatus(CIMStatus::failed, fmt::format("{}: {}", place, problem));
}

/// What `read` reads; whatever is wrong names the source.
template <class Read>
CIMDeclarations declarationsOf(const std::string& sourceName, Read read) {
    try {
        return readDeclarations(read());
    } catch (const ORVXMLError& error) {
        refuse(sourceName, error.GetErrorMessage().view());
    } catch (const CIMSyntaxError& error) {
        refuse(sourceName, error.what());
    } catch (const CIMOMException& failure) {
        refuse(sourceName, failure.getMessage().view());
    }
}

template <class Item>
void append(std::vector<Item>& all, std::vector<Item>& more) {
    std::move(more.begin(), more.end(), std::back_inserter(all));
}

void appendPlaces(std::vector<std::string>& places, const std::string& sourceName,
                  const std::vector<std::uint64_t>& lines) {
    for (const std::uint64_t line : lines) {
        places.push_back(fmt::format("{}: line {}", sourceName, line));
    }
}

}  // namespace

void Import::addFile(const std::filesystem::path& file) {
    _add(file.string(), declarationsOf(file.string(), [&] {
             return readXMLTreeFromFile(file.string(), anySize, deepestDeclaration);
         }));
}

void Import::addText(std::string_view document, const std::string& sourceName) {
    _add(sourceName,
         declarationsOf(sourceName, [&] { return readXMLTree(document, anySize, deepestDeclaration); }));
}

void Import::_add(const std::string& sourceName, CIMDeclarations declared) {
    append(_declarations.qualifiers, declared.qualifiers);
    append(_declarations.classes, declared.classes);
    append(_declarations.instances, declared.instances);
    appendPlaces(_classPlaces, sourceName, declared.classLines);
    appendPlaces(_instancePlaces, sourceName, declared.instanceLines);
}

Import::Count Import::into(Repository& repository, std::string_view nameSpace) const {
    try {
        repository.import(nameSpace, _declarations);
    } catch (const RefusedClass& refused) {
        refuse(_placeOf(refused.className), refused.getMessage().view());
    } catch (const RefusedInstance& refused) {
        refuse(_instancePlaces[refused.position], refused.getMessage().view());
    }
    return {_declarations.qualifiers.size(), _declarations.classes.size(), _declarations.instances.size()};
}

/// The last one: of two declarations it is the second that is too many.
std::string Import::_placeOf(std::string_view className) const {
    const auto& classes = _declarations.classes;
    const auto found = std::find_if(classes.rbegin(), classes.rend(), [&](const CIMClass& declared) {
        return sameName(declared.name, className);
    });
    return found == classes.rend()
               ? std::string("a class that is there already does not fit what would be imported")
               : _classPlaces[static_cast<std::size_t>(std::distance(found, classes.rend())) - 1];
}

Import::Count seed(Repository& repository) {
    Import shipped;
    shipped.addText(shippedSchema(), "the shipped schema");
    return shipped.into(repository, mirroredNamespace);
}

}  // namespace velm

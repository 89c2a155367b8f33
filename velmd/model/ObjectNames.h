#pragma once

#include "foundation/handles/ORVSmrPtr.h"
#include "foundation/object_model/IOrvoInstanceName.h"
#include "foundation/object_model/IOrvoObject.h"
#include "velmd/model/ClassTree.h"

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

namespace velm {

/// The name that readers give to the key of an INSTANCENAME that holds a bare KEYVALUE: it stands for the one
/// key of its class.
inline constexpr const char* unnamedKey = "*";

/// Brings names of instances, and the objects that carry them, into the one spelling that the indication
/// library compares byte for byte: the repository's spelling of namespaces, classes, keys and properties, the
/// declared types of keys, and keys in canonical order.
///
/// Threads: any number. Failure: CIMOMException with the status that a client is to hear; the text names what
/// was wrong.
class ObjectNames {
public:
    struct NamespaceView {
        /// As the repository spells it.
        std::string name;
        std::shared_ptr<const ClassTree> classes;
    };
    /// Finds a namespace, letter case and outer slashes ignored; throws CIMOMException (3) for one that does
    /// not exist.
    using FindNamespace = std::function<NamespaceView(std::string_view)>;

    explicit ObjectNames(FindNamespace findNamespace) : _findNamespace(std::move(findNamespace)) {}

    /// Names nest no deeper than this as keys of each other.
    static constexpr unsigned int maxNesting = 16;

    /// The same instance in canonical form. `defaultNamespace` stands in where the name has none. Keys are
    /// read again, from their texts, as the type that the class declares. Keys that are references are
    /// brought into canonical form too; without a namespace they are in that of the name they stand in.
    ///
    /// Throws 3 for an unknown namespace, 5 for an unknown class, 4 for a missing, unknown or repeated key,
    /// for a key whose text is no value of its declared type, and for names that nest too deep.
    ORVSmrPtr<IOrvoInstanceName> canonicalName(const IOrvoInstanceName& name,
                                               std::string_view defaultNamespace) const;

    /// The same, but keys may be missing or absent altogether (a name that stands for a class): those that
    /// are there are brought into canonical form.
    ORVSmrPtr<IOrvoInstanceName> canonicalPattern(const IOrvoInstanceName& name,
                                                  std::string_view defaultNamespace) const;

    /// A copy of `object` whose class, properties and references are in canonical form, with the instance
    /// name `name`: canonical already, of the same class; when null, it is made from the key properties.
    /// Properties come in the order of the class. Embedded instances are copied as they are. An embedding
    /// property may also hold a string, the text of what it embeds.
    ///
    /// Throws 3 and 5 as canonicalName(), for references too; 12 for a property that the class does not have,
    /// 13 for one of another type (a NULL included), 4 for a missing key, for a key of a reference that is
    /// wrong, and for a name of another class.
    ORVSmrPtr<IOrvoObject> canonicalObject(const IOrvoObject& object,
                                           const ORVSmrPtr<IOrvoInstanceName>& name,
                                           std::string_view nameSpace) const;

private:
    FindNamespace _findNamespace;
};

}  // namespace velm

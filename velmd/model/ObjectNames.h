#pragma once

#include "foundation/handles/ORVSmrPtr.h"
#include "foundation/object_model/IOrvoInstanceName.h"
#include "foundation/object_model/IOrvoObject.h"
#include "velmd/model/ClassTree.h"

#include <functional>
#include <memory>
#include <string>
#include <string_view>

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

    /// The same instance in canonical form. `defaultNamespace` stands in where the name has none. Keys that
    /// are references are brought into canonical form too, with a namespace of their own.
    ///
    /// Throws 3 for an unknown namespace, 5 for an unknown class, 4 for a missing, unknown or repeated key
    /// and for a key whose text is no value of its declared type.
    ORVSmrPtr<IOrvoInstanceName> canonicalName(const IOrvoInstanceName& name,
                                               std::string_view defaultNamespace) const;

    /// The same, but keys may be missing or absent altogether (a name that stands for a class): those that
    /// are there are brought into canonical form.
    ORVSmrPtr<IOrvoInstanceName> canonicalPattern(const IOrvoInstanceName& name,
                                                  std::string_view defaultNamespace) const;

    /// Two references are the same when their canonical forms are; `host` parts were dropped when they were
    /// read.
    ///
    /// A copy of `object` whose class, properties and references are in canonical form, with the instance
    /// name `name` (canonical already, may be null: it is then made from the key properties). Properties keep
    /// their types; those that the class does not know make it throw 12, those of another type 13, a missing
    /// key 4.
    ORVSmrPtr<IOrvoObject> canonicalObject(const IOrvoObject& object,
                                           const ORVSmrPtr<IOrvoInstanceName>& name,
                                           std::string_view nameSpace) const;

private:
    FindNamespace _findNamespace;
};

}  // namespace velm

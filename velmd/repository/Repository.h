#pragma once

#include "foundation/handles/ORVSmrPtr.h"
#include "foundation/object_model/IOrvoIndication.h"
#include "foundation/object_model/IOrvoInstanceName.h"
#include "foundation/object_model/IOrvoObject.h"
#include "foundation/services/CIMOMException.h"
#include "velmd/model/CIMClass.h"
#include "velmd/model/ClassTree.h"
#include "velmd/model/ObjectNames.h"

#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace velm {

/// What a committed operation did to an instance.
struct InstanceChange {
    /// IndicationCreation, IndicationChange or IndicationDestruction.
    IOrvoIndication::IndicationType kind;
    /// The instance as it is now, or as it was before its destruction. Shared and never changed again.
    ORVSmrPtr<IOrvoObject> object;
    /// For a change: the properties whose values differ, in the order of the class.
    std::vector<std::string> changedProperties;
};

/// Why an instance of an import cannot be taken.
struct RefusedInstance : CIMOMException {
    RefusedInstance(const CIMOMException& reason, std::size_t refusedPosition)
        : CIMOMException(reason), position(refusedPosition) {}

    /// Among the instances of the import, from 0.
    std::size_t position;
};

/// The namespaces, classes, qualifiers and instances of the server, in one SQLite file.
///
/// An operation that has returned is on disk: the file is written ahead (WAL) and synchronised at every
/// commit, so that neither the end of the process nor of the machine loses it. One that has thrown changed
/// nothing.
///
/// Threads: any number. Readers go on while a writer writes and see what was committed last; writers take
/// turns. Names may come in any letter case; results are in the repository's spelling and instance names in
/// canonical form. One process at a time: a second one is refused.
///
/// Failure: CIMOMException with the status for the client (3 no such namespace, 5 no such class, 6 no such
/// instance, 11 there already, and those named below); status 1, with SQLite's words, when the disk is full,
/// the file cannot be written, or is damaged.
class Repository {
public:
    /// Hears of every change to an instance: after its commit, in commit order, once each, on the thread that
    /// made it, which holds the turn of the writers meanwhile. Requires: it does not write to the repository,
    /// and throws nothing.
    using Observer = std::function<void(const InstanceChange&)>;

    /// Opens the file, creates it when it does not exist, and brings an older one to the present schema
    /// version. Throws CIMOMException (1) that names the file and what is wrong: not a database, written by a
    /// newer version, locked by another process, not writable.
    explicit Repository(const std::filesystem::path& file);
    Repository(const Repository&) = delete;
    Repository& operator=(const Repository&) = delete;
    ~Repository();

    /// Requires: called before the first write by another thread.
    void setObserver(Observer observer);

    /// Whether there was no class in the file when it was opened: it was created by this object, or by one
    /// whose process ended before its first import.
    bool isNew() const noexcept;

    // Namespaces.

    /// In order of creation, as they were spelled then.
    std::vector<std::string> nameSpaces() const;
    /// Throws 4 for a name that is none, 11 when it is there.
    void createNamespace(std::string_view name);
    /// Throws 20 while it has classes or instances.
    void deleteNamespace(std::string_view name);

    /// The namespace with its classes as they are now. Throws 3. What ObjectNames asks for.
    ObjectNames::NamespaceView find(std::string_view nameSpace) const;
    const ObjectNames& names() const noexcept;

    // Classes.

    /// The class as resolved. Throws 5.
    ResolvedClassHandle getClass(std::string_view nameSpace, std::string_view className) const;
    /// `declaration` holds elements of its own only. Throws 10, 11, 4 (see ClassTree::with).
    void createClass(std::string_view nameSpace, CIMClass declaration);
    /// Throws 6 when there is no such class, 8 while it has subclasses, 9 while it has instances, or while
    /// association instances refer to instances that it had: without the class, their names would mean
    /// nothing.
    void deleteClass(std::string_view nameSpace, std::string_view className);

    // Qualifier types.

    /// Throws 6.
    CIMQualifierDeclaration getQualifier(std::string_view nameSpace, std::string_view name) const;
    std::vector<CIMQualifierDeclaration> enumerateQualifiers(std::string_view nameSpace) const;
    /// Adds it, or replaces the one of this name. Throws 4 for a name that is none.
    void setQualifier(std::string_view nameSpace, const CIMQualifierDeclaration& declaration);
    /// Throws 6.
    void deleteQualifier(std::string_view nameSpace, std::string_view name);

    /// Adds all of `declarations`, and the namespace where it does not exist, in one transaction: all or
    /// nothing. Qualifier types and classes that are there already are replaced, and all classes are resolved
    /// anew; they keep their spelling, and their instances take the defaults of properties that are new.
    ///
    /// Throws RefusedClass as ClassTree::with() does, and 11 for a class that is declared twice; 9 when a
    /// class has instances that its new declaration does not fit: it is abstract now, the keys are others, or
    /// a property is gone or of another type. Throws RefusedInstance as createInstance() does.
    struct Declarations {
        std::vector<CIMQualifierDeclaration> qualifiers;
        std::vector<CIMClass> classes;
        std::vector<ORVSmrPtr<IOrvoObject>> instances;
    };
    void import(std::string_view nameSpace, Declarations declarations);

    // Instances.

    /// A null handle when there is none. Throws 3, 5, 4 for the name itself.
    ORVSmrPtr<IOrvoObject> findInstance(const IOrvoInstanceName& name,
                                        std::string_view defaultNamespace) const;
    /// The instances of the class and its subclasses, in order of creation.
    std::vector<ORVSmrPtr<IOrvoObject>> enumerateInstances(std::string_view nameSpace,
                                                           std::string_view className) const;

    /// Properties not given take the defaults of the class, or NULL. Returns its name. Throws 5; 4 for a
    /// class that is abstract or has no key, and for a missing key; 11 before what concerns other properties
    /// than keys: 12 for an unknown one, 13 for one of another type.
    ORVSmrPtr<IOrvoInstanceName> createInstance(std::string_view nameSpace, const IOrvoObject& instance);

    /// Sets the properties of `instance` that `properties` names (empty: all that it holds); a named property
    /// that it does not hold is set to its default, or NULL. Keys cannot change (4). Reports nothing when
    /// nothing differs. Throws 5, 6, 12, 13.
    void modifyInstance(const IOrvoInstanceName& name, const IOrvoObject& instance,
                        const std::optional<std::vector<std::string>>& properties,
                        std::string_view defaultNamespace);

    /// Throws 5, 6. Association instances that refer to it stay, as the standard leaves open.
    void deleteInstance(const IOrvoInstanceName& name, std::string_view defaultNamespace);

    // Associations.

    /// The association instances, in any namespace, that refer to `name` (canonical form), in order of
    /// creation.
    std::vector<ORVSmrPtr<IOrvoObject>> references(const IOrvoInstanceName& name) const;

private:
    struct State;
    std::unique_ptr<State> _state;
};

}  // namespace velm

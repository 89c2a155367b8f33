#pragma once

#include "foundation/handles/ORVSmrPtr.h"
#include "foundation/object_model/IOrvoInstanceName.h"
#include "foundation/object_model/IOrvoObject.h"
#include "velmctl/client/WBEMClient.h"
#include "velmd/model/CIMClass.h"

#include <string>
#include <utility>
#include <vector>

namespace velm {

/// The standard operations on classes and instances (DSP0200), with CIM things rather than XML.
///
/// Used by one thread. Failure: as WBEMClient, whose kind is noCIMServer for an answer that makes no sense.
class CIMClient {
public:
    /// What a class tree shows of a class.
    struct ClassEntry {
        std::string name;
        /// Empty for a root class.
        std::string superClass;
    };

    struct NamedInstance {
        ORVSmrPtr<IOrvoInstanceName> name;
        ORVSmrPtr<IOrvoObject> object;
    };

    explicit CIMClient(const HostPort& server, std::string nameSpace = routedNamespace)
        : _client(server, std::move(nameSpace)) {}

    /// With all that the class inherits, qualifiers included. A class that is not there is refused with the
    /// status of an invalid class, whichever the server gave.
    CIMClass getClass(const std::string& name);

    /// Every class below `root`, without `root`; every class there is when it is empty.
    std::vector<ClassEntry> classes(const std::string& root);

    /// The names of the classes that have no superclass.
    std::vector<std::string> rootClasses();
    /// The names of all classes.
    std::vector<std::string> allClassNames();

    /// The names of the qualifiers that are declared.
    std::vector<std::string> qualifierNames();

    /// Replaces a declaration that is there already.
    void setQualifier(const CIMQualifierDeclaration& declaration);
    void createClass(const CIMClass& declaration);
    void modifyClass(const CIMClass& declaration);

    /// The instances of a class and of its subclasses.
    std::vector<ORVSmrPtr<IOrvoInstanceName>> instanceNames(const std::string& className);
    std::vector<NamedInstance> instances(const std::string& className);

    /// Returns the name that the server gave it.
    ORVSmrPtr<IOrvoInstanceName> create(const IOrvoObject& instance);

    /// Sets those of the properties that are named, and no others.
    void modify(const IOrvoInstanceName& name, const IOrvoObject& instance,
                const std::vector<std::string>& properties);

    void remove(const IOrvoInstanceName& name);

    /// `name` in the form of a WBEM URI; in the client's namespace when it has none itself.
    std::string path(const IOrvoInstanceName& name) const;

private:
    std::vector<std::string> _classNames(bool deep);

    WBEMClient _client;
};

}  // namespace velm

#pragma once

#include "velmd/requests/CIMRequest.h"
#include "velmd/requests/Instances.h"
#include "velmd/requests/OperationResult.h"

#include <string>

namespace velm {

/// The intrinsic operations that follow associations, from an instance or, over the declarations, from a
/// class (DSP0200). Any thread may call them. They throw CIMOMException with the status for the client.
class AssociationOperations {
public:
    /// `hostName` names this server in the paths that are answered.
    AssociationOperations(const Instances& instances, std::string hostName)
        : _instances(instances), _hostName(std::move(hostName)) {}

    OperationResult associators(const CIMRequest& request) const;
    OperationResult associatorNames(const CIMRequest& request) const;
    OperationResult references(const CIMRequest& request) const;
    OperationResult referenceNames(const CIMRequest& request) const;

private:
    struct Query;

    Query _query(const CIMRequest& request, bool toAssociators, bool withObjects) const;
    OperationResult _answer(const CIMRequest& request, bool toAssociators, bool withObjects) const;

    bool _isOfClass(const IOrvoInstanceName& name, const std::string& ancestor) const;
    static Instances::Names _farEnds(const Query& query, const IOrvoObject& association);
    static bool _refersToSource(const Query& query, const IOrvoObject& association);
    Instances::Objects _referencesTo(const Query& query) const;
    Instances::Objects _associatorsOf(const Query& query) const;
    std::vector<ResolvedClassHandle> _classesFound(const Query& query, bool toAssociators) const;

    void _writeInstances(std::string& xml, const Query& query, const Instances::Objects& objects,
                         bool withObjects) const;
    void _writeClasses(std::string& xml, const Query& query, const std::vector<ResolvedClassHandle>& classes,
                       bool withObjects) const;

    const Instances& _instances;
    const std::string _hostName;
};

}  // namespace velm

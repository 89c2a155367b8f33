#pragma once

#include "velmctl/client/CIMClient.h"
#include "velmctl/commands/ImportPlan.h"
#include "velmd/model/CIMName.h"

#include <optional>
#include <string>
#include <unordered_map>
#include <unordered_set>

namespace velm {

/// Gives a server one declaration after the other.
///
/// Used by one thread; the client must outlive it. Failure: ClientError when the server does not answer; what
/// it refuses is an outcome.
class Importer {
public:
    enum class Outcome {
        created,
        replaced,
        skipped,  ///< It is there already.
        refused,
    };

    struct Result {
        Outcome outcome;
        /// Why it was refused.
        std::string reason;
    };

    /// Asks the server what is there already.
    Importer(CIMClient& client, bool replaces);

    Result load(const PlannedDeclaration& declaration);

    /// The server was to replace a class, and knows no way to.
    bool cannotReplaceClasses() const noexcept { return _cannotReplaceClasses; }

private:
    using Names = std::unordered_set<std::string, CIMNameHash, CIMNameEqual>;

    Result _load(const CIMQualifierDeclaration& declaration);
    Result _load(const CIMClass& declaration);
    Result _load(const ORVSmrPtr<IOrvoObject>& instance);
    Result _replace(const CIMClass& declaration);
    void _modify(const IOrvoObject& instance);

    CIMClient& _client;
    const bool _replaces;
    Names _qualifiers;
    Names _classes;
    Names _refusedClasses;
    std::unordered_map<std::string, CIMClass, CIMNameHash, CIMNameEqual> _declarations;
    bool _cannotReplaceClasses = false;
};

}  // namespace velm

#pragma once

#include "foundation/services/IProvider.h"
#include "velmd/providers/ProviderTable.h"
#include "velmd/repository/Repository.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace velm {

/// The instances of the server, wherever they live: those of classes that a provider serves come from the
/// provider and cannot be written, all others live in the repository.
///
/// Threads: any number. Namespaces come without outer slashes; results are in the repository's spelling.
/// Failure: CIMOMException with the status for the client; 1 when a provider throws or answers what makes no
/// sense, with the class and the text; 7 for writing where a provider serves. Keys that a provider leaves out
/// of an instance, or has as NULL, are filled in from its name; other keys than the name's make no sense.
class Instances {
public:
    using Objects = std::vector<ORVSmrPtr<IOrvoObject>>;
    using Names = std::vector<ORVSmrPtr<IOrvoInstanceName>>;

    /// Providers serve `providerNamespace`, spelled as the repository does. `providerTimeout` is in seconds.
    /// Requires: the repository and the providers outlive this object.
    Instances(Repository& repository, const ProviderTable& providers, std::string providerNamespace,
              int providerTimeout);

    Repository& repository() const noexcept { return _repository; }

    /// Whether a provider serves the class, with or without instances at this moment.
    bool isServed(std::string_view nameSpace, std::string_view className) const;
    /// Throws 7 where a provider serves, as what writes does.
    void requireWritable(std::string_view nameSpace, std::string_view className) const;

    /// The instance with this name, which is in canonical form; a null handle when there is none.
    ORVSmrPtr<IOrvoObject> find(const ORVSmrPtr<IOrvoInstanceName>& name) const;
    /// The same for a name in any form; throws 6 when there is none.
    ORVSmrPtr<IOrvoObject> get(const IOrvoInstanceName& name, std::string_view nameSpace) const;
    /// Of the class and its subclasses.
    Objects enumerate(std::string_view nameSpace, std::string_view className) const;
    Names enumerateNames(std::string_view nameSpace, std::string_view className) const;

    ORVSmrPtr<IOrvoInstanceName> create(std::string_view nameSpace, const IOrvoObject& instance) const;
    void modify(const IOrvoInstanceName& name, const IOrvoObject& instance,
                const std::optional<std::vector<std::string>>& properties, std::string_view nameSpace) const;
    void remove(const IOrvoInstanceName& name, std::string_view nameSpace) const;

    /// The association instances that refer to `name`, which is in canonical form. Only those providers are
    /// asked whose associations can refer to instances of its class.
    Objects references(const IOrvoInstanceName& name) const;

private:
    using Served = ProviderTable::Served;

    IProvider* _providerOf(std::string_view nameSpace, std::string_view className) const;
    std::vector<Served> _servedAtOrBelow(std::string_view nameSpace, std::string_view className) const;
    ORVSmrPtr<IOrvoObject> _fromProvider(IProvider& provider, const ORVSmrPtr<IOrvoInstanceName>& name) const;
    Names _namesFromProvider(const Served& served) const;

    Repository& _repository;
    const ProviderTable& _providers;
    const std::string _providerNamespace;
    const int _providerTimeout;
};

}  // namespace velm

#pragma once

#include "foundation/services/IVELMServer.h"

#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace velm {

/// Which provider serves which class of the one namespace that providers serve. What the indication library
/// and the request front end ask.
///
/// A provider serves exactly the classes that it names: a subclass of one is not served because of it. Class
/// names ignore letter case.
///
/// Threads: filled by one thread; any number may read from then on. Ownership: providers stay their owner's
/// and must outlive the last question.
class ProviderTable : public IVELMServer {
public:
    /// Whether a class is `ancestor` or below it, letter case ignored; false for a class that does not exist.
    /// Called on any thread.
    using IsA = std::function<bool(std::string_view className, std::string_view ancestor)>;

    struct Served {
        IProvider* provider;
        /// As the provider spells it.
        std::string className;
    };

    ProviderTable(std::string nameSpace, IsA isA);
    ~ProviderTable() override;

    /// A class belongs to the first provider that is added with it; a later one does not serve it. Requires:
    /// nobody else uses the table yet.
    void add(const ORVString& name, IProvider& provider, const std::vector<std::string>& classNames);

    /// For the name of an instance, the providers that serve its class. For a name without keys, which stands
    /// for a class, those that serve the class or one below it: who wants to hear of every CIM_LogicalFile
    /// needs the provider of CIM_DataFile. A null handle when there are none, for a null name, and for one of
    /// another namespace; a name without namespace is taken for one of this.
    ORVSmrPtr<ORVValSlist<ORVSmrPtr<OrvoProviderInfo>>> getProviders(
        ORVSmrPtr<IOrvoInstanceName> instanceName) override;

    /// As providerOf; null for another namespace. An empty one is taken for this.
    IProvider* _selectProvider(const ORVString& nameSpace, const ORVString& className) override;

    /// The provider that serves the class; null when none does.
    IProvider* providerOf(std::string_view className) const;

    /// Everything that is served: in the order of providers, then as each named its classes.
    std::vector<Served> served() const;
    /// The same, but only the class named and those below it.
    std::vector<Served> servedAtOrBelow(std::string_view className) const;

private:
    struct Entry {
        ORVSmrPtr<OrvoProviderInfo> info;
        std::vector<std::string> classNames;
    };

    bool _isServedNamespace(std::string_view nameSpace) const;
    bool _isAtOrBelow(std::string_view className, std::string_view ancestor) const;

    const std::string _nameSpace;
    const IsA _isA;
    std::vector<Entry> _entries;
};

}  // namespace velm

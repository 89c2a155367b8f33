#include "velmd/providers/ProviderTable.h"

#include "velmd/model/CIMName.h"

#include <algorithm>

namespace velm {

namespace {

bool contains(const std::vector<std::string>& names, std::string_view name) {
    return std::ranges::any_of(names, [&](const std::string& each) { return sameName(each, name); });
}

}  // namespace

ProviderTable::ProviderTable(std::string nameSpace, IsA isA)
    : _nameSpace(withoutOuterSlashes(nameSpace)), _isA(std::move(isA)) {
}

ProviderTable::~ProviderTable() = default;

void ProviderTable::add(const ORVString& name, IProvider& provider,
                        const std::vector<std::string>& classNames) {
    Entry entry{ORVSmrPtr<OrvoProviderInfo>(new OrvoProviderInfo(name, &provider)), {}};
    for (const std::string& className : classNames) {
        if (!providerOf(className) && !contains(entry.classNames, className)) {
            entry.classNames.push_back(className);
        }
    }
    _entries.push_back(std::move(entry));
}

ORVSmrPtr<ORVValSlist<ORVSmrPtr<OrvoProviderInfo>>> ProviderTable::getProviders(
    ORVSmrPtr<IOrvoInstanceName> instanceName) {
    if (instanceName.IsNull() || !_isServedNamespace(instanceName->getNameSpace().view())) {
        return nullptr;
    }
    const ORVString wanted = instanceName->getClassName();
    const bool standsForClass = instanceName->getKeyProperties().length() == 0;
    const auto serves = [&](const std::string& className) {
        return standsForClass ? _isAtOrBelow(className, wanted.view()) : sameName(className, wanted.view());
    };
    ORVSmrPtr<ORVValSlist<ORVSmrPtr<OrvoProviderInfo>>> providers(
        new ORVValSlist<ORVSmrPtr<OrvoProviderInfo>>);
    for (const Entry& entry : _entries) {
        if (std::ranges::any_of(entry.classNames, serves)) {
            providers->append(entry.info);
        }
    }
    return providers->isEmpty() ? nullptr : providers;
}

IProvider* ProviderTable::_selectProvider(const ORVString& nameSpace, const ORVString& className) {
    return _isServedNamespace(nameSpace.view()) ? providerOf(className.view()) : nullptr;
}

IProvider* ProviderTable::providerOf(std::string_view className) const {
    const auto found = std::ranges::find_if(
        _entries, [&](const Entry& entry) { return contains(entry.classNames, className); });
    return found == _entries.end() ? nullptr : found->info->getProvider();
}

std::vector<ProviderTable::Served> ProviderTable::served() const {
    std::vector<Served> result;
    for (const Entry& entry : _entries) {
        for (const std::string& className : entry.classNames) {
            result.push_back({entry.info->getProvider(), className});
        }
    }
    return result;
}

std::vector<ProviderTable::Served> ProviderTable::servedAtOrBelow(std::string_view className) const {
    std::vector<Served> result = served();
    std::erase_if(result, [&](const Served& each) { return !_isAtOrBelow(each.className, className); });
    return result;
}

bool ProviderTable::_isServedNamespace(std::string_view nameSpace) const {
    const std::string_view asked = withoutOuterSlashes(nameSpace);
    return asked.empty() || sameName(asked, _nameSpace);
}

bool ProviderTable::_isAtOrBelow(std::string_view className, std::string_view ancestor) const {
    return sameName(className, ancestor) || _isA(className, ancestor);
}

}  // namespace velm

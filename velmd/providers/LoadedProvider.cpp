#include "velmd/providers/LoadedProvider.h"

#include "foundation/services/IWatchDescription.h"
#include "velmd/model/CIMName.h"
#include "velmd/providers/ProviderException.h"

#include <algorithm>

namespace velm {

namespace {

ReportGate* makeGate(const std::string& name, const ProviderHost& host, ObserverTable& observers) {
    return new ReportGate(ORVString(name),
                          ReportCheck(std::string(host.nameSpace.view()), host.findNamespace), host.observer,
                          &observers);
}

std::vector<std::string> classNamesOf(IProvider& provider) {
    return callProviderCode("it cannot name its classes", [&] {
        std::vector<std::string> result;
        const ORVSmrPtr<ORVValSlist<ORVString>> names = provider.getClassNames();
        if (!names.IsNull()) {
            for (const ORVString& name : *names) {
                result.emplace_back(name.view());
            }
        }
        return result;
    });
}

}  // namespace

LoadedProvider::LoadedProvider(ProviderLibrary library, std::filesystem::path file, const ProviderHost& host)
    : _library(std::move(library)),
      _file(std::move(file)),
      _gateHandle(makeGate(_library.name(), host, _observers)),
      _gate(static_cast<ReportGate*>(_gateHandle.Get())),
      _provider(_library.create({_gateHandle, host.nameSpace, host.argumentOf(_library.name())})),
      _gated(*_provider, _gateHandle, _observers),
      _classNames(classNamesOf(*_provider)) {
}

bool LoadedProvider::serves(std::string_view className) const noexcept {
    return std::ranges::any_of(_classNames, [&](const std::string& own) { return sameName(own, className); });
}

std::vector<std::string> LoadedProvider::watched() const {
    const auto* const description = dynamic_cast<const IWatchDescription*>(_provider.get());
    if (description == nullptr) {
        return {};
    }
    try {
        return description->watched();
    } catch (...) {
        return {"it failed to tell: " + currentExceptionText()};
    }
}

void LoadedProvider::giveUp(std::string_view className) {
    std::erase_if(_classNames, [&](const std::string& own) { return sameName(own, className); });
}

}  // namespace velm

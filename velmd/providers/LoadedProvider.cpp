#include "velmd/providers/LoadedProvider.h"

#include "velmd/providers/ProviderException.h"

namespace velm {

namespace {

ReportGate* makeGate(const std::string& name, const ProviderHost& host) {
    return new ReportGate(ORVString(name),
                          ReportCheck(std::string(host.nameSpace.view()), host.findNamespace), host.observer);
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

LoadedProvider::LoadedProvider(ProviderLibrary library, const ProviderHost& host)
    : _library(std::move(library)),
      _gateHandle(makeGate(_library.name(), host)),
      _gate(static_cast<ReportGate*>(_gateHandle.Get())),
      _provider(_library.create({_gateHandle, host.nameSpace, host.argumentOf(_library.name())})),
      _gated(*_provider, _gateHandle),
      _classNames(classNamesOf(*_provider)) {
}

}  // namespace velm

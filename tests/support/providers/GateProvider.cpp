// Does nothing until it is let: its creation and every look-up wait as long as the file "hold" is in the
// folder that its argument names. Whoever waits first leaves a file "waiting" there.
#include "tests/support/providers/SilentProvider.h"

#include <chrono>
#include <filesystem>
#include <fstream>
#include <thread>

namespace {

class GateProvider : public SilentProvider {
public:
    explicit GateProvider(const velm::ProviderContext& context) : _folder(context.argument.data()) {
        _pass();
    }

    ORVSmrPtr<ORVValSlist<ORVString>> getClassNames() override {
        ORVSmrPtr<ORVValSlist<ORVString>> names(new ORVValSlist<ORVString>);
        names->append("CIM_DataFile");
        return names;
    }

    InstanceNames enumerateInstanceNames(const ORVString&, const ORVString&,
                                         ORVSmrPtr<IOrvoTransaction>) override {
        _pass();
        return InstanceNames(new ORVValSlist<ORVSmrPtr<IOrvoInstanceName>>);
    }

private:
    void _pass() const {
        while (std::filesystem::exists(_folder / "hold")) {
            std::ofstream(_folder / "waiting").flush();
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
        }
    }

    const std::filesystem::path _folder;
};

velm::IProvider* create(const velm::ProviderContext& context) {
    return new GateProvider(context);
}

}  // namespace

extern "C" VELM_EXPORT const velm::ProviderDescription* velm_provider() {
    static const velm::ProviderDescription description{velm::providerInterfaceVersion, VELM_TEST_PROVIDER,
                                                       &create};
    return &description;
}

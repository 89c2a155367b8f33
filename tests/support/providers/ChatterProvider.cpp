// Reports the creation of one computer system again and again, on a thread of its own, as long as it lives.
#include "foundation/object_model/COrvoIndication.h"
#include "foundation/object_model/COrvoInstanceName.h"
#include "foundation/object_model/COrvoObject.h"
#include "foundation/object_model/COrvoValue.h"
#include "tests/support/providers/SilentProvider.h"

#include <thread>

namespace {

class ChatterProvider : public SilentProvider {
public:
    explicit ChatterProvider(const velm::ProviderContext& context)
        : _indication(indicationIn(context.nameSpace)),
          _thread([this, observer = context.observer](const std::stop_token& stop) {
              while (!stop.stop_requested()) {
                  observer->notify(_indication);
              }
          }) {}

private:
    static ORVSmrPtr<IOrvoIndication> indicationIn(const ORVString& nameSpace) {
        const ORVString className = "CIM_ComputerSystem";
        COrvoInstanceName::KeyBindings keys;
        keys.append({"CreationClassName", ORVSmrPtr<IOrvoValue>(new COrvoValue(className))});
        keys.append({"Name", ORVSmrPtr<IOrvoValue>(new COrvoValue("host"))});
        const ORVSmrPtr<IOrvoInstanceName> name(new COrvoInstanceName(nameSpace, className, keys));
        const ORVSmrPtr<IOrvoObject> object(new COrvoObject(className, name));
        return ORVSmrPtr<IOrvoIndication>(new COrvoIndication(object, IOrvoIndication::IndicationCreation,
                                                              nullptr, nullptr, IOrvoIndication::IntentReport,
                                                              nullptr, false));
    }

    const ORVSmrPtr<IOrvoIndication> _indication;
    std::jthread _thread;
};

velm::IProvider* create(const velm::ProviderContext& context) {
    return new ChatterProvider(context);
}

}  // namespace

extern "C" VELM_EXPORT const velm::ProviderDescription* velm_provider() {
    static const velm::ProviderDescription description{velm::providerInterfaceVersion, VELM_TEST_PROVIDER,
                                                       &create};
    return &description;
}

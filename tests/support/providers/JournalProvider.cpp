// Writes its life into the file that its argument names: created, deleted, unloaded. Registering an observer
// makes it report the creation of that very instance to the observer that it was given.
#include "foundation/object_model/COrvoIndication.h"
#include "foundation/object_model/COrvoObject.h"
#include "foundation/object_model/COrvoValue.h"
#include "tests/support/providers/SilentProvider.h"

#include <fstream>
#include <string>

namespace {

std::string& journal() {
    static std::string path;
    return path;
}

void note(const char* event) {
    if (!journal().empty()) {
        std::ofstream(journal(), std::ios::app) << event << ' ' << VELM_TEST_PROVIDER << '\n';
    }
}

struct NoteAtUnload {
    NoteAtUnload() { journal(); }
    ~NoteAtUnload() { note("unloaded"); }
} noteAtUnload;

class JournalProvider : public SilentProvider {
public:
    explicit JournalProvider(const velm::ProviderContext& context) {
        journal() = context.argument.data();
        note("created");
        context.observer->notify(nullptr);
    }
    ~JournalProvider() override { note("deleted"); }

    ORVSmrPtr<ORVValSlist<ORVString>> getClassNames() override {
        ORVSmrPtr<ORVValSlist<ORVString>> names(new ORVValSlist<ORVString>);
        names->append("CIM_DataFile");
        names->append("CIM_Directory");
        return names;
    }

    ORVSmrPtr<IOrvoValue> registerObserver(ORVSmrPtr<IOrvoInstanceName> instanceName,
                                           ORVSmrPtr<IOrvoSubscriber> observer,
                                           IOrvoIndication::IndicationType /*type*/,
                                           ORVSmrPtr<IOrvoSubscriptionFilter> /*filter*/,
                                           ORVSmrPtr<IOrvoTransaction> /*transaction*/) override {
        const ORVSmrPtr<IOrvoObject> object(new COrvoObject(instanceName->getClassName(), instanceName));
        const bool answer = observer->notify(ORVSmrPtr<IOrvoIndication>(
            new COrvoIndication(object, IOrvoIndication::IndicationCreation, nullptr, nullptr,
                                IOrvoIndication::IntentReport, nullptr, false)));
        return ORVSmrPtr<IOrvoValue>(new COrvoValue(answer));
    }
};

velm::IProvider* create(const velm::ProviderContext& context) {
    return new JournalProvider(context);
}

}  // namespace

extern "C" VELM_EXPORT const velm::ProviderDescription* velm_provider() {
    static const velm::ProviderDescription description{velm::providerInterfaceVersion, VELM_TEST_PROVIDER,
                                                       &create};
    return &description;
}

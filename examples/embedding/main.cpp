// A host in one file: it loads the indication library, subscribes one listener to the creation of files, and
// reports each line of its input as a file that was created.
//
//     embedding PORT        the listener's port on 127.0.0.1; velm_listener is one
#include "CIMOM_Indications/CIMOMClassManager.h"
#include "Indications/IndicationManager.h"
#include "foundation/object_model/COrvoIndication.h"
#include "foundation/object_model/COrvoInstanceName.h"
#include "foundation/object_model/COrvoObject.h"
#include "foundation/object_model/COrvoRepository.h"
#include "foundation/object_model/COrvoValue.h"
#include "foundation/utilities/OrvoBaseException.h"

#include <chrono>
#include <iostream>
#include <string>
#include <thread>

namespace {

constexpr const char* nameSpace = "root/kob/talmora";

constexpr const char* schema = R"(<?xml version="1.0" encoding="utf-8"?>
<CIM CIMVERSION="2.0" DTDVERSION="2.0"><DECLARATION><DECLGROUP>
<VALUE.OBJECT><CLASS NAME="CIM_LogicalFile"/></VALUE.OBJECT>
<VALUE.OBJECT><CLASS NAME="CIM_DataFile" SUPERCLASS="CIM_LogicalFile"/></VALUE.OBJECT>
</DECLGROUP></DECLARATION></CIM>)";

// What the library asks of its host. A server with providers names them here; this one reports by itself.
class Server : public velm::IVELMServer {
public:
    ORVSmrPtr<ORVValSlist<ORVSmrPtr<OrvoProviderInfo>>> getProviders(ORVSmrPtr<IOrvoInstanceName>) override {
        return nullptr;
    }
    velm::IProvider* _selectProvider(const ORVString&, const ORVString&) override { return nullptr; }
};

void loadClasses() {
    auto* repository = new COrvoRepository;
    const ORVSmrPtr<IOrvoRepository> handle(repository);
    repository->loadText(schema, "built-in schema", nameSpace);
    CCIMOMClassManager::initialize(handle);
}

void reportCreation(IIndicationManager& manager, const std::string& fileName) {
    const ORVSmrPtr<IOrvoInstanceName> name(
        new COrvoInstanceName(nameSpace, "CIM_DataFile", "Name", ORVString(fileName)));
    auto* file = new COrvoObject("CIM_DataFile", name);
    const ORVSmrPtr<IOrvoObject> object(file);
    file->setProperty("Name", ORVSmrPtr<IOrvoValue>(new COrvoValue(ORVString(fileName))));
    manager.notify(ORVSmrPtr<IOrvoIndication>(
        new COrvoIndication(object, IOrvoIndication::IndicationCreation, nullptr, nullptr,
                            IOrvoIndication::IntentReport, nullptr, false)));
}

void run(const char* listenerPort) {
    loadClasses();
    Server server;
    CIndicationManager manager(server);
    manager.enableIndications();

    const ORVSmrPtr<CSubscriberID> listener(new CSubscriberID("127.0.0.1", listenerPort, 1));
    ORVSmrPtr<IOrvoValue> className(new COrvoValue("CIM_LogicalFile"));
    ORVSmrPtr<IOrvoValue> noEnd;
    manager.subscribe(listener, className, noEnd, noEnd, IOrvoIndication::IndicationCreation, "127.0.0.1",
                      "5988");

    for (std::string line; std::getline(std::cin, line);) {
        reportCreation(manager, line);
    }
    // Deliveries go out once a second; what is still queued when the manager goes is not sent.
    std::this_thread::sleep_for(std::chrono::seconds(2));
    manager.unsubscribe(listener, className, noEnd, noEnd, IOrvoIndication::IndicationCreation);
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::cerr << "usage: embedding PORT\n";
        return 2;
    }
    try {
        run(argv[1]);
        return 0;
    } catch (const OrvoBaseException& failure) {
        std::cerr << failure.getMessage() << '\n';
        return 1;
    }
}

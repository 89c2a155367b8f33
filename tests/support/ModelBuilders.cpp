#include "tests/support/ModelBuilders.h"

namespace velm::test {

ORVSmrPtr<IOrvoInstanceName> makeInstanceName(const ORVString& className, const ORVString& id) {
    return ORVSmrPtr<IOrvoInstanceName>(new COrvoInstanceName(Namespace, className, "Id", id));
}

ORVSmrPtr<IOrvoInstanceName> makeAssociationName(const ORVString& className,
                                                 const ORVSmrPtr<IOrvoInstanceName>& first,
                                                 const ORVSmrPtr<IOrvoInstanceName>& second) {
    COrvoInstanceName::KeyBindings keys;
    keys.append({"Antecedent", makeReference(first)});
    keys.append({"Dependent", makeReference(second)});
    return ORVSmrPtr<IOrvoInstanceName>(new COrvoInstanceName(Namespace, className, keys));
}

ORVSmrPtr<IOrvoObject> makeObject(const ORVSmrPtr<IOrvoInstanceName>& instanceName) {
    ORVSmrPtr<COrvoObject> object(new COrvoObject(instanceName->getClassName(), instanceName));
    object->setProperty("Caption", makeString("made for a test"));
    ORVSmrPtr<IOrvoObject> result;
    ForceCopySmrPtr(result, object);
    return result;
}

ORVSmrPtr<IOrvoObject> makeObject(const ORVString& className, const ORVString& id) {
    return makeObject(makeInstanceName(className, id));
}

ORVSmrPtr<IOrvoObject> makeAssociation(const ORVString& className, const ORVSmrPtr<IOrvoInstanceName>& first,
                                       const ORVSmrPtr<IOrvoInstanceName>& second) {
    ORVSmrPtr<COrvoObject> object(new COrvoObject(className, makeAssociationName(className, first, second)));
    object->setProperty("Antecedent", makeReference(first));
    object->setProperty("Dependent", makeReference(second));
    ORVSmrPtr<IOrvoObject> result;
    ForceCopySmrPtr(result, object);
    return result;
}

ORVSmrPtr<IOrvoIndication> makeIndication(const ORVSmrPtr<IOrvoObject>& object,
                                          IOrvoIndication::IndicationType type,
                                          const std::vector<std::string>& changedProperties) {
    ORVSmrPtr<ORVValSlist<ORVString>> names;
    if (!changedProperties.empty()) {
        names = new ORVValSlist<ORVString>;
        for (const std::string& name : changedProperties) {
            names->append(ORVString(name));
        }
    }
    return ORVSmrPtr<IOrvoIndication>(
        new COrvoIndication(object, type, names, nullptr, IOrvoIndication::IntentReport, nullptr, false));
}

ORVSmrPtr<IOrvoValue> makeReference(const ORVSmrPtr<IOrvoInstanceName>& instanceName) {
    return ORVSmrPtr<IOrvoValue>(new COrvoValue(instanceName));
}

ORVSmrPtr<IOrvoValue> makeString(const ORVString& text) {
    return ORVSmrPtr<IOrvoValue>(new COrvoValue(text));
}

ORVSmrPtr<IOrvoRepository> makeRepository(const std::vector<std::pair<std::string, std::string>>& classes) {
    std::string text = R"(<CIM CIMVERSION="2.0" DTDVERSION="2.0"><DECLARATION><DECLGROUP>)";
    for (const auto& [name, superClass] : classes) {
        text += R"(<VALUE.OBJECT><CLASS NAME=")" + name + '"';
        text += superClass.empty() ? "" : R"( SUPERCLASS=")" + superClass + '"';
        text += "></CLASS></VALUE.OBJECT>\n";
    }
    text += "</DECLGROUP></DECLARATION></CIM>";

    ORVSmrPtr<COrvoRepository> repository(new COrvoRepository);
    repository->loadText(ORVString(text), "test schema", Namespace);
    repository->link();
    ORVSmrPtr<IOrvoRepository> result;
    ForceCopySmrPtr(result, repository);
    return result;
}

}  // namespace velm::test

#include "benchmarks/world/Events.h"

#include "foundation/object_model/COrvoIndication.h"
#include "foundation/object_model/COrvoInstanceName.h"
#include "foundation/object_model/COrvoObject.h"
#include "foundation/object_model/COrvoValue.h"

#include <utility>

#include <fmt/format.h>

namespace velm::bench {

namespace {

using Value = ORVSmrPtr<IOrvoValue>;
using Object = ORVSmrPtr<IOrvoObject>;

Value valueOf(const FullEventText::Property& property) {
    return COrvoValue::parse(ORVString(property.value), COrvoType::fromName(ORVString(property.type)));
}

InstanceName associationName(const ORVString& className, const Value& antecedent, const Value& dependent) {
    COrvoInstanceName::KeyBindings keys;
    keys.append({"Antecedent", antecedent});
    keys.append({"Dependent", dependent});
    return InstanceName(new COrvoInstanceName(nameSpace, className, keys));
}

}  // namespace

std::string filePath(std::uint32_t index) {
    return fmt::format("/var/data/file-{:010}", index);
}

InstanceName instanceName(const ORVString& className, const std::string& id) {
    return InstanceName(new COrvoInstanceName(nameSpace, className, "Id", ORVString(id)));
}

Indication makeIndication(const Object& object, IOrvoIndication::IndicationType type) {
    return Indication(
        new COrvoIndication(object, type, nullptr, nullptr, IOrvoIndication::IntentReport, nullptr, false));
}

Indication bareEvent(const ORVString& className, const std::string& id,
                     IOrvoIndication::IndicationType type) {
    return makeIndication(Object(new COrvoObject(className, instanceName(className, id))), type);
}

Indication associationEvent(const std::string& directory, const std::string& file) {
    const ORVString className = "CIM_DirectoryContainsFile";
    const Value antecedent(new COrvoValue(instanceName("CIM_Directory", directory)));
    const Value dependent(new COrvoValue(instanceName(fileClass, file)));
    auto object = std::make_unique<COrvoObject>(className, associationName(className, antecedent, dependent));
    object->setProperty("Antecedent", antecedent);
    object->setProperty("Dependent", dependent);
    return makeIndication(Object(object.release()), IOrvoIndication::IndicationCreation);
}

FullEventText fullEventText(std::uint32_t index) {
    const std::string path = filePath(index);
    return {path,
            {{"Id", "string", path},
             {"Name", "string", "quarterly-report.ods"},
             {"Status", "string", "OK"},
             {"FileSize", "uint64", std::to_string(1'000'000 + index)},
             {"LastModified", "datetime", "20261120153342.000000+000"},
             {"Readable", "boolean", "TRUE"},
             {"Writeable", "boolean", "FALSE"},
             {"InUseCount", "uint32", "3"},
             {"EncryptionMethod", "string", "none"},
             {"Owner", "string", "accounting"}}};
}

Indication fullEvent(std::uint32_t index, const ORVString& className) {
    const FullEventText text = fullEventText(index);
    auto object = std::make_unique<COrvoObject>(className, instanceName(className, text.path));
    for (const FullEventText::Property& property : text.properties) {
        object->setProperty(ORVString(property.name), valueOf(property));
    }
    return makeIndication(Object(object.release()), IOrvoIndication::IndicationCreation);
}

}  // namespace velm::bench

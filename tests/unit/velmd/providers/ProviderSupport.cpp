#include "tests/unit/velmd/providers/ProviderSupport.h"

#include "foundation/object_model/COrvoInstanceName.h"
#include "foundation/object_model/COrvoObject.h"
#include "foundation/object_model/COrvoType.h"
#include "foundation/object_model/COrvoValue.h"
#include "velmd/model/CIMStatus.h"

#include <fmt/format.h>

namespace velm::test {

namespace {

CIMQualifier isTrue(const char* name) {
    return {name, Value(new COrvoValue(true)), {}, false};
}

CIMProperty property(const char* name, const ORVSmrPtr<IOrvoType>& type) {
    CIMProperty result;
    result.name = name;
    result.type = type;
    result.value = COrvoValue::null(type);
    return result;
}

CIMProperty key(const char* name, const ORVSmrPtr<IOrvoType>& type = COrvoType::string) {
    CIMProperty result = property(name, type);
    result.qualifiers.push_back(isTrue("Key"));
    return result;
}

CIMProperty end(const char* name, const char* className) {
    CIMProperty result = key(name, COrvoType::reference);
    result.referenceClass = className;
    return result;
}

CIMProperty embedding(const char* name) {
    CIMProperty result = property(name, COrvoType::string);
    result.embedding = CIMEmbedding::instance;
    return result;
}

CIMClass classOf(const char* name, const char* superClass, std::vector<CIMProperty> properties) {
    return {name, superClass, {}, std::move(properties), {}};
}

std::shared_ptr<const ClassTree> makeTree() {
    CIMClass contains = classOf("CIM_DirectoryContainsFile", "",
                                {end("Antecedent", "CIM_Directory"), end("Dependent", "CIM_DataFile")});
    contains.qualifiers.push_back(isTrue("Association"));
    return ClassTree().with({
        classOf("CIM_LogicalFile", "",
                {key("Name"), property("FileSize", COrvoType::uint64),
                 property("Tags", COrvoType::arrayOf(COrvoType::string)), embedding("Detail")}),
        classOf("CIM_DataFile", "CIM_LogicalFile", {}),
        classOf("CIM_Directory", "CIM_LogicalFile", {}),
        classOf("CIM_Chunk", "", {key("Number", COrvoType::uint32), key("Name")}),
        classOf("CIM_ResourcePool", "", {key("InstanceID"), property("Reserved", COrvoType::uint64)}),
        classOf("CIM_Nothing", "", {}),
        contains,
    });
}

std::string joined(const std::vector<std::string>& texts) {
    return fmt::format("{}", fmt::join(texts, ", "));
}

}  // namespace

ObjectNames::NamespaceView findTestNamespace(std::string_view nameSpace) {
    static const std::shared_ptr<const ClassTree> tree = makeTree();
    for (const char* known : {space, "root/Other"}) {
        if (sameName(nameSpace, known)) {
            return {known, tree};
        }
    }
    throwStatus(CIMStatus::invalidNamespace, "there is no namespace " + quoted(nameSpace));
}

bool isTestClassA(std::string_view className, std::string_view ancestor) {
    const ResolvedClassHandle found = findTestNamespace(space).classes->find(className);
    return found && found->isA(ancestor);
}

Value text(const char* value) {
    return Value(new COrvoValue(value));
}

Value number(std::uint64_t value) {
    return Value(new COrvoValue(value, COrvoType::uint64));
}

Value reference(const Name& name) {
    return Value(new COrvoValue(name));
}

Name named(const char* nameSpace, const char* className, const Keys& keys) {
    COrvoInstanceName::KeyBindings bindings;
    for (const auto& [name, value] : keys) {
        bindings.append({name, value});
    }
    return Name(new COrvoInstanceName(nameSpace, className, bindings));
}

Name fileNamed(const char* name) {
    return named(space, "CIM_DataFile", {{"Name", text(name)}});
}

Object objectOf(const char* className, const Name& name, const Keys& properties) {
    auto* object = new COrvoObject(className, name);
    Object result(object);
    for (const auto& [propertyName, value] : properties) {
        object->setProperty(propertyName, value);
    }
    return result;
}

Object file(const char* name) {
    return objectOf("CIM_DataFile", fileNamed(name), {{"Name", text(name)}, {"FileSize", number(7)}});
}

Report report(const Object& object, IOrvoIndication::IndicationType type,
              const std::vector<const char*>& changedProperties) {
    ORVSmrPtr<ORVValSlist<ORVString>> names;
    if (!changedProperties.empty()) {
        names = new ORVValSlist<ORVString>;
        for (const char* name : changedProperties) {
            names->append(name);
        }
    }
    return Report(
        new COrvoIndication(object, type, names, nullptr, IOrvoIndication::IntentReport, nullptr, false));
}

std::string textOf(const Report& indication) {
    if (indication.IsNull()) {
        return "null";
    }
    const auto object = indication->getObject();
    std::vector<std::string> properties;
    for (unsigned int position = 0; position < object->getPropertyCount(); ++position) {
        const auto each = object->getProperty(position);
        properties.push_back(
            fmt::format("{}={}", each->getName().view(), each->getValue()->toString().view()));
    }
    std::vector<std::string> changes;
    if (const auto names = indication->getChangedProperties(); !names.IsNull()) {
        for (const ORVString& name : *names) {
            changes.emplace_back(name.view());
        }
    }
    const auto name = object->getInstanceName();
    return fmt::format("{} {} {{{}}} [{}]", object->getClassName().view(), name->toString().view(),
                       joined(properties), joined(changes));
}

bool RecordingSubscriber::notify(ORVSmrPtr<IOrvoIndication> indication) {
    const std::lock_guard guard(_lock);
    _reports.push_back(indication);
    _changed.notify_all();
    return _answer;
}

std::vector<Report> RecordingSubscriber::reports() const {
    const std::lock_guard guard(_lock);
    return _reports;
}

bool RecordingSubscriber::waitFor(std::size_t count, std::chrono::milliseconds deadline) const {
    std::unique_lock lock(_lock);
    return _changed.wait_for(lock, deadline, [&] { return _reports.size() >= count; });
}

}  // namespace velm::test

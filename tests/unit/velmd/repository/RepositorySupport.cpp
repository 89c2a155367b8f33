#include "tests/unit/velmd/repository/RepositorySupport.h"

#include "velmd/wire/CIMReader.h"
#include "velmd/wire/XMLElement.h"

namespace velm::test {

namespace {

const std::string keyQualifier =
    R"(<QUALIFIER NAME="Key" TYPE="boolean" OVERRIDABLE="false"><VALUE>TRUE</VALUE></QUALIFIER>)";

XMLElement elementFrom(const std::string& xml) {
    return readXMLTree(xml, 1'000'000, 100);
}

std::string trueQualifier(const std::string& name) {
    return "<QUALIFIER NAME=\"" + name + "\" TYPE=\"boolean\"><VALUE>TRUE</VALUE></QUALIFIER>";
}

std::string keyReference(const std::string& name) {
    return "<PROPERTY.REFERENCE NAME=\"" + name + "\" REFERENCECLASS=\"EX_Thing\">" + keyQualifier +
           "</PROPERTY.REFERENCE>";
}

}  // namespace

CIMClass classFrom(const std::string& xml) {
    return readClass(elementFrom(xml));
}

CIMQualifierDeclaration qualifierFrom(const std::string& xml) {
    return readQualifierDeclaration(elementFrom(xml));
}

CIMClass thingClass() {
    return classFrom(R"(<CLASS NAME="EX_Thing"><PROPERTY NAME="Id" TYPE="string">)" + keyQualifier +
                     R"(</PROPERTY><PROPERTY NAME="Caption" TYPE="string"><VALUE>none</VALUE></PROPERTY>)"
                     R"(<PROPERTY NAME="Size" TYPE="uint32"></PROPERTY>)"
                     R"(<PROPERTY.ARRAY NAME="Tags" TYPE="string"></PROPERTY.ARRAY></CLASS>)");
}

CIMClass partClass() {
    return classFrom(R"(<CLASS NAME="EX_Part" SUPERCLASS="EX_Thing">)"
                     R"(<PROPERTY NAME="Weight" TYPE="real32"></PROPERTY></CLASS>)");
}

CIMClass abstractClass() {
    return classFrom(R"(<CLASS NAME="EX_Base">)" + trueQualifier("Abstract") +
                     R"(<PROPERTY NAME="Id" TYPE="string">)" + keyQualifier + "</PROPERTY></CLASS>");
}

CIMClass linkClass() {
    return classFrom(R"(<CLASS NAME="EX_Link">)" + trueQualifier("Association") + keyReference("Antecedent") +
                     keyReference("Dependent") +
                     R"(<PROPERTY NAME="Note" TYPE="string"></PROPERTY></CLASS>)");
}

Value text(const char* value) {
    return Value(new COrvoValue(value));
}

Value uint32(unsigned int value) {
    return Value(new COrvoValue(value, COrvoType::uint32));
}

Value strings(const std::vector<const char*>& values) {
    COrvoValue::Elements elements(new ORVValSlist<ORVSmrPtr<IOrvoValue>>);
    for (const char* value : values) {
        elements->append(text(value));
    }
    return Value(new COrvoValue(elements, COrvoType::string));
}

Value reference(const Name& name) {
    return Value(new COrvoValue(name));
}

Object object(const char* className, const std::vector<std::pair<const char*, Value>>& properties) {
    auto result = std::make_unique<COrvoObject>(className, nullptr);
    for (const auto& [name, value] : properties) {
        result->setProperty(name, value);
    }
    return Object(result.release());
}

Object thing(const char* id, unsigned int size) {
    return object("EX_Thing", {{"Id", text(id)}, {"Size", uint32(size)}});
}

Name thingName(const char* id, const char* className) {
    return Name(new COrvoInstanceName(space, className, "Id", id));
}

Name nameOf(const Object& object) {
    return object->getInstanceName();
}

std::string valueOf(const Object& object, const char* property) {
    const auto found = object->getProperty(ORVString(property));
    return found.IsNull() ? "absent" : std::string(found->getValue()->toString().view());
}

std::vector<std::string> idsOf(const std::vector<Object>& objects) {
    std::vector<std::string> ids;
    for (const Object& found : objects) {
        ids.push_back(valueOf(found, "Id"));
    }
    return ids;
}

void RepositoryTest::SetUp() {
    open();
    repository->createNamespace(space);
    for (const CIMClass& declaration : {thingClass(), partClass(), abstractClass(), linkClass()}) {
        repository->createClass(space, declaration);
    }
}

void RepositoryTest::reopen() {
    close();
    open();
}

void RepositoryTest::observe() {
    repository->setObserver([this](const InstanceChange& change) { changes.push_back(change); });
}

}  // namespace velm::test

#include "foundation/object_model/COrvoType.h"
#include "foundation/object_model/COrvoValue.h"
#include "foundation/services/CIMOMException.h"
#include "tests/support/LogCapture.h"
#include "tests/unit/velmd/requests/RequestSupport.h"

#include <stdexcept>

// Instances that come from a provider.

namespace velm::test {

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

std::string fileName(const std::string& path, const std::string& className = "EX_File") {
    return "<INSTANCENAME CLASSNAME=\"" + className + "\">" + keyBinding("Drive", "1", "uint16") +
           keyBinding("Path", path) + "</INSTANCENAME>";
}

std::string fileInstance(const std::string& path, const std::string& size) {
    return instance("EX_File", property("Path", path) + property("Drive", "1", "uint16") +
                                   property("Size", size, "uint64") +
                                   "<PROPERTY.REFERENCE NAME=\"Owner\" REFERENCECLASS=\"EX_Thing\">"
                                   "</PROPERTY.REFERENCE>");
}

std::string namedFile(const std::string& path, const std::string& size) {
    return "<VALUE.NAMEDINSTANCE>" + fileName(path) + fileInstance(path, size) + "</VALUE.NAMEDINSTANCE>";
}

Value drive() {
    return number(1, COrvoType::uint16);
}

/// As the repository spells it.
Object file(const char* path, std::uint64_t size) {
    return objectWith("EX_File", named("root/Test", "EX_File", {{"Path", text(path)}, {"Drive", drive()}}),
                      {{"Path", text(path)}, {"Drive", drive()}, {"Size", number(size, COrvoType::uint64)}});
}

/// The same as somebody else spells it.
Object oddFile(const char* path, std::uint64_t size) {
    return objectWith(
        "ex_FILE",
        named("ROOT/test", "ex_FILE", {{"path", text(path)}, {"DRIVE", number(1, COrvoType::uint8)}}),
        {{"SIZE", number(size, COrvoType::uint64)}, {"drive", drive()}, {"PATH", text(path)}});
}

const IParameters files{{"ClassName", className("EX_File")}};
const IParameters fileA{{"InstanceName", fileName("a")}};

class ServedInstances : public RequestTest {
protected:
    ServedInstances() {
        provider.add("EX_File", file("a", 7));
        provider.add("EX_File", oddFile("b", 8));
    }
};

}  // namespace

TEST_F(ServedInstances, AreReadAsThoseOfTheRepository) {
    EXPECT_EQ(call("GetInstance", fileA).returned(), fileInstance("a", "7"));
    EXPECT_EQ(call("GetInstance", {fileA[0], {"PropertyList", array({"SIZE"})}}).returned(),
              instance("EX_File", property("Size", "7", "uint64")));
    EXPECT_EQ(call("EnumerateInstances", files).returned(), namedFile("a", "7") + namedFile("b", "8"));
    EXPECT_EQ(call("EnumerateInstanceNames", files).returned(), fileName("a") + fileName("b"));
    EXPECT_EQ(call("GetInstance", {{"InstanceName", fileName("c")}}).code(), 6);
}

TEST_F(ServedInstances, AreRewrittenToTheSpellingOfTheRepository) {
    EXPECT_EQ(call("GetInstance", {{"InstanceName", fileName("b")}}).returned(), fileInstance("b", "8"));
}

TEST_F(ServedInstances, AreAskedForByCanonicalNames_HoweverTheClientSpellsThem) {
    const std::string name =
        "<INSTANCENAME CLASSNAME=\"ex_file\"><KEYBINDING NAME=\"PATH\"><KEYVALUE>a</KEYVALUE>"
        "</KEYBINDING><KEYBINDING NAME=\"drive\"><KEYVALUE VALUETYPE=\"numeric\">01</KEYVALUE>"
        "</KEYBINDING></INSTANCENAME>";
    EXPECT_EQ(call("GetInstance", {{"InstanceName", name}}, "ROOT/TEST").returned(), fileInstance("a", "7"));
    EXPECT_EQ(call("EnumerateInstanceNames", {{"ClassName", className("ex_file")}}, "Root/TEST").returned(),
              fileName("a") + fileName("b"));
    EXPECT_THAT(provider.calls(), ElementsAre("getInstance root/Test root/Test:EX_File.Drive=1,Path=\"a\"",
                                              "enumerateInstanceNames root/Test ex_file"));
}

TEST_F(ServedInstances, StandBehindThoseOfSubclassesInTheRepository) {
    create(instance("EX_TextFile", property("Path", "t") + property("Drive", "1", "uint16")));
    EXPECT_EQ(call("EnumerateInstanceNames", files).returned(),
              fileName("t", "EX_TextFile") + fileName("a") + fileName("b"));
    EXPECT_EQ(call("GetInstance",
                   {{"InstanceName", fileName("t", "EX_TextFile")}, {"PropertyList", array({"Path"})}})
                  .returned(),
              instance("EX_TextFile", property("Path", "t")));
}

TEST_F(ServedInstances, AreLeftOut_WhenTheyGoWhileTheyAreEnumerated) {
    provider.instead = [](const Name&) { return Object(); };
    EXPECT_EQ(call("EnumerateInstances", files).returned(), "");
    EXPECT_EQ(call("GetInstance", fileA).code(), 6);
}

TEST_F(ServedInstances, AreNone_WhenTheProviderCannotEnumerate) {
    provider.cannotEnumerate = true;
    EXPECT_EQ(call("EnumerateInstances", files).returned(), "");
    EXPECT_EQ(call("EnumerateInstanceNames", files).returned(), "");
}

TEST_F(ServedInstances, CannotBeWritten) {
    const std::string file = instance("ex_FILE", property("Path", "a") + property("Drive", "1", "uint16"));
    const Answer answers[]{
        call("CreateInstance", {{"NewInstance", file}}),
        call("ModifyInstance", {{"ModifiedInstance", "<VALUE.NAMEDINSTANCE>" + fileName("a", "ex_file") +
                                                         file + "</VALUE.NAMEDINSTANCE>"}}),
        call("DeleteInstance", {{"InstanceName", fileName("a", "ex_file")}}, "Root/TEST")};
    for (const Answer& answer : answers) {
        EXPECT_EQ(answer.code(), 7);
        EXPECT_THAT(answer.description(), HasSubstr("come from a provider and cannot be written"));
    }
    EXPECT_THAT(provider.calls(), IsEmpty());
}

TEST_F(ServedInstances, CannotBeWritten_WhateverElseIsWrong) {
    const std::string file = instance("EX_File", property("Size", "x", "uint64"));
    EXPECT_EQ(call("CreateInstance", {{"NewInstance", file}}).code(), 7);
    EXPECT_EQ(call("ModifyInstance", {{"ModifiedInstance", "<VALUE.NAMEDINSTANCE>" + fileName("none") + file +
                                                               "</VALUE.NAMEDINSTANCE>"}})
                  .code(),
              7);
}

TEST_F(ServedInstances, HaveTheKeysOfTheirNames_WhenTheProviderLeavesThemOut) {
    const Name name = named("root/Test", "EX_File", {{"Path", text("a")}, {"Drive", drive()}});
    const Members rows[]{
        {},
        {{"Path", text("a")}},
        {{"path", COrvoValue::null(COrvoType::string)}, {"Drive", COrvoValue::null(COrvoType::uint16)}}};
    for (Members properties : rows) {
        properties.emplace_back("Size", number(7, COrvoType::uint64));
        provider.instead = [&](const Name&) { return objectWith("EX_File", name, properties); };
        EXPECT_EQ(call("GetInstance", fileA).returned(), fileInstance("a", "7"));
    }
}

TEST_F(ServedInstances, KeepTheirClassFromDeletion_EvenWhileThereAreNone) {
    const auto deletion = [this](const char* name, const char* nameSpace) {
        return call("DeleteClass", {{"ClassName", className(name)}}, nameSpace);
    };
    EXPECT_EQ(deletion("ex_FILE", "root/TEST").code(), 8);
    ASSERT_EQ(deletion("EX_TextFile", "root/test").code(), 0);
    for (const char* name : {"ex_FILE", "EX_Holding"}) {
        const Answer answer = deletion(name, "root/TEST");
        EXPECT_EQ(answer.code(), 9) << name;
        EXPECT_THAT(answer.description(), HasSubstr("a provider serves the instances of class '"));
    }
    EXPECT_EQ(deletion("EX_Holding", "root/other").code(), 6);
    ASSERT_EQ(call("CreateClass", {{"NewClass", "<CLASS NAME=\"EX_Holding\"/>"}}, "root/other").code(), 0);
    EXPECT_EQ(deletion("EX_Holding", "root/other").code(), 0);
    EXPECT_THAT(provider.calls(), IsEmpty());
}

TEST_F(ServedInstances, AreServedInOneNamespaceOnly) {
    // Its EX_Thing is no EX_File, and nobody asks the provider.
    EXPECT_EQ(call("EnumerateInstanceNames", files, "root/other").code(), 5);
    EXPECT_THAT(provider.calls(), IsEmpty());
}

struct FaultCase {
    const char* name;
    std::function<void()> fault;
    const char* text;
};

void PrintTo(const FaultCase& row, std::ostream* out) {
    *out << row.name;
}

const FaultCase faultCases[]{
    {"Standard", [] { throw std::runtime_error("the disk is on fire"); }, "the disk is on fire"},
    {"OwnStatus", [] { throw CIMOMException("p", "no such disk", 6); }, "no such disk"},
    {"Number", [] { throw 5; }, "an exception of an unknown type"},
    {"Long", [] { throw std::runtime_error(std::string(10'000, 'x')); }, "xxx..."},
};

class ProviderFaults : public ServedInstances, public testing::WithParamInterface<FaultCase> {};

TEST_P(ProviderFaults, AreToldTheClientAndTheLog) {
    const LogCapture log;
    provider.fault = GetParam().fault;
    for (const Answer& answer : {call("GetInstance", fileA), call("EnumerateInstances", files),
                                 call("EnumerateInstanceNames", files)}) {
        EXPECT_EQ(answer.code(), 1);
        EXPECT_THAT(answer.description(), HasSubstr("failed: "));
        EXPECT_THAT(answer.description(), HasSubstr(GetParam().text));
        EXPECT_LT(answer.description().size(), 500U);
    }
    EXPECT_EQ(log.records().size(), 3U);
    EXPECT_THAT(std::string(log.records().front().message.view()),
                HasSubstr("GetInstance failed: the provider of EX_File failed: "));
}

INSTANTIATE_TEST_SUITE_P(Exceptions, ProviderFaults, testing::ValuesIn(faultCases),
                         [](const auto& row) { return row.param.name; });

TEST_F(ServedInstances, AreNoFaultOfTheRequest_WhenTheProviderAnswersWhatMakesNoSense) {
    const Name name = named("root/Test", "EX_File", {{"Path", text("a")}, {"Drive", drive()}});
    const std::pair<Object, const char*> rows[]{
        {objectWith("EX_File", name, {{"Colour", text("red")}}), "Colour"},
        {objectWith("EX_File", name, {{"Size", text("1")}}), "Size"},
        {objectWith("EX_File", name, {{"Path", text("b")}}), "the key Path of "},
        {objectWith("EX_File", name, {{"DRIVE", number(2, COrvoType::uint16)}}), " is '2'"},
        {objectWith("EX_Thing", name, {}), "EX_Thing"},
        {objectWith("EX_Nothing", name, {}), "EX_Nothing"},
        {objectWith("EX_File", name,
                    {{"Owner", referenceTo(named("root/nowhere", "EX_Thing", {{"Id", text("a")}}))}}),
         "root/nowhere"}};
    for (const auto& [object, problem] : rows) {
        provider.instead = [&object = object](const Name&) { return object; };
        const Answer answer = call("GetInstance", fileA);
        EXPECT_EQ(answer.code(), 1) << problem;
        EXPECT_THAT(answer.description(), HasSubstr("the provider of EX_File failed: "));
        EXPECT_THAT(answer.description(), HasSubstr(problem));
    }
}

TEST_F(ServedInstances, AreNoFaultOfTheRequest_WhenTheProviderNamesWhatIsNotThere) {
    provider.add("EX_File", objectWith("EX_File", named("root/Test", "EX_File", {{"Path", text("c")}}), {}));
    for (const char* operation : {"EnumerateInstances", "EnumerateInstanceNames"}) {
        const Answer answer = call(operation, files);
        EXPECT_EQ(answer.code(), 1);
        EXPECT_THAT(answer.description(), HasSubstr("Drive"));
    }
    provider.add("EX_Holding", objectWith("EX_Holding", {}, {}));
    EXPECT_EQ(call("EnumerateInstanceNames", {{"ClassName", className("EX_Holding")}}).code(), 1);
}

// Associations through a provider's class.

namespace {

Name thing(const char* id, const char* className = "EX_Thing") {
    return named("root/Test", className, {{"Id", text(id)}});
}

/// In a spelling of its own.
Object holding(const char* holder, const char* held) {
    const Value one = referenceTo(thing(holder, "ex_thing"));
    const Value two = referenceTo(named("root/test", "EX_File", {{"Drive", drive()}, {"Path", text(held)}}));
    return objectWith("EX_Holding", named("root/test", "EX_holding", {{"holder", one}, {"held", two}}),
                      {{"Holder", one}, {"Held", two}});
}

std::string holdingName(const std::string& holder, const std::string& held) {
    const std::string local =
        "<VALUE.REFERENCE><LOCALINSTANCEPATH><LOCALNAMESPACEPATH><NAMESPACE NAME=\"root\"/><NAMESPACE "
        "NAME=\"Test\"/></LOCALNAMESPACEPATH>";
    const std::string end = "</LOCALINSTANCEPATH></VALUE.REFERENCE></KEYBINDING>";
    return "<INSTANCENAME CLASSNAME=\"EX_Holding\"><KEYBINDING NAME=\"Held\">" + local + fileName(held) +
           end + "<KEYBINDING NAME=\"Holder\">" + local + instanceName("EX_Thing", holder) + end +
           "</INSTANCENAME>";
}

class ServedAssociations : public ServedInstances {
protected:
    ServedAssociations() {
        provider.add("EX_Holding", holding("x", "a"));
        provider.add("EX_Holding", holding("y", "b"));
        provider.instead = [](const Name& name) { return _find(name->toString()); };
        createThing("x");
    }

private:
    /// Texts of canonical names.
    static Object _find(const ORVString& name) {
        const std::string text(name.view());
        if (text.starts_with("root/Test:EX_Holding")) {
            return text.find("\"x") == text.npos ? holding("y", "b") : holding("x", "a");
        }
        return text.find("\"a\"") == text.npos ? oddFile("b", 8) : file("a", 7);
    }
};

const std::string thingX = instanceName("EX_Thing", "x");

}  // namespace

TEST_F(ServedAssociations, AreFollowedFromEitherEnd) {
    EXPECT_EQ(call("ReferenceNames", {{"ObjectName", thingX}}).returned(), objectPath(holdingName("x", "a")));
    EXPECT_EQ(call("ReferenceNames", {{"ObjectName", fileName("b")}}).returned(),
              objectPath(holdingName("y", "b")));
    EXPECT_EQ(call("AssociatorNames", {{"ObjectName", thingX}}).returned(), objectPath(fileName("a")));
    EXPECT_EQ(call("AssociatorNames", {{"ObjectName", fileName("a")}}).returned(), objectPath(thingX));
    EXPECT_EQ(call("Associators", {{"ObjectName", thingX}, {"Role", value("holder")}}).returned(),
              "<VALUE.OBJECTWITHPATH><INSTANCEPATH>" + namespacePath() + fileName("a") + "</INSTANCEPATH>" +
                  fileInstance("a", "7") + "</VALUE.OBJECTWITHPATH>");
    EXPECT_EQ(call("Associators", {{"ObjectName", thingX}, {"Role", value("held")}}).returned(), "");
}

TEST_F(ServedAssociations, AreThoseThatReferToTheInstance_AndNoOther) {
    EXPECT_EQ(instances.references(*thing("x")).size(), 1U);
    EXPECT_EQ(instances.references(*thing("z")).size(), 0U);
}

TEST_F(ServedAssociations, AreNotAskedFor_WhenNoneOfThemCanReferToTheInstance) {
    createLink("x", "x");
    provider.fault = [] { throw std::runtime_error("no"); };
    EXPECT_EQ(call("ReferenceNames", {{"ObjectName", linkName("x", "x")}}).returned(), "");
    EXPECT_THAT(provider.calls(), IsEmpty());
}

TEST_F(ServedAssociations, TellTheClient_WhenTheProviderFails) {
    provider.fault = [] { throw std::runtime_error("no"); };
    for (const char* operation : {"References", "ReferenceNames", "Associators", "AssociatorNames"}) {
        const Answer answer = call(operation, {{"ObjectName", thingX}});
        EXPECT_EQ(answer.code(), 1) << operation;
        EXPECT_THAT(answer.description(), HasSubstr("the provider of EX_Holding failed: no"));
    }
}

}  // namespace velm::test

#include "tests/unit/velmd/requests/RequestSupport.h"

// Instances that live in the repository.

namespace velm::test {

namespace {

using testing::EndsWith;
using testing::HasSubstr;

std::string array(const char* name, const std::vector<std::string>& texts) {
    return std::string("<PROPERTY.ARRAY NAME=\"") + name + "\" TYPE=\"string\">" + test::array(texts) +
           "</PROPERTY.ARRAY>";
}

std::string nullArray(const char* name) {
    return std::string("<PROPERTY.ARRAY NAME=\"") + name + "\" TYPE=\"string\"></PROPERTY.ARRAY>";
}

std::string null(const char* name, const char* type) {
    return std::string("<PROPERTY NAME=\"") + name + "\" TYPE=\"" + type + "\"></PROPERTY>";
}

std::string namedInstance(const std::string& name, const std::string& instance) {
    return "<VALUE.NAMEDINSTANCE>" + name + instance + "</VALUE.NAMEDINSTANCE>";
}

const std::string smallThing = instance("EX_Thing", property("Id", "a") + property("Caption", "none") +
                                                        null("Size", "uint32") + nullArray("Tags"));

const IParameters thingA{{"InstanceName", instanceName("EX_Thing", "a")}};

}  // namespace

using InstanceOperationsRequest = RequestTest;

// Creating.

TEST_F(InstanceOperationsRequest, CreateInstance_AnswersTheNameWithAllKeys) {
    const Answer answer =
        call("CreateInstance", {{"NewInstance", instance("ex_thing", property("ID", "a&lt;b"))}});
    EXPECT_EQ(answer.returned(), instanceName("EX_Thing", "a&lt;b"));
    createThing("b");
    const Answer link = call(
        "CreateInstance",
        {{"NewInstance", instance("EX_Link", reference("Dependent", "b") + reference("Antecedent", "b"))}});
    EXPECT_EQ(link.returned(), linkName("b", "b"));
}

TEST_F(InstanceOperationsRequest, CreateInstance_FillsInDefaults) {
    createThing("a");
    EXPECT_EQ(call("GetInstance", thingA).returned(), smallThing);
}

struct CreateCase {
    const char* name;
    std::string content;
    int code;
    const char* text;
};

void PrintTo(const CreateCase& row, std::ostream* out) {
    *out << row.name;
}

const CreateCase createCases[]{
    {"UnknownClass", instance("EX_Nothing", property("Id", "a")), 5, "EX_Nothing"},
    {"AbstractClass", instance("EX_Sealed", property("Id", "a")), 4, "EX_Sealed"},
    {"MissingKey", instance("EX_Thing", property("Caption", "a")), 4, "Id"},
    {"NullKey", instance("EX_Thing", "<PROPERTY NAME=\"Id\" TYPE=\"string\"/>"), 4, "Id"},
    {"UnknownProperty", instance("EX_Thing", property("Id", "a") + property("Colour", "red")), 12, "Colour"},
    {"OtherType", instance("EX_Thing", property("Id", "a") + property("Size", "1")), 13, "Size"},
    {"NoValueOfItsType", instance("EX_Thing", property("Id", "a") + property("Size", "-1", "uint32")), 13,
     "Size"},
    {"ScalarForArray", instance("EX_Thing", property("Id", "a") + property("Tags", "t")), 13, "Tags"},
    {"RepeatedProperty", instance("EX_Thing", property("Id", "a") + property("ID", "b")), 4, "ID"},
    {"ReferenceToUnknownClass",
     instance("EX_Link", reference("Antecedent", "a") + reference("Dependent", "a", "EX_Nothing")), 5,
     "EX_Nothing"},
    {"There", instance("EX_Thing", property("Id", "there")), 11, "there"},
    {"ThereBeforeAnUnknownProperty",
     instance("EX_Thing", property("Id", "there") + property("Colour", "red")), 11, "there"},
    {"ThereBeforeAnotherType", instance("EX_Thing", property("Id", "there") + property("Size", "1")), 11,
     "there"},
    {"MissingKeyBeforeAnUnknownProperty", instance("EX_Thing", property("Colour", "red")), 4, "Id"},
    {"KeyOfAnotherType", instance("EX_Thing", property("Id", "1", "uint32")), 13, "Id"},
    {"UnknownClassBeforeNoValueOfItsType", instance("EX_Nothing", property("Size", "-1", "uint32")), 5,
     "EX_Nothing"},
    {"RepeatedPropertyBeforeUnknownClass", instance("EX_Nothing", property("Id", "a") + property("ID", "b")),
     4, "ID"},
    {"OtherElement", instanceName("EX_Thing", "a"), 4, "NewInstance"},
    {"Null", "", 4, "NewInstance"},
};

class CreateInstanceRules : public RequestTest, public testing::WithParamInterface<CreateCase> {};

TEST_P(CreateInstanceRules, RefuseWhatIsWrong) {
    createThing("there");
    const Answer answer = call("CreateInstance", {{"NewInstance", GetParam().content}});
    EXPECT_EQ(answer.code(), GetParam().code) << answer.description();
    EXPECT_THAT(answer.description(), HasSubstr(GetParam().text));
}

INSTANTIATE_TEST_SUITE_P(CreateInstance, CreateInstanceRules, testing::ValuesIn(createCases),
                         [](const auto& row) { return row.param.name; });

// Reading one.

TEST_F(InstanceOperationsRequest, GetInstance_AnswersEveryProperty_ByDefaultAndWhateverLocalOnlySays) {
    create(instance("EX_Part", property("Id", "p") + property("Weight", "1.5", "real32") +
                                   property("Size", "7", "uint32") + array("Tags", {"x", "y"})));
    const std::string whole = instance(
        "EX_Part", property("Id", "p") + property("Caption", "a part") + property("Size", "7", "uint32") +
                       array("Tags", {"x", "y"}) + property("Weight", "1.5", "real32"));
    const IParameters part{{"InstanceName", instanceName("ex_PART", "p")}};
    EXPECT_EQ(call("GetInstance", part).returned(), whole);
    for (const char* localOnly : {"TRUE", "false"}) {
        EXPECT_EQ(call("GetInstance", part + IParameters{{"LocalOnly", value(localOnly)}}).returned(), whole);
        EXPECT_EQ(call("GetInstance", part + IParameters{{"IncludeQualifiers", value(localOnly)}}).returned(),
                  whole);
    }
    EXPECT_EQ(
        call("GetInstance", part + IParameters{{"PropertyList", ""}, {"IncludeClassOrigin", ""}}).returned(),
        whole);
}

TEST_F(InstanceOperationsRequest, GetInstance_TellsTheClassThatIntroducedAProperty_WhenAsked) {
    create(instance("EX_Part", property("Id", "p")));
    const Answer answer = call("GetInstance", {{"InstanceName", instanceName("EX_Part", "p")},
                                               {"IncludeClassOrigin", value("TRUE")},
                                               {"PropertyList", test::array({"Caption", "Weight"})}});
    EXPECT_EQ(answer.returned(),
              "<INSTANCE CLASSNAME=\"EX_Part\"><PROPERTY NAME=\"Caption\" TYPE=\"string\" "
              "CLASSORIGIN=\"EX_Thing\"><VALUE>a part</VALUE></PROPERTY><PROPERTY NAME=\"Weight\" "
              "TYPE=\"real32\" CLASSORIGIN=\"EX_Part\"></PROPERTY></INSTANCE>");
}

TEST_F(InstanceOperationsRequest, GetInstance_LeavesOutPropertiesThatAreNotInTheList) {
    createThing("a");
    const auto withList = [&](const std::vector<std::string>& names) {
        return call("GetInstance", thingA + IParameters{{"PropertyList", test::array(names)}}).returned();
    };
    EXPECT_EQ(withList({"CAPTION", "Unknown", "caption"}), instance("EX_Thing", property("Caption", "none")));
    EXPECT_EQ(withList({"Unknown"}), instance("EX_Thing", ""));
    EXPECT_EQ(withList({}), instance("EX_Thing", ""));
}

TEST_F(InstanceOperationsRequest, GetInstance_FindsTheInstance_HoweverItsNameIsWritten) {
    createThing("a");
    createLink("a", "a");
    const std::string names[]{
        instanceName("EX_Thing", "a"),
        "<INSTANCENAME CLASSNAME=\"ex_thing\"><KEYBINDING NAME=\"ID\"><KEYVALUE>a</KEYVALUE></KEYBINDING>"
        "</INSTANCENAME>",
        "<INSTANCENAME CLASSNAME=\"EX_Thing\"><KEYVALUE VALUETYPE=\"string\">a</KEYVALUE></INSTANCENAME>"};
    for (const std::string& name : names) {
        EXPECT_EQ(call("GetInstance", {{"InstanceName", name}}).returned(), smallThing) << name;
    }
    // Keys in the other order; one with a host, one without a namespace.
    const std::string link =
        "<INSTANCENAME CLASSNAME=\"EX_Link\"><KEYBINDING NAME=\"Dependent\"><VALUE.REFERENCE><INSTANCEPATH>"
        "<NAMESPACEPATH><HOST>any.example</HOST><LOCALNAMESPACEPATH><NAMESPACE NAME=\"ROOT\"/><NAMESPACE "
        "NAME=\"TEST\"/></LOCALNAMESPACEPATH></NAMESPACEPATH>" +
        instanceName("EX_THING", "a") +
        "</INSTANCEPATH></VALUE.REFERENCE></KEYBINDING><KEYBINDING NAME=\"Antecedent\"><VALUE.REFERENCE>" +
        instanceName("EX_Thing", "a") + "</VALUE.REFERENCE></KEYBINDING></INSTANCENAME>";
    EXPECT_EQ(call("GetInstance", {{"InstanceName", link}}).returned(),
              instance("EX_Link", "<PROPERTY.REFERENCE NAME=\"Antecedent\" REFERENCECLASS=\"EX_Thing\">" +
                                      reference("", "a").substr(28) +
                                      "<PROPERTY.REFERENCE NAME=\"Dependent\" REFERENCECLASS=\"EX_Thing\">" +
                                      reference("", "a").substr(28) + null("Note", "string")));
}

struct NameCase {
    const char* name;
    std::string content;
    int code;
    const char* text;
};

void PrintTo(const NameCase& row, std::ostream* out) {
    *out << row.name;
}

const NameCase nameCases[]{
    {"Unknown", instanceName("EX_Thing", "b"), 6, "EX_Thing"},
    {"OtherLetters", instanceName("EX_Thing", "A"), 6, "EX_Thing"},
    {"OfTheSubclass", instanceName("EX_Part", "a"), 6, "EX_Part"},
    {"UnknownClass", instanceName("EX_Nothing", "a"), 5, "EX_Nothing"},
    {"WithoutKeys", "<INSTANCENAME CLASSNAME=\"EX_Thing\"/>", 4, "Id"},
    {"UnknownKey",
     "<INSTANCENAME CLASSNAME=\"EX_Thing\">" + keyBinding("Id", "a") + keyBinding("Caption", "none") +
         "</INSTANCENAME>",
     4, "Caption"},
    {"RepeatedKey",
     "<INSTANCENAME CLASSNAME=\"EX_Thing\">" + keyBinding("Id", "a") + keyBinding("id", "a") +
         "</INSTANCENAME>",
     4, ""},
    {"KeyOfAnotherType",
     "<INSTANCENAME CLASSNAME=\"EX_Thing\"><KEYBINDING NAME=\"Id\"><VALUE.REFERENCE>" +
         instanceName("EX_Thing", "a") + "</VALUE.REFERENCE></KEYBINDING></INSTANCENAME>",
     4, "Id"},
    {"OtherElement", className("EX_Thing"), 4, "InstanceName"},
    {"Null", "", 4, "InstanceName"},
};

class InstanceNameRules : public RequestTest, public testing::WithParamInterface<NameCase> {};

TEST_P(InstanceNameRules, RefuseWhatIsWrong) {
    createThing("a");
    for (const char* operation : {"GetInstance", "DeleteInstance"}) {
        const Answer answer = call(operation, {{"InstanceName", GetParam().content}});
        EXPECT_EQ(answer.code(), GetParam().code) << operation << answer.description();
        EXPECT_THAT(answer.description(), HasSubstr(GetParam().text));
    }
    if (GetParam().content.starts_with("<INSTANCENAME")) {
        const Answer answer =
            call("ModifyInstance",
                 {{"ModifiedInstance", namedInstance(GetParam().content, instance("EX_Thing", ""))}});
        EXPECT_EQ(answer.code(), std::string(GetParam().name) == "OfTheSubclass" ? 4 : GetParam().code)
            << answer.description();
    }
    EXPECT_EQ(call("GetInstance", thingA).returned(), smallThing);
}

INSTANTIATE_TEST_SUITE_P(Names, InstanceNameRules, testing::ValuesIn(nameCases),
                         [](const auto& row) { return row.param.name; });

TEST_F(InstanceOperationsRequest, GetInstance_ChecksItsFlagsBeforeTheClass) {
    for (const char* flag : {"LocalOnly", "IncludeQualifiers", "IncludeClassOrigin"}) {
        EXPECT_EQ(call("GetInstance", {{"InstanceName", instanceName("EX_Nothing", "a")}, {flag, value("2")}})
                      .code(),
                  4)
            << flag;
    }
}

// Enumerations.

TEST_F(InstanceOperationsRequest, EnumerateInstances_AnswersSubclassesToo_EachWithItsName) {
    createThing("a");
    create(instance("EX_Part", property("Id", "p")));
    const std::string part =
        instance("EX_Part", property("Id", "p") + property("Caption", "a part") + null("Size", "uint32") +
                                nullArray("Tags") + null("Weight", "real32"));
    const std::string shallowPart = instance("EX_Part", property("Id", "p") + property("Caption", "a part") +
                                                            null("Size", "uint32") + nullArray("Tags"));
    const std::string nameA = instanceName("EX_Thing", "a");
    const std::string nameP = instanceName("EX_Part", "p");
    const IParameters things{{"ClassName", className("ex_thing")}};
    const auto enumerated = [&](const IParameters& more) {
        return call("EnumerateInstances", things + more).returned();
    };
    EXPECT_EQ(enumerated({}), namedInstance(nameA, smallThing) + namedInstance(nameP, part));
    EXPECT_EQ(enumerated({{"LocalOnly", value("TRUE")}}), enumerated({}));
    EXPECT_EQ(enumerated({{"DeepInheritance", value("FALSE")}}),
              namedInstance(nameA, smallThing) + namedInstance(nameP, shallowPart));
    EXPECT_EQ(
        enumerated({{"DeepInheritance", value("FALSE")}, {"PropertyList", test::array({"weight", "ID"})}}),
        namedInstance(nameA, instance("EX_Thing", property("Id", "a"))) +
            namedInstance(nameP, instance("EX_Part", property("Id", "p"))));
    EXPECT_EQ(enumerated({{"PropertyList", test::array({"weight", "Unknown"})}}),
              namedInstance(nameA, instance("EX_Thing", "")) +
                  namedInstance(nameP, instance("EX_Part", null("Weight", "real32"))));
    EXPECT_EQ(enumerated({{"PropertyList", test::array({})}}),
              namedInstance(nameA, instance("EX_Thing", "")) + namedInstance(nameP, instance("EX_Part", "")));
}

TEST_F(InstanceOperationsRequest, EnumerateInstances_WritesOriginsWhenAsked_AndNeverQualifiers) {
    createThing("a");
    EXPECT_EQ(call("EnumerateInstances", {{"ClassName", className("EX_Thing")},
                                          {"LocalOnly", value("FALSE")},
                                          {"DeepInheritance", value("TRUE")},
                                          {"IncludeQualifiers", value("TRUE")},
                                          {"IncludeClassOrigin", value("TRUE")},
                                          {"PropertyList", test::array({"Id"})}})
                  .returned(),
              namedInstance(instanceName("EX_Thing", "a"),
                            "<INSTANCE CLASSNAME=\"EX_Thing\"><PROPERTY NAME=\"Id\" TYPE=\"string\" "
                            "CLASSORIGIN=\"EX_Thing\"><VALUE>a</VALUE></PROPERTY></INSTANCE>"));
}

TEST_F(InstanceOperationsRequest, EnumerateInstanceNames_AnswersSubclassesToo) {
    createThing("a");
    create(instance("EX_Part", property("Id", "p")));
    create(instance("EX_Foreign", property("Id", "f")), "root/other");
    EXPECT_EQ(call("EnumerateInstanceNames", {{"ClassName", className("EX_Thing")}}).returned(),
              instanceName("EX_Thing", "a") + instanceName("EX_Part", "p"));
    EXPECT_EQ(call("EnumerateInstanceNames", {{"ClassName", className("EX_PART")}}).returned(),
              instanceName("EX_Part", "p"));
    EXPECT_EQ(call("EnumerateInstanceNames", {{"ClassName", className("EX_Sealed")}}).returned(), "");
    EXPECT_EQ(call("EnumerateInstanceNames", {{"ClassName", className("EX_Thing")}}, "root/other").returned(),
              instanceName("EX_Foreign", "f"));
}

TEST_F(InstanceOperationsRequest, Enumerations_RefuseWhatIsWrong) {
    for (const char* operation : {"EnumerateInstances", "EnumerateInstanceNames"}) {
        EXPECT_EQ(call(operation, {{"ClassName", className("EX_Nothing")}}).code(), 5) << operation;
        EXPECT_EQ(call(operation).code(), 4) << operation;
    }
    EXPECT_EQ(
        call("EnumerateInstanceNames", {{"ClassName", className("EX_Thing")}, {"LocalOnly", ""}}).code(), 4);
    for (const char* flag : {"LocalOnly", "DeepInheritance", "IncludeQualifiers", "IncludeClassOrigin"}) {
        EXPECT_EQ(
            call("EnumerateInstances", {{"ClassName", className("EX_Nothing")}, {flag, value("2")}}).code(),
            4)
            << flag;
    }
}

// Changing.

TEST_F(InstanceOperationsRequest, ModifyInstance_SetsWhatIsGiven_AndAnswersNothing) {
    createThing("a", array("Tags", {"t"}));
    const std::string changed =
        instance("ex_thing", property("CAPTION", "new") + "<PROPERTY.ARRAY NAME=\"Tags\" TYPE=\"string\"/>");
    const Answer answer =
        call("ModifyInstance", {{"ModifiedInstance", namedInstance(instanceName("ex_thing", "a"), changed)},
                                {"IncludeQualifiers", value("FALSE")},
                                {"PropertyList", ""}});
    EXPECT_THAT(answer.http.body, EndsWith("<SIMPLERSP><IMETHODRESPONSE NAME=\"ModifyInstance\">"
                                           "</IMETHODRESPONSE></SIMPLERSP></MESSAGE></CIM>"));
    EXPECT_EQ(call("GetInstance", thingA).returned(),
              instance("EX_Thing", property("Id", "a") + property("Caption", "new") + null("Size", "uint32") +
                                       nullArray("Tags")));
}

TEST_F(InstanceOperationsRequest, ModifyInstance_SetsWhatTheListNames_AndNothingElse) {
    createThing("a", property("Caption", "old") + property("Size", "1", "uint32"));
    const auto modify = [&](const std::vector<std::string>& names) {
        const Answer answer =
            call("ModifyInstance",
                 {{"ModifiedInstance", namedInstance(instanceName("EX_Thing", "a"),
                                                     instance("EX_Thing", property("Size", "2", "uint32")))},
                  {"PropertyList", test::array(names)}});
        EXPECT_EQ(answer.code(), 0) << answer.description();
        return call("GetInstance", thingA + IParameters{{"PropertyList", test::array({"Caption", "Size"})}})
            .returned();
    };
    EXPECT_EQ(modify({}), instance("EX_Thing", property("Caption", "old") + property("Size", "1", "uint32")));
    EXPECT_EQ(modify({"size"}),
              instance("EX_Thing", property("Caption", "old") + property("Size", "2", "uint32")));
    // Named but not given: back to the default.
    EXPECT_EQ(modify({"Caption"}),
              instance("EX_Thing", property("Caption", "none") + property("Size", "2", "uint32")));
}

TEST_F(InstanceOperationsRequest, ModifyInstance_RefusesWhatIsWrong) {
    createThing("a");
    const auto codeOf = [&](const std::string& name, const std::string& changed,
                            const IParameters& more = {}) {
        return call("ModifyInstance", IParameters{{"ModifiedInstance", namedInstance(name, changed)}} + more)
            .code();
    };
    const std::string name = instanceName("EX_Thing", "a");
    EXPECT_EQ(codeOf(name, instance("EX_Thing", property("Colour", "red"))), 12);
    EXPECT_EQ(codeOf(name, instance("EX_Thing", ""), {{"PropertyList", test::array({"Colour"})}}), 12);
    EXPECT_EQ(codeOf(name, instance("EX_Thing", property("Size", "1"))), 13);
    EXPECT_EQ(codeOf(name, instance("EX_Thing", property("Id", "b"))), 4);
    EXPECT_EQ(codeOf(name, instance("EX_Part", "")), 4);
    EXPECT_EQ(codeOf(name, instance("EX_Thing", ""), {{"IncludeQualifiers", value("x")}}), 4);
    EXPECT_EQ(
        codeOf(name, instance("EX_Thing", property("Size", "x", "uint32")), {{"PropertyList", value("x")}}),
        4);
    EXPECT_EQ(codeOf(instanceName("EX_Thing", "b"), instance("EX_Thing", "")), 6);
    const std::string illTyped = instance("EX_Thing", property("Size", "x", "uint32"));
    EXPECT_EQ(codeOf(name, illTyped), 13);
    EXPECT_EQ(codeOf(instanceName("EX_Thing", "b"), illTyped), 6);
    EXPECT_EQ(codeOf(instanceName("EX_Nothing", "b"), illTyped), 5);
    EXPECT_EQ(codeOf("<INSTANCENAME CLASSNAME=\"EX_Thing\"/>", illTyped), 4);
    EXPECT_EQ(codeOf(name, ""), 4);
    EXPECT_EQ(codeOf("", instance("EX_Thing", "")), 4);
    EXPECT_EQ(call("ModifyInstance", {{"ModifiedInstance", instance("EX_Thing", "")}}).code(), 4);
    EXPECT_EQ(call("ModifyInstance").code(), 4);
    EXPECT_EQ(call("GetInstance", thingA).returned(), smallThing);
}

TEST_F(InstanceOperationsRequest, DeleteInstance_AnswersNothing_AndTheInstanceIsGone) {
    createThing("a");
    const Answer answer = call("DeleteInstance", {{"InstanceName", instanceName("ex_thing", "a")}});
    EXPECT_THAT(answer.http.body, EndsWith("<SIMPLERSP><IMETHODRESPONSE NAME=\"DeleteInstance\">"
                                           "</IMETHODRESPONSE></SIMPLERSP></MESSAGE></CIM>"));
    EXPECT_EQ(call("GetInstance", thingA).code(), 6);
    EXPECT_EQ(call("DeleteInstance", thingA).code(), 6);
}

// Text.

TEST_F(InstanceOperationsRequest, KeepsTextAsItCame_WhateverIsInIt) {
    const std::string text = "&lt;&amp;&quot;'  \t two&#13;\n\xC3\xA9\xF0\x9F\x98\x80 ";
    createThing("a", property("Caption", text));
    const std::string read =
        call("GetInstance", thingA + IParameters{{"PropertyList", test::array({"Caption"})}}).returned();
    EXPECT_EQ(read, instance("EX_Thing",
                             property("Caption", "&lt;&amp;\"'  \t two&#13;\n\xC3\xA9\xF0\x9F\x98\x80 ")));
}

}  // namespace velm::test

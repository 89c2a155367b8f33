#include "tests/unit/velmd/requests/RequestSupport.h"
#include "velmd/wire/CIMReader.h"

// Associations whose instances live in the repository, and associations between classes.

namespace velm::test {

namespace {

using testing::HasSubstr;

std::string thingName(const std::string& id) {
    return instanceName("EX_Thing", id);
}

std::string paths(const std::vector<std::string>& names) {
    std::string xml;
    for (const std::string& name : names) {
        xml += objectPath(name);
    }
    return xml;
}

std::string withPath(const std::string& name, const std::string& instance) {
    return "<VALUE.OBJECTWITHPATH><INSTANCEPATH>" + namespacePath() + name + "</INSTANCEPATH>" + instance +
           "</VALUE.OBJECTWITHPATH>";
}

std::string classPaths(const std::vector<std::string>& names) {
    std::string xml;
    for (const std::string& name : names) {
        xml += "<OBJECTPATH><CLASSPATH>" + namespacePath() + "<CLASSNAME NAME=\"" + name +
               "\"/></CLASSPATH></OBJECTPATH>";
    }
    return xml;
}

/// a -> b by EX_Link, a -> c by EX_StrongLink, d -> a by EX_Link, a -> a by EX_Link; b is an EX_Part.
class Associations : public RequestTest {
protected:
    Associations() {
        for (const char* id : {"a", "c", "d", "alone"}) {
            createThing(id);
        }
        create(instance("EX_Part", property("Id", "b")));
        create(instance("EX_Link", reference("Antecedent", "a") + reference("Dependent", "b", "EX_Part") +
                                       property("Note", "first")));
        createLink("a", "c", "EX_StrongLink");
        createLink("d", "a");
        createLink("a", "a");
    }

    std::string names(const char* operation, const IParameters& parameters, const char* id = "a") {
        IParameters all{{"ObjectName", thingName(id)}};
        all.insert(all.end(), parameters.begin(), parameters.end());
        const Answer answer = call(operation, all);
        EXPECT_EQ(answer.code(), 0) << answer.description();
        return answer.returned();
    }
};

const std::string partB = instanceName("EX_Part", "b");

std::string linkToB() {
    std::string name = linkName("a", "b");
    return name.replace(name.rfind("EX_Thing"), 8, "EX_Part");
}

IParameters::value_type role(const char* name) {
    return {"Role", value(name)};
}
IParameters::value_type resultRole(const char* name) {
    return {"ResultRole", value(name)};
}
IParameters::value_type resultClass(const char* name) {
    return {"ResultClass", className(name)};
}
IParameters::value_type assocClass(const char* name) {
    return {"AssocClass", className(name)};
}

}  // namespace

TEST_F(Associations, ReferenceNames_AnswerWhatRefersToTheInstance) {
    const std::string toC = linkName("a", "c", "EX_StrongLink");
    const std::string fromD = linkName("d", "a");
    const std::string toItself = linkName("a", "a");
    EXPECT_EQ(names("ReferenceNames", {}), paths({linkToB(), toC, fromD, toItself}));
    EXPECT_EQ(names("ReferenceNames", {{"Role", ""}, {"ResultClass", ""}}), names("ReferenceNames", {}));
    EXPECT_EQ(names("ReferenceNames", {role("ANTECEDENT")}), paths({linkToB(), toC, toItself}));
    EXPECT_EQ(names("ReferenceNames", {role("Dependent")}), paths({fromD, toItself}));
    EXPECT_EQ(names("ReferenceNames", {role("Note")}), "");
    EXPECT_EQ(names("ReferenceNames", {role("Nothing")}), "");
    EXPECT_EQ(names("ReferenceNames", {resultClass("EX_Link")}), names("ReferenceNames", {}));
    EXPECT_EQ(names("ReferenceNames", {resultClass("ex_stronglink")}), paths({toC}));
    EXPECT_EQ(names("ReferenceNames", {resultClass("EX_StrongLink"), role("Dependent")}), "");
    EXPECT_EQ(names("ReferenceNames", {resultClass("EX_Thing")}), "");
    EXPECT_EQ(names("ReferenceNames", {}, "alone"), "");
}

TEST_F(Associations, References_AnswerTheInstancesToo) {
    const std::string toB = withPath(
        linkToB(),
        instance("EX_Link", "<PROPERTY.REFERENCE NAME=\"Antecedent\" REFERENCECLASS=\"EX_Thing\">" +
                                reference("", "a").substr(28) +
                                "<PROPERTY.REFERENCE NAME=\"Dependent\" REFERENCECLASS=\"EX_Thing\">" +
                                reference("", "b", "EX_Part").substr(28) + property("Note", "first")));
    EXPECT_THAT(names("References", {}), testing::StartsWith(toB));
    EXPECT_EQ(names("References", {resultClass("EX_StrongLink"), {"PropertyList", array({"NOTE"})}}),
              withPath(linkName("a", "c", "EX_StrongLink"),
                       instance("EX_StrongLink", "<PROPERTY NAME=\"Note\" TYPE=\"string\"></PROPERTY>")));
    EXPECT_EQ(
        names("References", {resultClass("EX_StrongLink"),
                             {"PropertyList", array({"Note"})},
                             {"IncludeQualifiers", value("TRUE")},
                             {"IncludeClassOrigin", value("TRUE")}}),
        withPath(linkName("a", "c", "EX_StrongLink"), instance("EX_StrongLink",
                                                               "<PROPERTY NAME=\"Note\" TYPE=\"string\" "
                                                               "CLASSORIGIN=\"EX_Link\"></PROPERTY>")));
}

TEST_F(Associations, AssociatorNames_AnswerTheOtherEnds) {
    EXPECT_EQ(names("AssociatorNames", {}), paths({partB, thingName("c"), thingName("d"), thingName("a")}));
    EXPECT_EQ(names("AssociatorNames", {role("Antecedent")}), paths({partB, thingName("c"), thingName("a")}));
    EXPECT_EQ(names("AssociatorNames", {role("Dependent")}), paths({thingName("d"), thingName("a")}));
    EXPECT_EQ(names("AssociatorNames", {resultRole("ANTECEDENT")}), paths({thingName("d"), thingName("a")}));
    EXPECT_EQ(names("AssociatorNames", {role("Antecedent"), resultRole("Antecedent")}), "");
    EXPECT_EQ(names("AssociatorNames", {assocClass("EX_StrongLink")}), paths({thingName("c")}));
    EXPECT_EQ(names("AssociatorNames", {resultClass("EX_Part")}), paths({partB}));
    EXPECT_EQ(names("AssociatorNames", {resultClass("EX_Thing"), assocClass("ex_link")}),
              names("AssociatorNames", {}));
    EXPECT_EQ(names("AssociatorNames", {resultClass("EX_Part"), assocClass("EX_StrongLink")}), "");
    EXPECT_EQ(names("AssociatorNames", {assocClass("EX_Holding")}), "");
    EXPECT_EQ(names("AssociatorNames", {}, "c"), paths({thingName("a")}));
    EXPECT_EQ(names("AssociatorNames", {}, "alone"), "");
}

TEST_F(Associations, Associators_AnswerTheInstancesToo) {
    EXPECT_EQ(names("Associators", {resultClass("EX_Part"), {"PropertyList", array({"Id"})}}),
              withPath(partB, instance("EX_Part", property("Id", "b"))));
    EXPECT_EQ(names("Associators", {resultClass("EX_Part"), {"PropertyList", array({})}}),
              withPath(partB, instance("EX_Part", "")));
    EXPECT_THAT(names("Associators", {resultClass("EX_Part")}), HasSubstr("Weight"));
}

TEST_F(Associations, Associators_NameEachObjectOnce_HoweverManyWaysLeadToIt) {
    createLink("a", "c");
    createLink("c", "a");
    EXPECT_EQ(names("AssociatorNames", {}, "c"), paths({thingName("a")}));
}

TEST_F(Associations, Associators_LeaveOutWhatIsGone_AsTheirNamesDo) {
    ASSERT_EQ(call("DeleteInstance", {{"InstanceName", thingName("c")}}).code(), 0);
    EXPECT_EQ(names("AssociatorNames", {role("Antecedent")}), paths({partB, thingName("a")}));
    EXPECT_EQ(names("Associators", {assocClass("EX_StrongLink")}), "");
    // The association itself stays, and so does what refers to the instance that is gone.
    EXPECT_EQ(names("ReferenceNames", {resultClass("EX_StrongLink")}),
              paths({linkName("a", "c", "EX_StrongLink")}));
    EXPECT_EQ(names("AssociatorNames", {}, "c"), paths({thingName("a")}));
}

TEST_F(Associations, TakeTheInstanceByAnyName) {
    const std::string expected = names("ReferenceNames", {});
    const std::string forms[]{"<INSTANCENAME CLASSNAME=\"ex_THING\"><KEYVALUE>a</KEYVALUE></INSTANCENAME>",
                              "<VALUE.REFERENCE>" + thingName("a") + "</VALUE.REFERENCE>",
                              "<VALUE.REFERENCE><INSTANCEPATH>" + namespacePath("ROOT/TEST") +
                                  thingName("a") + "</INSTANCEPATH></VALUE.REFERENCE>"};
    for (const std::string& form : forms) {
        EXPECT_EQ(call("ReferenceNames", {{"ObjectName", form}}).returned(), expected) << form;
    }
}

TEST_F(Associations, CrossNamespaces) {
    create(instance("EX_Thing", property("Id", "far")), "root/other");
    const std::string far =
        "<VALUE.REFERENCE><LOCALINSTANCEPATH><LOCALNAMESPACEPATH><NAMESPACE NAME=\"root\"/>"
        "<NAMESPACE NAME=\"Other\"/></LOCALNAMESPACEPATH>" +
        thingName("far") + "</LOCALINSTANCEPATH></VALUE.REFERENCE>";
    create(instance("EX_Link", reference("Antecedent", "alone") + "<PROPERTY.REFERENCE NAME=\"Dependent\">" +
                                   far + "</PROPERTY.REFERENCE>"));
    EXPECT_EQ(names("AssociatorNames", {}, "alone"), "<OBJECTPATH><INSTANCEPATH>" +
                                                         namespacePath("root/Other") + thingName("far") +
                                                         "</INSTANCEPATH></OBJECTPATH>");
    EXPECT_EQ(call("AssociatorNames", {{"ObjectName", thingName("far")}}, "root/other").returned(),
              objectPath(thingName("alone")));
    EXPECT_EQ(call("AssociatorNames", {{"ObjectName", far}}).returned(), objectPath(thingName("alone")));
    EXPECT_THAT(names("Associators", {{"PropertyList", array({"Id"})}}, "alone"),
                HasSubstr(instance("EX_Thing", property("Id", "far"))));
}

struct AssociationCase {
    const char* name;
    IParameters parameters;
    int code;
    const char* text;
};

void PrintTo(const AssociationCase& row, std::ostream* out) {
    *out << row.name;
}

const AssociationCase associationCases[]{
    {"WithoutObject", {}, 4, "ObjectName"},
    {"NullObject", {{"ObjectName", ""}}, 4, "ObjectName"},
    {"ObjectAsText", {{"ObjectName", value("a")}}, 4, "ObjectName"},
    {"UnknownClass", {{"ObjectName", instanceName("EX_Nothing", "a")}}, 5, "EX_Nothing"},
    {"UnknownClassAsClass", {{"ObjectName", className("EX_Nothing")}}, 5, "EX_Nothing"},
    {"MissingKey", {{"ObjectName", "<INSTANCENAME CLASSNAME=\"EX_Thing\"/>"}}, 4, "Id"},
    {"UnknownResultClass", {{"ObjectName", thingName("a")}, resultClass("EX_Nothing")}, 4, "ResultClass"},
    {"UnknownResultClassFirst",
     {{"ObjectName", instanceName("EX_Nothing", "a")}, resultClass("EX_Nowhere")},
     4,
     "ResultClass"},
    {"RoleAsArray", {{"ObjectName", className("EX_Nothing")}, {"Role", array({"a"})}}, 4, "Role"},
    {"UnknownNamespace",
     {{"ObjectName", "<VALUE.REFERENCE><INSTANCEPATH>" + namespacePath("root/nowhere") + thingName("a") +
                         "</INSTANCEPATH></VALUE.REFERENCE>"}},
     3,
     "root/nowhere"},
};

class AssociationRules : public RequestTest, public testing::WithParamInterface<AssociationCase> {};

TEST_P(AssociationRules, RefuseWhatIsWrong_InAllFourOperations) {
    for (const char* operation : {"References", "ReferenceNames", "Associators", "AssociatorNames"}) {
        const Answer answer = call(operation, GetParam().parameters);
        EXPECT_EQ(answer.code(), GetParam().code) << operation << answer.description();
        EXPECT_THAT(answer.description(), HasSubstr(GetParam().text));
    }
}

INSTANTIATE_TEST_SUITE_P(Rules, AssociationRules, testing::ValuesIn(associationCases),
                         [](const auto& row) { return row.param.name; });

TEST_F(Associations, TakeOnlyTheParametersOfEachOperation) {
    const auto codeOf = [&](const char* operation, const IParameters::value_type& parameter) {
        return call(operation, {{"ObjectName", thingName("a")}, parameter}).code();
    };
    for (const char* operation : {"References", "ReferenceNames"}) {
        EXPECT_EQ(codeOf(operation, assocClass("EX_Link")), 4);
        EXPECT_EQ(codeOf(operation, resultRole("Dependent")), 4);
    }
    for (const char* operation : {"ReferenceNames", "AssociatorNames"}) {
        EXPECT_EQ(codeOf(operation, {"PropertyList", array({})}), 4);
        EXPECT_EQ(codeOf(operation, {"IncludeQualifiers", value("TRUE")}), 4);
        EXPECT_EQ(codeOf(operation, {"IncludeClassOrigin", value("TRUE")}), 4);
    }
    EXPECT_EQ(codeOf("Associators", assocClass("EX_Nothing")), 4);
    EXPECT_EQ(codeOf("Associators", {"IncludeQualifiers", value("x")}), 4);
    EXPECT_EQ(codeOf("References", {"LocalOnly", value("TRUE")}), 4);
}

// Between classes.

TEST_F(Associations, OfClasses_AreThoseThatTheDeclarationsAllow) {
    const auto ofClass = [&](const char* operation, const char* name, IParameters more = {}) {
        more.insert(more.begin(), {"ObjectName", className(name)});
        return call(operation, more).returned();
    };
    EXPECT_EQ(ofClass("ReferenceNames", "ex_thing"), classPaths({"EX_Link", "EX_StrongLink", "EX_Holding"}));
    EXPECT_EQ(ofClass("ReferenceNames", "EX_Part"), ofClass("ReferenceNames", "EX_Thing"));
    EXPECT_EQ(ofClass("ReferenceNames", "EX_File"), classPaths({"EX_Holding"}));
    EXPECT_EQ(ofClass("ReferenceNames", "EX_Sealed"), "");
    EXPECT_EQ(ofClass("ReferenceNames", "EX_Thing", {role("holder")}), classPaths({"EX_Holding"}));
    EXPECT_EQ(ofClass("ReferenceNames", "EX_Thing", {role("Held")}), "");
    EXPECT_EQ(ofClass("ReferenceNames", "EX_Thing", {resultClass("EX_Link")}),
              classPaths({"EX_Link", "EX_StrongLink"}));
    EXPECT_EQ(ofClass("AssociatorNames", "EX_Thing"), classPaths({"EX_Thing", "EX_File"}));
    EXPECT_EQ(ofClass("AssociatorNames", "EX_TextFile"), classPaths({"EX_Thing"}));
    EXPECT_EQ(ofClass("AssociatorNames", "EX_Thing", {assocClass("EX_Link")}), classPaths({"EX_Thing"}));
    EXPECT_EQ(ofClass("AssociatorNames", "EX_Thing", {resultRole("Held")}), classPaths({"EX_File"}));
    EXPECT_EQ(ofClass("AssociatorNames", "EX_Thing", {resultClass("EX_File")}), classPaths({"EX_File"}));
    EXPECT_EQ(ofClass("AssociatorNames", "EX_Thing", {resultClass("EX_TextFile")}), "");
}

TEST_F(Associations, OfClasses_ComeWithTheirDeclarations) {
    const auto answered = [&](IParameters more) {
        more.insert(more.begin(), {{"ObjectName", className("EX_File")}, resultClass("EX_Holding")});
        return call("References", more).returned();
    };
    const std::string opening = "<VALUE.OBJECTWITHPATH><CLASSPATH>" + namespacePath() +
                                "<CLASSNAME NAME=\"EX_Holding\"/></CLASSPATH>";
    const std::string key = "<QUALIFIER NAME=\"Key\" TYPE=\"boolean\"><VALUE>TRUE</VALUE></QUALIFIER>";
    EXPECT_EQ(
        answered({}),
        opening +
            "<CLASS NAME=\"EX_Holding\"><PROPERTY.REFERENCE NAME=\"Holder\" REFERENCECLASS=\"EX_Thing\">"
            "</PROPERTY.REFERENCE><PROPERTY.REFERENCE NAME=\"Held\" REFERENCECLASS=\"EX_File\">"
            "</PROPERTY.REFERENCE></CLASS></VALUE.OBJECTWITHPATH>");
    EXPECT_EQ(answered({{"IncludeQualifiers", value("TRUE")},
                        {"IncludeClassOrigin", value("TRUE")},
                        {"PropertyList", array({"held"})}}),
              opening +
                  "<CLASS NAME=\"EX_Holding\"><QUALIFIER NAME=\"Association\" TYPE=\"boolean\"><VALUE>TRUE"
                  "</VALUE></QUALIFIER><PROPERTY.REFERENCE NAME=\"Held\" REFERENCECLASS=\"EX_File\" "
                  "CLASSORIGIN=\"EX_Holding\">" +
                  key + "</PROPERTY.REFERENCE></CLASS></VALUE.OBJECTWITHPATH>");
    // Inherited elements are part of it.
    EXPECT_THAT(
        call("References", {{"ObjectName", className("EX_Thing")}, resultClass("EX_StrongLink")}).returned(),
        HasSubstr("<PROPERTY NAME=\"Note\" TYPE=\"string\" PROPAGATED=\"true\"></PROPERTY>"));
}

TEST_F(Associations, OfClasses_AreThoseOfTheNamespaceThatTheirPathNames) {
    const auto path = [](const std::string& nameSpace, const std::string& name) {
        return "<VALUE.REFERENCE><CLASSPATH>" + namespacePath(nameSpace) + "<CLASSNAME NAME=\"" + name +
               "\"/></CLASSPATH></VALUE.REFERENCE>";
    };
    EXPECT_EQ(call("ReferenceNames", {{"ObjectName", path("root/test", "EX_File")}}, "root/other").returned(),
              classPaths({"EX_Holding"}));
    EXPECT_EQ(call("AssociatorNames", {{"ObjectName", path("root/other", "EX_Foreign")}}).returned(), "");
    EXPECT_EQ(call("AssociatorNames", {{"ObjectName", path("root/other", "EX_File")}}).code(), 5);
}

}  // namespace velm::test

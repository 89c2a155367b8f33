#include "tests/unit/velmd/requests/RequestSupport.h"

namespace velm::test {

namespace {

using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;

const std::string keyQualifier =
    R"(<QUALIFIER NAME="Key" TYPE="boolean" OVERRIDABLE="false"><VALUE>TRUE</VALUE></QUALIFIER>)";
const std::string inheritedKeyQualifier =
    R"(<QUALIFIER NAME="Key" TYPE="boolean" PROPAGATED="true" OVERRIDABLE="false"><VALUE>TRUE</VALUE></QUALIFIER>)";
const std::string description =
    R"(<QUALIFIER NAME="Description" TYPE="string" TRANSLATABLE="true"><VALUE>A thing</VALUE></QUALIFIER>)";
const std::string inheritedDescription =
    R"(<QUALIFIER NAME="Description" TYPE="string" PROPAGATED="true" TRANSLATABLE="true"><VALUE>A thing</VALUE></QUALIFIER>)";

/// A parameter that is a boolean.
IParameters::value_type flag(const char* name, bool isSet) {
    return {name, value(isSet ? "TRUE" : "FALSE")};
}

/// The attributes that IncludeClassOrigin adds.
std::string origin(bool isWanted, const char* className) {
    return isWanted ? std::string(" CLASSORIGIN=\"") + className + "\"" : "";
}

std::string thingClass(bool withQualifiers, bool withOrigin = false) {
    const std::string thing = origin(withOrigin, "EX_Thing");
    return "<CLASS NAME=\"EX_Thing\">" + (withQualifiers ? description : "") +
           "<PROPERTY NAME=\"Id\" TYPE=\"string\"" + thing + ">" + (withQualifiers ? keyQualifier : "") +
           "</PROPERTY><PROPERTY NAME=\"Caption\" TYPE=\"string\"" + thing +
           "><VALUE>none</VALUE></PROPERTY><PROPERTY NAME=\"Size\" TYPE=\"uint32\"" + thing +
           "></PROPERTY><PROPERTY.ARRAY NAME=\"Tags\" TYPE=\"string\"" + thing +
           "></PROPERTY.ARRAY><METHOD NAME=\"Reset\" TYPE=\"uint32\"" + thing +
           "><PARAMETER NAME=\"Force\" TYPE=\"boolean\"></PARAMETER></METHOD></CLASS>";
}

const std::string ownPart =
    R"(<CLASS NAME="EX_Part" SUPERCLASS="EX_Thing"><PROPERTY NAME="Caption" TYPE="string"><VALUE>a part</VALUE></PROPERTY>)"
    R"(<PROPERTY NAME="Weight" TYPE="real32"></PROPERTY></CLASS>)";

std::string wholePart(bool withQualifiers, bool withOrigin) {
    const std::string thing = origin(withOrigin, "EX_Thing");
    const std::string propagated = thing + " PROPAGATED=\"true\">";
    return "<CLASS NAME=\"EX_Part\" SUPERCLASS=\"EX_Thing\">" + (withQualifiers ? inheritedDescription : "") +
           "<PROPERTY NAME=\"Id\" TYPE=\"string\"" + propagated +
           (withQualifiers ? inheritedKeyQualifier : "") +
           "</PROPERTY><PROPERTY NAME=\"Caption\" TYPE=\"string\"" + thing +
           "><VALUE>a part</VALUE></PROPERTY><PROPERTY NAME=\"Size\" TYPE=\"uint32\"" + propagated +
           "</PROPERTY><PROPERTY.ARRAY NAME=\"Tags\" TYPE=\"string\"" + propagated +
           "</PROPERTY.ARRAY><PROPERTY NAME=\"Weight\" TYPE=\"real32\"" + origin(withOrigin, "EX_Part") +
           "></PROPERTY><METHOD NAME=\"Reset\" TYPE=\"uint32\"" + propagated +
           "<PARAMETER NAME=\"Force\" TYPE=\"boolean\"></PARAMETER></METHOD></CLASS>";
}

std::string namesOf(const std::vector<const char*>& classes) {
    std::string xml;
    for (const char* name : classes) {
        xml += className(name);
    }
    return xml;
}

const std::string newClass =
    R"(<CLASS NAME="EX_New" SUPERCLASS="ex_thing"><PROPERTY NAME="Colour" TYPE="string"/></CLASS>)";

}  // namespace

using ClassOperationsRequest = RequestTest;

TEST_F(ClassOperationsRequest, GetClass_AnswersOwnElementsWithQualifiers_ByDefault) {
    EXPECT_EQ(call("GetClass", {{"ClassName", className("EX_Thing")}}).returned(), thingClass(true));
    EXPECT_EQ(call("GetClass", {{"ClassName", className("EX_Part")}}).returned(), ownPart);
}

TEST_F(ClassOperationsRequest, GetClass_TakesAnySpellingAndAPlainValue) {
    for (const std::string& name : {className("ex_THING"), value("EX_Thing")}) {
        const Answer answer = call("getclass", {{"CLASSNAME", name}}, "Root/TEST");
        EXPECT_THAT(answer.returned(), testing::StartsWith("<CLASS NAME=\"EX_Thing\">"));
    }
}

TEST_F(ClassOperationsRequest, GetClass_FollowsItsFlags) {
    const IParameters part{{"ClassName", className("EX_Part")}, flag("LocalOnly", false)};
    const auto with = [&](bool qualifiers, bool classOrigin) {
        IParameters parameters = part;
        parameters.push_back(flag("IncludeQualifiers", qualifiers));
        parameters.push_back(flag("IncludeClassOrigin", classOrigin));
        return call("GetClass", parameters).returned();
    };
    EXPECT_EQ(with(true, false), wholePart(true, false));
    EXPECT_EQ(with(true, true), wholePart(true, true));
    EXPECT_EQ(with(false, false), wholePart(false, false));
    EXPECT_EQ(with(false, true), wholePart(false, true));
}

TEST_F(ClassOperationsRequest, GetClass_TakesAnEmptyParameterForItsDefault) {
    EXPECT_EQ(call("GetClass", {{"ClassName", className("EX_Part")},
                                {"LocalOnly", ""},
                                {"IncludeQualifiers", ""},
                                {"IncludeClassOrigin", ""},
                                {"PropertyList", ""}})
                  .returned(),
              ownPart);
}

TEST_F(ClassOperationsRequest, GetClass_LeavesOutPropertiesThatAreNotInTheList) {
    const auto withList = [&](const std::vector<std::string>& names) {
        return call("GetClass", {{"ClassName", className("EX_Thing")},
                                 flag("IncludeQualifiers", false),
                                 {"PropertyList", array(names)}})
            .returned();
    };
    const std::string method = R"(<METHOD NAME="Reset" TYPE="uint32"><PARAMETER NAME="Force" TYPE="boolean">)"
                               R"(</PARAMETER></METHOD></CLASS>)";
    EXPECT_EQ(withList({"size", "Unknown", "SIZE"}),
              R"(<CLASS NAME="EX_Thing"><PROPERTY NAME="Size" TYPE="uint32"></PROPERTY>)" + method);
    EXPECT_EQ(withList({}), R"(<CLASS NAME="EX_Thing">)" + method);
}

TEST_F(ClassOperationsRequest, GetClass_ClosesNoPropertyInItsOwnTag) {
    const Answer answer = call("GetClass", {{"ClassName", className("EX_Link")}, flag("LocalOnly", false)});
    EXPECT_THAT(answer.returned(), testing::Not(HasSubstr("/>")));
}

TEST_F(ClassOperationsRequest, GetClass_RefusesWhatIsWrong_InTheOrderOfTheStandard) {
    const Answer unknown = call("GetClass", {{"ClassName", className("EX_Nothing")}});
    EXPECT_EQ(unknown.code(), 6);
    EXPECT_EQ(unknown.description(), "CIM_ERR_NOT_FOUND: there is no class 'EX_Nothing'");
    EXPECT_EQ(call("GetClass", {{"ClassName", className("")}}).code(), 6);
    EXPECT_EQ(call("GetClass", {{"ClassName", className("EX_Foreign")}}).code(), 6);
    const Answer badFlag =
        call("GetClass", {{"ClassName", className("EX_Nothing")}, {"LocalOnly", value("1")}});
    EXPECT_EQ(badFlag.code(), 4);
    EXPECT_EQ(badFlag.description(),
              "CIM_ERR_INVALID_PARAMETER: the parameter 'LocalOnly' must be TRUE or FALSE");
}

// The rules that all operations share about their parameters, shown with one.

struct ParameterCase {
    const char* name;
    IParameters parameters;
    const char* problem;
};

void PrintTo(const ParameterCase& row, std::ostream* out) {
    *out << row.name;
}

const ParameterCase parameterCases[]{
    {"Missing", {}, "'ClassName' is missing"},
    {"Null", {{"ClassName", ""}}, "'ClassName' is missing"},
    {"Unknown",
     {{"ClassName", className("EX_Thing")}, {"Deep", value("x")}},
     "'Deep' is no parameter of this operation"},
    {"UnknownOfAnotherOperation",
     {{"ClassName", className("EX_Thing")}, {"DeepInheritance", value("TRUE")}},
     "'DeepInheritance' is no parameter of this operation"},
    {"UnknownAndNull",
     {{"ClassName", className("EX_Thing")}, {"Deep", ""}},
     "'Deep' is no parameter of this operation"},
    {"UnknownWithoutName", {{"", value("x")}}, "'' is no parameter of this operation"},
    {"Repeated",
     {{"ClassName", className("EX_Thing")}, {"ClassName", className("EX_Thing")}},
     "'ClassName' is given twice"},
    {"RepeatedInOtherLetters",
     {{"ClassName", className("EX_Thing")}, {"classname", ""}},
     "'classname' is given twice"},
    {"OtherElement",
     {{"ClassName", instanceName("EX_Thing", "a")}},
     "'ClassName' must hold CLASSNAME, not 'INSTANCENAME'"},
    {"NoAttribute", {{"ClassName", "<CLASSNAME/>"}}, "'ClassName' has a CLASSNAME without NAME"},
    {"ElementsInAText", {{"ClassName", "<VALUE><VALUE>a</VALUE></VALUE>"}}, "'ClassName' must hold a text"},
    {"BooleanAsArray",
     {{"ClassName", className("EX_Thing")}, {"LocalOnly", array({"TRUE"})}},
     "'LocalOnly' must hold VALUE, not 'VALUE.ARRAY'"},
    {"BooleanEmpty",
     {{"ClassName", className("EX_Thing")}, {"LocalOnly", value("")}},
     "'LocalOnly' must be TRUE or FALSE"},
    {"ListAsScalar",
     {{"ClassName", className("EX_Thing")}, {"PropertyList", value("Id")}},
     "'PropertyList' must hold VALUE.ARRAY, not 'VALUE'"},
    {"ListWithNull",
     {{"ClassName", className("EX_Thing")}, {"PropertyList", "<VALUE.ARRAY><VALUE.NULL/></VALUE.ARRAY>"}},
     "'PropertyList' must hold an array of texts"},
};

class ParameterRules : public RequestTest, public testing::WithParamInterface<ParameterCase> {};

TEST_P(ParameterRules, RefuseARequestThatBreaksThem) {
    const Answer answer = call("GetClass", GetParam().parameters);
    EXPECT_EQ(answer.code(), 4);
    EXPECT_EQ(answer.description(),
              std::string("CIM_ERR_INVALID_PARAMETER: the parameter ") + GetParam().problem);
}

INSTANTIATE_TEST_SUITE_P(GetClass, ParameterRules, testing::ValuesIn(parameterCases),
                         [](const auto& row) { return row.param.name; });

TEST_F(ClassOperationsRequest, QuotesLongNamesShortened_InEveryRefusal) {
    const std::string name(100'000, 'a');
    for (const Answer& answer :
         {call("GetClass", {{name, value("x")}}), call("GetClass", {{"ClassName", className(name)}}),
          call("EnumerateClasses", {{"ClassName", className(name)}}),
          call("DeleteClass", {{"ClassName", className(name)}}),
          call("GetQualifier", {{"QualifierName", value(name)}}),
          call("GetInstance", {{"InstanceName", instanceName(name, "a")}}),
          call("GetInstance", {{"InstanceName", instanceName("EX_Thing", name)}}),
          call("CreateInstance", {{"NewInstance", instance("EX_Thing", property(name, "a"))}}),
          call("References", {{"ObjectName", className("EX_Thing")}, {"ResultClass", className(name)}}),
          call("GetClass", {}, name)}) {
        EXPECT_GT(answer.code(), 0);
        EXPECT_LT(answer.description().size(), 300U) << answer.description();
    }
}

// Enumerations.

TEST_F(ClassOperationsRequest, EnumerateClassNames_AnswersRootsOrTheNextLevel_AndAllBelowWhenDeep) {
    const auto names = [&](const IParameters& parameters) {
        return call("EnumerateClassNames", parameters).returned();
    };
    const IParameters all{flag("DeepInheritance", true)};
    EXPECT_EQ(names({}), namesOf({"EX_Thing", "EX_Sealed", "EX_Link", "EX_File", "EX_Holding"}));
    EXPECT_EQ(names({{"ClassName", ""}}), names({}));
    EXPECT_EQ(names(all), namesOf({"EX_Thing", "EX_Part", "EX_Sealed", "EX_Link", "EX_StrongLink", "EX_File",
                                   "EX_TextFile", "EX_Holding"}));
    EXPECT_EQ(names({{"ClassName", className("ex_thing")}}), namesOf({"EX_Part"}));
    EXPECT_EQ(names({{"ClassName", className("EX_Part")}}), "");
    EXPECT_EQ(names({{"ClassName", className("EX_Part")}, flag("DeepInheritance", true)}), "");
}

TEST_F(ClassOperationsRequest, EnumerateClassNames_GoesAllTheWayDown_WhenDeep) {
    ASSERT_EQ(call("CreateClass", {{"NewClass", R"(<CLASS NAME="EX_Bolt" SUPERCLASS="EX_Part"/>)"}}).code(),
              0);
    EXPECT_EQ(call("EnumerateClassNames", {{"ClassName", className("EX_Thing")}}).returned(),
              namesOf({"EX_Part"}));
    EXPECT_EQ(
        call("EnumerateClassNames", {{"ClassName", className("EX_Thing")}, flag("DeepInheritance", true)})
            .returned(),
        namesOf({"EX_Part", "EX_Bolt"}));
}

TEST_F(ClassOperationsRequest, EnumerateClasses_AnswersTheSameClasses_WithTheElementsAskedFor) {
    const IParameters thing{{"ClassName", className("EX_Thing")}};
    EXPECT_EQ(call("EnumerateClasses", thing).returned(), ownPart);
    EXPECT_EQ(call("EnumerateClasses", {thing[0], flag("LocalOnly", false), flag("IncludeClassOrigin", true)})
                  .returned(),
              wholePart(true, true));
    EXPECT_EQ(call("EnumerateClasses", {flag("DeepInheritance", true), flag("LocalOnly", false),
                                        flag("IncludeQualifiers", false)})
                  .returned()
                  .substr(0, thingClass(false).size() + wholePart(false, false).size()),
              thingClass(false) + wholePart(false, false));
    EXPECT_THAT(call("EnumerateClasses").returned(), testing::StartsWith(thingClass(true)));
}

TEST_F(ClassOperationsRequest, Enumerations_RefuseAnUnknownClass) {
    for (const char* operation : {"EnumerateClasses", "EnumerateClassNames"}) {
        for (const char* name : {"EX_Nothing", ""}) {
            EXPECT_EQ(call(operation, {{"ClassName", className(name)}}).code(), 5) << operation;
        }
        EXPECT_EQ(
            call(operation, {{"ClassName", className("EX_Nothing")}, {"DeepInheritance", value("maybe")}})
                .code(),
            4);
    }
    EXPECT_EQ(call("EnumerateClasses", {{"PropertyList", array({})}}).code(), 4);
    EXPECT_EQ(call("EnumerateClassNames", {flag("LocalOnly", true)}).code(), 4);
}

// Writing.

TEST_F(ClassOperationsRequest, CreateClass_AnswersNothing_AndTheClassIsThere) {
    const Answer answer = call("CreateClass", {{"NewClass", newClass}}, "ROOT/test");
    EXPECT_THAT(answer.http.body, EndsWith("<SIMPLERSP><IMETHODRESPONSE NAME=\"CreateClass\">"
                                           "</IMETHODRESPONSE></SIMPLERSP></MESSAGE></CIM>"));
    EXPECT_THAT(created, ElementsAre("root/Test:EX_New"));
    EXPECT_EQ(
        call("GetClass", {{"ClassName", className("EX_New")}}).returned(),
        R"(<CLASS NAME="EX_New" SUPERCLASS="EX_Thing"><PROPERTY NAME="Colour" TYPE="string"></PROPERTY></CLASS>)");
}

TEST_F(ClassOperationsRequest, CreateClass_RefusesWhatIsWrong) {
    const std::pair<std::string, int> rows[]{
        {"<CLASS NAME=\"EX_New\" SUPERCLASS=\"EX_Nothing\"/>", 10},
        {"<CLASS NAME=\"ex_THING\"/>", 11},
        {"<CLASS NAME=\"1\"/>", 4},
        {"<CLASS NAME=\"EX_New\"><PROPERTY NAME=\"A\" TYPE=\"string\"/><PROPERTY NAME=\"a\" "
         "TYPE=\"string\"/></CLASS>",
         4},
        {"<CLASS NAME=\"EX_New\"><PROPERTY NAME=\"A\" TYPE=\"uint8\"><VALUE>256</VALUE></PROPERTY></CLASS>",
         13},
        {instance("EX_Thing", ""), 4},
        {"", 4}};
    for (const auto& [declaration, code] : rows) {
        EXPECT_EQ(call("CreateClass", {{"NewClass", declaration}}).code(), code) << declaration;
    }
    EXPECT_THAT(created, testing::IsEmpty());
}

TEST_F(ClassOperationsRequest, RefusesTheDocument_WhenAnElementIsNotWhatTheDTDAllows) {
    const std::pair<const char*, std::string> rows[]{
        {"NewClass", "<CLASS NAME=\"EX_New\"><VALUE/></CLASS>"},
        {"NewClass", "<CLASS/>"},
        {"NewClass", "<CLASS NAME=\"EX_New\"><PROPERTY NAME=\"A\"/></CLASS>"}};
    for (const auto& [parameter, content] : rows) {
        const Answer answer = call("CreateClass", {{parameter, content}});
        EXPECT_EQ(answer.http.status, 400U);
        EXPECT_EQ(answer.header("CIMError"), "request-not-loosely-valid") << content;
        EXPECT_EQ(answer.http.body, "");
    }
}

TEST_F(ClassOperationsRequest, DeleteClass_AnswersNothing_AndTheClassIsGone) {
    const Answer answer = call("DeleteClass", {{"ClassName", className("ex_part")}});
    EXPECT_EQ(answer.code(), 0);
    EXPECT_EQ(answer.returned(), "nothing");
    EXPECT_EQ(call("GetClass", {{"ClassName", className("EX_Part")}}).code(), 6);
}

TEST_F(ClassOperationsRequest, DeleteClass_RefusesWhatIsWrong) {
    EXPECT_EQ(call("DeleteClass", {{"ClassName", className("EX_Nothing")}}).code(), 6);
    EXPECT_EQ(call("DeleteClass", {{"ClassName", className("EX_Thing")}}).code(), 8);
    create(instance("EX_Part", property("Id", "a")));
    EXPECT_EQ(call("DeleteClass", {{"ClassName", className("EX_Part")}}).code(), 9);
    EXPECT_EQ(call("DeleteClass").code(), 4);
}

// Qualifier types.

TEST_F(ClassOperationsRequest, GetQualifier_AnswersTheDeclaration) {
    EXPECT_EQ(
        call("GetQualifier", {{"QualifierName", value("KEY")}}).returned(),
        R"(<QUALIFIER.DECLARATION NAME="Key" TYPE="boolean" ISARRAY="false" OVERRIDABLE="false">)"
        R"(<SCOPE REFERENCE="true" PROPERTY="true"></SCOPE><VALUE>FALSE</VALUE></QUALIFIER.DECLARATION>)");
    EXPECT_EQ(call("GetQualifier", {{"QualifierName", value("Nothing")}}).code(), 6);
    EXPECT_EQ(call("GetQualifier").code(), 4);
}

TEST_F(ClassOperationsRequest, SetQualifier_AddsAndReplaces_AndAnswersNothing) {
    const auto declaration = [](const char* flavor) {
        return std::string(R"(<QUALIFIER.DECLARATION NAME="Units" TYPE="string")") + flavor +
               R"(><SCOPE PROPERTY="true"/></QUALIFIER.DECLARATION>)";
    };
    for (const char* flavor : {"", " TRANSLATABLE=\"true\""}) {
        const Answer answer = call("SetQualifier", {{"QualifierDeclaration", declaration(flavor)}});
        EXPECT_EQ(answer.code(), 0);
        EXPECT_EQ(answer.returned(), "nothing");
        EXPECT_EQ(call("GetQualifier", {{"QualifierName", value("Units")}}).returned(),
                  std::string(R"(<QUALIFIER.DECLARATION NAME="Units" TYPE="string" ISARRAY="false")") +
                      flavor + R"(><SCOPE PROPERTY="true"></SCOPE></QUALIFIER.DECLARATION>)");
    }
    for (const char* name : {"", "a b", "1a", "a&#13;&#10;"}) {
        EXPECT_EQ(
            call("SetQualifier", {{"QualifierDeclaration", std::string("<QUALIFIER.DECLARATION NAME=\"") +
                                                               name + "\" TYPE=\"string\"/>"}})
                .code(),
            4)
            << name;
    }
    EXPECT_EQ(call("SetQualifier").code(), 4);
    EXPECT_EQ(call("SetQualifier", {{"QualifierDeclaration", value("Units")}}).code(), 4);
}

TEST_F(ClassOperationsRequest, EnumerateQualifiers_AnswersAllOfTheNamespace) {
    const std::string all = call("EnumerateQualifiers").returned();
    for (const char* name : {"Key", "Description", "Abstract", "Association"}) {
        EXPECT_THAT(all, HasSubstr(std::string("<QUALIFIER.DECLARATION NAME=\"") + name + "\""));
    }
    EXPECT_EQ(call("EnumerateQualifiers", {}, "root/other").returned(), "");
}

TEST_F(ClassOperationsRequest, DeleteQualifier_AnswersNothing_AndItIsGone) {
    EXPECT_EQ(call("DeleteQualifier", {{"QualifierName", value("abstract")}}).returned(), "nothing");
    EXPECT_EQ(call("DeleteQualifier", {{"QualifierName", value("Abstract")}}).code(), 6);
    EXPECT_EQ(call("DeleteQualifier").code(), 4);
}

}  // namespace velm::test

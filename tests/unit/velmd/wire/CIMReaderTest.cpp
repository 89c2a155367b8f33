#include "velmd/wire/CIMReader.h"

#include "tests/unit/velmd/model/ClassBuilders.h"
#include "tests/unit/velmd/wire/WireSupport.h"

#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using namespace velm;
using namespace velm::test;
using testing::HasSubstr;

std::string classText(std::string_view text) {
    return describe(readClass(parse(text)));
}

std::string qualifierText(std::string_view text) {
    return describe(readQualifierDeclaration(parse(text)));
}

TEST(ReadClass, ReadsEveryKindOfElement) {
    EXPECT_EQ(classText(R"(<CLASS NAME="EX_A" SUPERCLASS="EX_B">
 <QUALIFIER NAME="Description" TYPE="string" TRANSLATABLE="true" PROPAGATED="True"><VALUE>a &amp; b</VALUE></QUALIFIER>
 <QUALIFIER NAME="Values" TYPE="string" OVERRIDABLE="FALSE" TOSUBCLASS="false" TOINSTANCE="TRUE">
  <VALUE.ARRAY><VALUE>x</VALUE><VALUE.NULL/><VALUE></VALUE></VALUE.ARRAY></QUALIFIER>
 <QUALIFIER NAME="Empty" TYPE="uint8"/>
 <PROPERTY NAME="Size" TYPE="uint64" CLASSORIGIN="EX_B" PROPAGATED="true"><QUALIFIER NAME="Key" TYPE="boolean"><VALUE>TRUE</VALUE></QUALIFIER><VALUE>0x10</VALUE></PROPERTY>
 <PROPERTY.ARRAY NAME="Tags" TYPE="string" ARRAYSIZE="3"/>
 <PROPERTY.REFERENCE NAME="End" REFERENCECLASS="EX_C"><VALUE.REFERENCE><INSTANCENAME CLASSNAME="EX_C"/></VALUE.REFERENCE></PROPERTY.REFERENCE>
 <PROPERTY NAME="Inner" TYPE="string" EmbeddedObject="instance"></PROPERTY>
 <PROPERTY.ARRAY NAME="Objects" TYPE="string" EMBEDDEDOBJECT="Object"/>
 <METHOD NAME="Go" TYPE="uint32" CLASSORIGIN="EX_A">
  <QUALIFIER NAME="Slow" TYPE="boolean"><VALUE>false</VALUE></QUALIFIER>
  <PARAMETER NAME="a" TYPE="datetime"><QUALIFIER NAME="In" TYPE="boolean"><VALUE>TRUE</VALUE></QUALIFIER></PARAMETER>
  <PARAMETER.ARRAY NAME="b" TYPE="char16" ARRAYSIZE="2"/>
  <PARAMETER.REFERENCE NAME="c" REFERENCECLASS="EX_C"/>
  <PARAMETER.REFARRAY NAME="d" ARRAYSIZE="4"/>
 </METHOD>
 <METHOD NAME="Stop" PROPAGATED="true"/>
</CLASS>)"),
              "class 'EX_A' below 'EX_B' [Description OST propagated string 'a & b']"
              "[Values I string[] {<string 'x'><string NULL><string ''>}][Empty OS uint8 NULL]\n"
              "  Size:uint64 to '' embedding 0 from 'EX_B' propagated = uint64 '16'[Key OS boolean 'TRUE']\n"
              "  Tags:string[][3] to '' embedding 0 from '' = string[] NULL\n"
              "  End:reference to 'EX_C' embedding 0 from '' = reference :EX_C\n"
              "  Inner:string to '' embedding 1 from '' = string NULL\n"
              "  Objects:string[] to '' embedding 2 from '' = string[] NULL\n"
              "  Go():uint32 from 'EX_A'[Slow OS boolean 'FALSE']\n"
              "    a:datetime to '' embedding 0[In OS boolean 'TRUE']\n"
              "    b:char16[][2] to '' embedding 0\n"
              "    c:reference to 'EX_C' embedding 0\n"
              "    d:reference[][4] to '' embedding 0\n"
              "  Stop():void from '' propagated\n");
}

TEST(ReadClass, TakesTheEmbeddingFromQualifiers_WhenTheAttributeIsLeftOut) {
    const std::string text = classText(
        R"(<CLASS NAME="A"><PROPERTY NAME="i" TYPE="string"><QUALIFIER NAME="EMBEDDEDINSTANCE" TYPE="string"><VALUE>B</VALUE></QUALIFIER></PROPERTY>
<PROPERTY NAME="o" TYPE="string"><QUALIFIER NAME="EmbeddedObject" TYPE="boolean"><VALUE>TRUE</VALUE></QUALIFIER></PROPERTY>
<PROPERTY NAME="n" TYPE="string"><QUALIFIER NAME="EmbeddedObject" TYPE="boolean"><VALUE>FALSE</VALUE></QUALIFIER><QUALIFIER NAME="EmbeddedInstance" TYPE="string"/></PROPERTY>
<METHOD NAME="m"><PARAMETER NAME="p" TYPE="string"><QUALIFIER NAME="EmbeddedObject" TYPE="boolean"><VALUE>TRUE</VALUE></QUALIFIER></PARAMETER></METHOD></CLASS>)");
    EXPECT_THAT(text, HasSubstr("i:string to '' embedding 1"));
    EXPECT_THAT(text, HasSubstr("o:string to '' embedding 2"));
    EXPECT_THAT(text, HasSubstr("n:string to '' embedding 0"));
    EXPECT_THAT(text, HasSubstr("p:string to '' embedding 2"));
}

TEST(ReadClass, TakesElementsInAnyOrder) {
    EXPECT_EQ(
        classText(R"(<CLASS NAME="A"><METHOD NAME="m"/><PROPERTY NAME="p" TYPE="string"><VALUE>v</VALUE>
<QUALIFIER NAME="q" TYPE="string"/></PROPERTY><QUALIFIER NAME="Q" TYPE="string"/></CLASS>)"),
        classText(R"(<CLASS NAME="A"><QUALIFIER NAME="Q" TYPE="string"/><PROPERTY NAME="p" TYPE="string">
<QUALIFIER NAME="q" TYPE="string"/><VALUE>v</VALUE></PROPERTY><METHOD NAME="m"/></CLASS>)"));
}

struct SyntaxCase {
    const char* element;
    const char* problem;
};

void PrintTo(const SyntaxCase& rule, std::ostream* stream) {
    *stream << rule.element;
}

class ClassSyntax : public testing::TestWithParam<SyntaxCase> {};

TEST_P(ClassSyntax, IsRefused_WithLineAndElement) {
    const std::string error =
        syntaxErrorOf(GetParam().element, [](const XMLElement& element) { readClass(element); });
    EXPECT_THAT(error, HasSubstr(GetParam().problem));
    EXPECT_THAT(error, HasSubstr("line 1: "));
}

INSTANTIATE_TEST_SUITE_P(
    CIMReader, ClassSyntax,
    testing::Values(
        SyntaxCase{"<KLASS NAME='A'/>", "'KLASS' 'A': it is no CLASS"},
        SyntaxCase{"<CLASS/>", "NAME is missing"},
        SyntaxCase{"<CLASS NAME='A'><VALUE/></CLASS>", "'VALUE': it has no place in CLASS"},
        SyntaxCase{"<CLASS NAME='A'><PROPERTY TYPE='string'/></CLASS>", "NAME is missing"},
        SyntaxCase{"<CLASS NAME='A'><PROPERTY NAME='p'/></CLASS>", "'PROPERTY' 'p': the attribute TYPE"},
        SyntaxCase{"<CLASS NAME='A'><PROPERTY NAME='p' TYPE='int'/></CLASS>", "'int' is no type"},
        SyntaxCase{"<CLASS NAME='A'><PROPERTY NAME='p' TYPE='reference'/></CLASS>", "is no type"},
        SyntaxCase{"<CLASS NAME='A'><PROPERTY NAME='p' TYPE='instance'/></CLASS>", "is no type"},
        SyntaxCase{"<CLASS NAME='A'><PROPERTY NAME='p' TYPE='string'><VALUE.ARRAY/></PROPERTY></CLASS>",
                   "'VALUE.ARRAY': it has no place in PROPERTY"},
        SyntaxCase{"<CLASS NAME='A'><PROPERTY.ARRAY NAME='p' TYPE='string'><VALUE/></PROPERTY.ARRAY></CLASS>",
                   "no place in PROPERTY.ARRAY"},
        SyntaxCase{"<CLASS NAME='A'><PROPERTY NAME='p' TYPE='string'><VALUE/><VALUE/></PROPERTY></CLASS>",
                   "more than one value"},
        SyntaxCase{"<CLASS NAME='A'><PROPERTY NAME='p' TYPE='string'><VALUE><B/></VALUE></PROPERTY></CLASS>",
                   "elements inside, not text"},
        SyntaxCase{"<CLASS NAME='A'><PROPERTY NAME='p' TYPE='string' PROPAGATED='yes'/></CLASS>",
                   "PROPAGATED is 'yes'"},
        SyntaxCase{"<CLASS NAME='A'><PROPERTY NAME='p' TYPE='string' EmbeddedObject='x'/></CLASS>",
                   "EmbeddedObject is 'x'"},
        SyntaxCase{"<CLASS NAME='A'><QUALIFIER TYPE='string'/></CLASS>", "NAME is missing"},
        SyntaxCase{"<CLASS NAME='A'><QUALIFIER NAME='q'/></CLASS>", "TYPE is missing"},
        SyntaxCase{"<CLASS NAME='A'><QUALIFIER NAME='q' TYPE='string' OVERRIDABLE=''/></CLASS>",
                   "OVERRIDABLE"},
        SyntaxCase{"<CLASS NAME='A'><QUALIFIER NAME='q' TYPE='string'><VALUE.REFERENCE/></QUALIFIER></CLASS>",
                   "no place in QUALIFIER"},
        SyntaxCase{"<CLASS NAME='A'><METHOD/></CLASS>", "NAME is missing"},
        SyntaxCase{"<CLASS NAME='A'><METHOD NAME='m'><VALUE/></METHOD></CLASS>", "no place in METHOD"},
        SyntaxCase{"<CLASS NAME='A'><METHOD NAME='m'><PARAMETER NAME='p'/></METHOD></CLASS>",
                   "TYPE is missing"},
        SyntaxCase{"<CLASS NAME='A'><METHOD NAME='m'><PARAMETER NAME='p' "
                   "TYPE='string'><VALUE/></PARAMETER></METHOD></CLASS>",
                   "no place in PARAMETER"}));

struct ContentCase {
    const char* element;
    int status;
    const char* problem;
};

void PrintTo(const ContentCase& rule, std::ostream* stream) {
    *stream << rule.element;
}

class ClassContent : public testing::TestWithParam<ContentCase> {};

TEST_P(ClassContent, IsRefusedWithAStatus) {
    const XMLElement element = parse(GetParam().element);
    const auto refusal = refusalOf([&] { readClass(element); });
    EXPECT_EQ(refusal.status, GetParam().status);
    EXPECT_THAT(refusal.text, HasSubstr(GetParam().problem));
    EXPECT_THAT(refusal.text, HasSubstr("line 1: "));
}

INSTANTIATE_TEST_SUITE_P(
    CIMReader, ClassContent,
    testing::Values(
        ContentCase{"<CLASS NAME='A'><PROPERTY NAME='p' TYPE='uint8'><VALUE>256</VALUE></PROPERTY></CLASS>",
                    13, "'PROPERTY' 'p': '256' is no value of type uint8"},
        ContentCase{"<CLASS NAME='A'><PROPERTY.ARRAY NAME='p' "
                    "TYPE='boolean'><VALUE.ARRAY><VALUE>x</VALUE></VALUE.ARRAY></PROPERTY.ARRAY></CLASS>",
                    13, "'x' is no value of type boolean"},
        ContentCase{
            "<CLASS NAME='A'><QUALIFIER NAME='Key' TYPE='boolean'><VALUE>yes</VALUE></QUALIFIER></CLASS>", 13,
            "'QUALIFIER' 'Key': 'yes'"},
        ContentCase{"<CLASS NAME='A'><PROPERTY.ARRAY NAME='p' TYPE='string' ARRAYSIZE='many'/></CLASS>", 4,
                    "ARRAYSIZE 'many'"},
        ContentCase{"<CLASS NAME='A'><PROPERTY.ARRAY NAME='p' TYPE='string' ARRAYSIZE='0'/></CLASS>", 4,
                    "ARRAYSIZE '0'"},
        ContentCase{"<CLASS NAME='A'><PROPERTY.ARRAY NAME='p' TYPE='string' ARRAYSIZE='-1'/></CLASS>", 4,
                    "ARRAYSIZE '-1'"},
        ContentCase{"<CLASS NAME='A'><PROPERTY.ARRAY NAME='p' TYPE='string' ARRAYSIZE='4294967296'/></CLASS>",
                    4, "ARRAYSIZE"}));

TEST(ReadClass, IsRefused_WhenItHasACrowdOfMembers) {
    std::string members;
    for (std::size_t count = 0; count < maxMembers; ++count) {
        members += "<PROPERTY NAME='p' TYPE='string'/>";
    }
    EXPECT_EQ(readClass(parse("<CLASS NAME='A'>" + members + "</CLASS>")).properties.size(), maxMembers);
    const auto refusal =
        refusalOf([&] { readClass(parse("<CLASS NAME='A'><METHOD NAME='m'/>" + members + "</CLASS>")); });
    EXPECT_EQ(refusal.status, 4);
    EXPECT_THAT(refusal.text, HasSubstr("4096"));
}

TEST(ReadQualifierDeclaration, ReadsAll) {
    EXPECT_EQ(qualifierText(
                  "<QUALIFIER.DECLARATION NAME='Key' TYPE='boolean' OVERRIDABLE='false' TOINSTANCE='true'>"
                  "<SCOPE PROPERTY='true' REFERENCE='TRUE' CLASS='false'/><VALUE>FALSE</VALUE>"
                  "</QUALIFIER.DECLARATION>"),
              "Key:boolean SI scopes 12 = boolean 'FALSE'");
    EXPECT_EQ(
        qualifierText(
            "<QUALIFIER.DECLARATION NAME='V' TYPE='string' ISARRAY='true' ARRAYSIZE='2' TRANSLATABLE='true'>"
            "<VALUE.ARRAY><VALUE>a</VALUE></VALUE.ARRAY></QUALIFIER.DECLARATION>"),
        "V:string[][2] OST scopes 0 = string[] {<string 'a'>}");
    EXPECT_EQ(qualifierText("<QUALIFIER.DECLARATION NAME='V' TYPE='string' ISARRAY='true'/>"),
              "V:string[] OS scopes 0 = string[] NULL");
    EXPECT_EQ(
        qualifierText("<QUALIFIER.DECLARATION NAME='V' TYPE='string'><VALUE.ARRAY/></QUALIFIER.DECLARATION>"),
        "V:string[] OS scopes 0 = string[] {}");
    EXPECT_EQ(
        qualifierText("<QUALIFIER.DECLARATION NAME='V' TYPE='string'><SCOPE CLASS='true' ASSOCIATION='true' "
                      "REFERENCE='true' PROPERTY='true' METHOD='true' PARAMETER='true' INDICATION='true'/>"
                      "</QUALIFIER.DECLARATION>"),
        "V:string OS scopes 127 = string NULL");
}

TEST(ReadQualifierDeclaration, IsRefused_WhenItIsNone) {
    const auto read = [](const XMLElement& element) { readQualifierDeclaration(element); };
    EXPECT_THAT(syntaxErrorOf("<QUALIFIER NAME='a' TYPE='string'/>", read),
                HasSubstr("no QUALIFIER.DECLARATION"));
    EXPECT_THAT(syntaxErrorOf("<QUALIFIER.DECLARATION TYPE='string'/>", read), HasSubstr("NAME"));
    EXPECT_THAT(syntaxErrorOf("<QUALIFIER.DECLARATION NAME='a'/>", read), HasSubstr("TYPE"));
    EXPECT_THAT(
        syntaxErrorOf("<QUALIFIER.DECLARATION NAME='a' TYPE='string'><QUALIFIER/></QUALIFIER.DECLARATION>",
                      read),
        HasSubstr("no place"));
    const auto mixed = refusalOf([] {
        qualifierText(
            "<QUALIFIER.DECLARATION NAME='a' TYPE='string' ISARRAY='true'><VALUE/></QUALIFIER.DECLARATION>");
    });
    EXPECT_EQ(mixed.status, 4);
    EXPECT_THAT(mixed.text, HasSubstr("'VALUE', not VALUE.ARRAY"));
}

constexpr const char* instance = "<INSTANCE CLASSNAME='I'/>";

std::string declared(const std::string& groups) {
    const auto found = readDeclarations(
        parse("<CIM CIMVERSION='2.0' DTDVERSION='2.0'><DECLARATION>" + groups + "</DECLARATION></CIM>"));
    std::string text;
    for (const auto& qualifier : found.qualifiers) {
        text += "q:" + qualifier.name + " ";
    }
    for (const auto& declaration : found.classes) {
        text += "c:" + declaration.name + " ";
    }
    for (const auto& object : found.instances) {
        text += "i:" + std::string(object->getClassName().view()) + " ";
    }
    return text;
}

TEST(ReadDeclarations, ReadsEveryKindOfGroup) {
    const std::string place = "<LOCALNAMESPACEPATH><NAMESPACE NAME='root'/></LOCALNAMESPACEPATH>";
    EXPECT_EQ(
        declared(
            "<DECLGROUP>" + place +
            "<QUALIFIER.DECLARATION NAME='Q' TYPE='string'/><VALUE.OBJECT><CLASS NAME='A'/></VALUE.OBJECT>"
            "<VALUE.OBJECT>" +
            instance +
            "</VALUE.OBJECT></DECLGROUP>"
            "<DECLGROUP.WITHNAME><NAMESPACEPATH><HOST>h</HOST>" +
            place +
            "</NAMESPACEPATH>"
            "<QUALIFIER.DECLARATION NAME='R' TYPE='string'/><VALUE.NAMEDOBJECT><CLASS "
            "NAME='B'/></VALUE.NAMEDOBJECT>"
            "<VALUE.NAMEDOBJECT><INSTANCENAME CLASSNAME='I'/>" +
            instance +
            "</VALUE.NAMEDOBJECT></DECLGROUP.WITHNAME>"
            "<DECLGROUP.WITHPATH><VALUE.OBJECTWITHLOCALPATH><LOCALCLASSPATH>" +
            place +
            "<CLASSNAME NAME='C'/></LOCALCLASSPATH><CLASS NAME='C'/></VALUE.OBJECTWITHLOCALPATH>"
            "<VALUE.OBJECTWITHPATH><INSTANCEPATH/>" +
            instance + "</VALUE.OBJECTWITHPATH></DECLGROUP.WITHPATH>"),
        "q:Q q:R c:A c:B c:C i:I i:I i:I ");
    EXPECT_EQ(declared(""), "");
}

TEST(ReadDeclarations, IsRefused_WhenTheDocumentIsSomethingElse) {
    for (const char* document : {"<CLASS NAME='A'/>", "<CIM><MESSAGE/></CIM>",
                                 "<CIM><DECLARATION><CLASS NAME='A'/></DECLARATION></CIM>",
                                 "<CIM><DECLARATION><DECLGROUP><VALUE/></DECLGROUP></DECLARATION></CIM>",
                                 "<CIM><DECLARATION><DECLGROUP><VALUE.OBJECT><METHOD "
                                 "NAME='m'/></VALUE.OBJECT></DECLGROUP></DECLARATION></CIM>"}) {
        EXPECT_THAT(syntaxErrorOf(document, [](const XMLElement& root) { readDeclarations(root); }),
                    HasSubstr("line 1: "))
            << document;
    }
}

}  // namespace

#include "foundation/object_model/COrvoType.h"
#include "foundation/object_model/IOrvoInstanceName.h"
#include "tests/unit/velmd/model/ClassBuilders.h"
#include "tests/unit/velmd/wire/WireSupport.h"
#include "velmd/wire/CIMReader.h"

#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using namespace velm;
using namespace velm::test;
using testing::HasSubstr;

std::string instanceText(std::string_view text) {
    return describe(*readInstance(parse(text)));
}

std::string nameText(std::string_view text) {
    return describe(*readInstanceName(parse(text)));
}

std::string escaped(std::string text) {
    for (std::size_t at = 0; (at = text.find_first_of("&<", at)) != std::string::npos; ++at) {
        text.replace(at, 1, text[at] == '&' ? "&amp;" : "&lt;");
    }
    return text;
}

TEST(ReadInstance, ReadsEveryKindOfProperty) {
    EXPECT_EQ(instanceText(R"(<INSTANCE CLASSNAME="EX_A" xml:lang="en">
 <QUALIFIER NAME="Association" TYPE="boolean"><VALUE>TRUE</VALUE></QUALIFIER>
 <PROPERTY NAME="s" TYPE="string"><QUALIFIER NAME="Key" TYPE="boolean"/><VALUE> a &lt; b
</VALUE></PROPERTY>
 <PROPERTY NAME="empty" TYPE="string"><VALUE/></PROPERTY>
 <PROPERTY NAME="null" TYPE="sint32" CLASSORIGIN="EX_Z" PROPAGATED="true" UNKNOWN="1"/>
 <PROPERTY NAME="b" TYPE="boolean"><VALUE>tRuE</VALUE></PROPERTY>
 <PROPERTY NAME="hex" TYPE="sint16"><VALUE>-0x10</VALUE></PROPERTY>
 <PROPERTY NAME="real" TYPE="real32"><VALUE> 1.5e3 </VALUE></PROPERTY>
 <PROPERTY NAME="c" TYPE="char16"><VALUE> </VALUE></PROPERTY>
 <PROPERTY NAME="t" TYPE="DateTime"><VALUE>20261120151918.123456+000</VALUE></PROPERTY>
 <PROPERTY.ARRAY NAME="list" TYPE="uint8"><VALUE.ARRAY><VALUE>1</VALUE><VALUE.NULL/><VALUE>2</VALUE></VALUE.ARRAY></PROPERTY.ARRAY>
 <PROPERTY.ARRAY NAME="none" TYPE="uint8"><VALUE.ARRAY/></PROPERTY.ARRAY>
 <PROPERTY.ARRAY NAME="nulls" TYPE="uint8"/>
 <PROPERTY.REFERENCE NAME="r"><VALUE.REFERENCE><INSTANCENAME CLASSNAME="EX_B"><KEYBINDING NAME="k"><KEYVALUE>7</KEYVALUE></KEYBINDING></INSTANCENAME></VALUE.REFERENCE></PROPERTY.REFERENCE>
 <PROPERTY.REFERENCE NAME="nowhere" REFERENCECLASS="EX_B"/>
</INSTANCE>)"),
              "instance of 'EX_A'\n"
              "  r = reference :EX_B.k=string '7'\n"
              "  nowhere = reference NULL\n"
              "  s = string ' a < b\n'\n"
              "  empty = string ''\n"
              "  null = sint32 NULL\n"
              "  b = boolean 'TRUE'\n"
              "  hex = sint16 '-16'\n"
              "  real = real32 '1500.0'\n"
              "  c = char16 ' '\n"
              "  t = datetime '20261120151918.123456+000'\n"
              "  list = uint8[] {<uint8 '1'><uint8 NULL><uint8 '2'>}\n"
              "  none = uint8[] {}\n"
              "  nulls = uint8[] NULL\n");
}

TEST(ReadInstance, ReadsWhatItEmbeds) {
    const std::string inner =
        "<INSTANCE CLASSNAME='I'><PROPERTY NAME='x' "
        "TYPE='string'><VALUE>a&amp;b</VALUE></PROPERTY></INSTANCE>";
    const std::string text = instanceText(
        "<INSTANCE CLASSNAME='A'>"
        "<PROPERTY NAME='i' TYPE='string' EmbeddedObject='instance'><VALUE>" +
        escaped(inner) +
        "</VALUE></PROPERTY>"
        "<PROPERTY NAME='o' TYPE='string' EMBEDDEDOBJECT='OBJECT'><VALUE><![CDATA[<?xml version='1.0'?>" +
        inner +
        "]]></VALUE></PROPERTY>"
        "<PROPERTY NAME='null' TYPE='string' EmbeddedObject='object'/>"
        "<PROPERTY.ARRAY NAME='list' TYPE='string' EmbeddedObject='instance'><VALUE.ARRAY><VALUE>" +
        escaped(inner) +
        "</VALUE><VALUE.NULL/></VALUE.ARRAY></PROPERTY.ARRAY>"
        "<PROPERTY.ARRAY NAME='nolist' TYPE='string' EmbeddedObject='instance'/></INSTANCE>");
    EXPECT_EQ(text,
              "instance of 'A'\n"
              "  i = instance instance of 'I'\n  x = string 'a&b'\n\n"
              "  o = instance instance of 'I'\n  x = string 'a&b'\n\n"
              "  null = instance NULL\n"
              "  list = instance[] {<instance instance of 'I'\n  x = string 'a&b'\n><instance NULL>}\n"
              "  nolist = instance[] NULL\n");
}

TEST(ReadInstance, KeepsAnEmbeddedClassAsText) {
    const std::string text = instanceText(
        "<INSTANCE CLASSNAME='A'><PROPERTY NAME='c' TYPE='string' EmbeddedObject='object'><VALUE>&lt;CLASS "
        "NAME='B'/></VALUE></PROPERTY>"
        "<PROPERTY.ARRAY NAME='l' TYPE='string' EmbeddedObject='object'><VALUE.ARRAY><VALUE>&lt;INSTANCE "
        "CLASSNAME='I'/></VALUE>"
        "<VALUE>&lt;CLASS NAME='B'/></VALUE></VALUE.ARRAY></PROPERTY.ARRAY></INSTANCE>");
    EXPECT_EQ(text,
              "instance of 'A'\n  c = string '<CLASS NAME='B'/>'\n"
              "  l = string[] {<string '<INSTANCE CLASSNAME='I'/>'><string '<CLASS NAME='B'/>'>}\n");
}

std::string embeddedTimes(unsigned int levels) {
    std::string text = "<INSTANCE CLASSNAME='I'/>";
    for (unsigned int level = 0; level < levels; ++level) {
        text = "<INSTANCE CLASSNAME='I'><PROPERTY NAME='i' TYPE='string' EmbeddedObject='instance'><VALUE>" +
               escaped(text) + "</VALUE></PROPERTY></INSTANCE>";
    }
    return text;
}

TEST(ReadInstance, EmbedsUpToALimit) {
    EXPECT_THAT(instanceText(embeddedTimes(16)), HasSubstr("instance of 'I'\n\n\n"));
    const auto refusal = refusalOf([] { instanceText(embeddedTimes(17)); });
    EXPECT_EQ(refusal.status, 4);
    EXPECT_THAT(refusal.text, HasSubstr("deeper than 16"));
}

struct InstanceCase {
    const char* properties;
    int status;
    const char* problem;
};

void PrintTo(const InstanceCase& rule, std::ostream* stream) {
    *stream << rule.properties;
}

class InstanceContent : public testing::TestWithParam<InstanceCase> {};

TEST_P(InstanceContent, IsRefusedWithAStatus) {
    const XMLElement element =
        parse("<INSTANCE CLASSNAME='A'>\n" + std::string(GetParam().properties) + "</INSTANCE>");
    const auto refusal = refusalOf([&] { readInstance(element); });
    EXPECT_EQ(refusal.status, GetParam().status);
    EXPECT_THAT(refusal.text, HasSubstr(GetParam().problem));
    EXPECT_THAT(refusal.text, HasSubstr("line 2: "));
    EXPECT_LT(refusal.text.size(), 400U);
}

const std::string longText =
    "<PROPERTY NAME='p' TYPE='uint32'><VALUE>" + std::string(10000, '9') + "</VALUE></PROPERTY>";

INSTANTIATE_TEST_SUITE_P(
    CIMReader, InstanceContent,
    testing::Values(
        InstanceCase{"<PROPERTY NAME='p' TYPE='uint8'><VALUE>-1</VALUE></PROPERTY>", 13,
                     "'p': '-1' is no value of type uint8"},
        InstanceCase{"<PROPERTY NAME='p' TYPE='uint8'><VALUE/></PROPERTY>", 13, "'' is no value"},
        InstanceCase{"<PROPERTY NAME='p' TYPE='boolean'><VALUE>1</VALUE></PROPERTY>", 13, "boolean"},
        InstanceCase{"<PROPERTY NAME='p' TYPE='char16'><VALUE>ab</VALUE></PROPERTY>", 13, "char16"},
        InstanceCase{"<PROPERTY NAME='p' TYPE='datetime'><VALUE>now</VALUE></PROPERTY>", 13, "datetime"},
        InstanceCase{"<PROPERTY NAME='p' TYPE='real64'><VALUE>1,5</VALUE></PROPERTY>", 13, "real64"},
        InstanceCase{
            "<PROPERTY.ARRAY NAME='p' "
            "TYPE='sint8'><VALUE.ARRAY><VALUE>1</VALUE><VALUE>128</VALUE></VALUE.ARRAY></PROPERTY.ARRAY>",
            13, "'p': '128'"},
        InstanceCase{"<PROPERTY NAME='p' TYPE='string'/><PROPERTY NAME='P' TYPE='string'/>", 4,
                     "'P': the property is there twice"},
        InstanceCase{"<PROPERTY NAME='p' TYPE='uint8' EmbeddedObject='instance'/>", 13,
                     "only a string can embed"},
        InstanceCase{
            "<PROPERTY NAME='p' TYPE='string' EmbeddedObject='instance'><VALUE>text</VALUE></PROPERTY>", 13,
            "'p': it embeds no XML document"},
        InstanceCase{"<PROPERTY NAME='p' TYPE='string' EmbeddedObject='instance'><VALUE/></PROPERTY>", 13,
                     "no XML document"},
        InstanceCase{"<PROPERTY NAME='p' TYPE='string' EmbeddedObject='instance'><VALUE>&lt;!DOCTYPE "
                     "A>&lt;A/></VALUE></PROPERTY>",
                     13, "no XML document"},
        InstanceCase{"<PROPERTY NAME='p' TYPE='string' EmbeddedObject='instance'><VALUE>&lt;METHOD "
                     "NAME='m'/></VALUE></PROPERTY>",
                     13, "neither INSTANCE nor CLASS"},
        InstanceCase{"<PROPERTY NAME='p' TYPE='string' "
                     "EmbeddedObject='instance'><VALUE>&lt;INSTANCE/></VALUE></PROPERTY>",
                     13, "CLASSNAME is missing"},
        InstanceCase{"<PROPERTY.REFERENCE NAME='p'><VALUE.REFERENCE><INSTANCENAME "
                     "CLASSNAME='A.B'/></VALUE.REFERENCE></PROPERTY.REFERENCE>",
                     4, "'INSTANCENAME' 'A.B'"},
        InstanceCase{longText.c_str(), 13, "999...' is no value of type uint32"}));

TEST(ReadInstance, IsRefused_WhenItIsNoInstance) {
    const auto read = [](const XMLElement& element) { readInstance(element); };
    EXPECT_THAT(syntaxErrorOf("<CLASS NAME='A'/>", read), HasSubstr("'CLASS' 'A': it is no INSTANCE"));
    EXPECT_THAT(syntaxErrorOf("<INSTANCE/>", read), HasSubstr("CLASSNAME is missing"));
    EXPECT_THAT(syntaxErrorOf("<INSTANCE CLASSNAME='A'><METHOD NAME='m'/></INSTANCE>", read),
                HasSubstr("no place in INSTANCE"));
    EXPECT_THAT(syntaxErrorOf("<INSTANCE CLASSNAME='A'><PROPERTY TYPE='string'/></INSTANCE>", read),
                HasSubstr("NAME is missing"));
    EXPECT_THAT(syntaxErrorOf("<INSTANCE CLASSNAME='A'><PROPERTY NAME='p' "
                              "TYPE='string'><VALUE.REFERENCE/></PROPERTY></INSTANCE>",
                              read),
                HasSubstr("'VALUE.REFERENCE': it has no place in PROPERTY"));
    EXPECT_THAT(
        syntaxErrorOf("<INSTANCE CLASSNAME='A'><PROPERTY.ARRAY NAME='p' "
                      "TYPE='string'><VALUE.ARRAY><VALUE.ARRAY/></VALUE.ARRAY></PROPERTY.ARRAY></INSTANCE>",
                      read),
        HasSubstr("no place in VALUE.ARRAY"));
    EXPECT_THAT(syntaxErrorOf("<INSTANCE CLASSNAME='A'><PROPERTY.REFERENCE "
                              "NAME='p'><VALUE.REFERENCE/></PROPERTY.REFERENCE></INSTANCE>",
                              read),
                HasSubstr("0 elements inside"));
}

const std::string key = "<KEYBINDING NAME='k'><KEYVALUE TYPE='uint8'>07</KEYVALUE></KEYBINDING>";
const std::string path =
    "<LOCALNAMESPACEPATH><NAMESPACE NAME='root'/><NAMESPACE NAME='cimv2'/></LOCALNAMESPACEPATH>";
const std::string hostPath = "<NAMESPACEPATH><HOST>h.example</HOST>" + path + "</NAMESPACEPATH>";
const std::string plainName = "<INSTANCENAME CLASSNAME='A'>" + key + "</INSTANCENAME>";

TEST(ReadInstanceName, ReadsEveryForm) {
    EXPECT_EQ(nameText(plainName), ":A.k=uint8 '7'");
    EXPECT_EQ(nameText("<LOCALINSTANCEPATH>" + path + plainName + "</LOCALINSTANCEPATH>"),
              "root/cimv2:A.k=uint8 '7'");
    EXPECT_EQ(nameText("<INSTANCEPATH>" + hostPath + plainName + "</INSTANCEPATH>"),
              "root/cimv2:A.k=uint8 '7'");
    EXPECT_EQ(nameText("<INSTANCEPATH>" + plainName + hostPath + "</INSTANCEPATH>"),
              "root/cimv2:A.k=uint8 '7'");
    EXPECT_EQ(nameText("<VALUE.REFERENCE>" + plainName + "</VALUE.REFERENCE>"), ":A.k=uint8 '7'");
    EXPECT_EQ(nameText("<VALUE.REFERENCE><INSTANCEPATH>" + hostPath + plainName +
                       "</INSTANCEPATH></VALUE.REFERENCE>"),
              "root/cimv2:A.k=uint8 '7'");
    EXPECT_EQ(nameText("<INSTANCENAME CLASSNAME='A'/>"), ":A");
}

TEST(ReadInstanceName, TakesAReferenceToAClassAsANameWithoutKeys) {
    EXPECT_EQ(nameText("<VALUE.REFERENCE><CLASSNAME NAME='A'/></VALUE.REFERENCE>"), ":A");
    EXPECT_EQ(nameText("<VALUE.REFERENCE><LOCALCLASSPATH>" + path +
                       "<CLASSNAME NAME='A'/></LOCALCLASSPATH></VALUE.REFERENCE>"),
              "root/cimv2:A");
    EXPECT_EQ(nameText("<VALUE.REFERENCE><CLASSPATH>" + hostPath +
                       "<CLASSNAME NAME='A'/></CLASSPATH></VALUE.REFERENCE>"),
              "root/cimv2:A");
}

struct KeyCase {
    const char* element;
    const char* text;
};

void PrintTo(const KeyCase& rule, std::ostream* stream) {
    *stream << rule.element;
}

class KeyValues : public testing::TestWithParam<KeyCase> {};

TEST_P(KeyValues, HaveTheTypeThatTYPENames_OrAreStrings) {
    const std::string element = GetParam().element;
    EXPECT_EQ(nameText("<INSTANCENAME CLASSNAME='A'><KEYBINDING NAME='k'>" + element +
                       "</KEYBINDING></INSTANCENAME>"),
              std::string(":A.k=") + GetParam().text);
    EXPECT_EQ(nameText("<INSTANCENAME CLASSNAME='A'>" + element + "</INSTANCENAME>"),
              std::string(":A.*=") + GetParam().text);
}

INSTANTIATE_TEST_SUITE_P(
    CIMReader, KeyValues,
    testing::Values(KeyCase{"<KEYVALUE>v</KEYVALUE>", "string 'v'"}, KeyCase{"<KEYVALUE/>", "string ''"},
                    KeyCase{"<KEYVALUE> a\n</KEYVALUE>", "string ' a\n'"},
                    KeyCase{"<KEYVALUE VALUETYPE='numeric'>007</KEYVALUE>", "string '007'"},
                    KeyCase{"<KEYVALUE VALUETYPE='boolean'>true</KEYVALUE>", "string 'true'"},
                    KeyCase{"<KEYVALUE VALUETYPE='numeric' TYPE='uint32'>0x7</KEYVALUE>", "uint32 '7'"},
                    KeyCase{"<KEYVALUE VALUETYPE='boolean' TYPE='boolean'>true</KEYVALUE>", "boolean 'TRUE'"},
                    KeyCase{"<KEYVALUE VALUETYPE='string' TYPE='string'>007</KEYVALUE>", "string '007'"},
                    KeyCase{"<KEYVALUE TYPE='real32'>1</KEYVALUE>", "real32 '1.0'"},
                    KeyCase{"<VALUE.REFERENCE><INSTANCENAME "
                            "CLASSNAME='B'><KEYVALUE>x</KEYVALUE></INSTANCENAME></VALUE.REFERENCE>",
                            "reference :B.*=string 'x'"}));

TEST(ReadInstanceName, IsRefused_WhenTheDTDDoesNotHaveIt) {
    const auto read = [](const XMLElement& element) { readInstanceName(element); };
    const std::vector<std::pair<std::string, const char*>> rules{
        {"<INSTANCE CLASSNAME='A'/>", "no name of an instance"},
        {"<CLASSNAME NAME='A'/>", "no name of an instance"},
        {"<INSTANCENAME/>", "CLASSNAME is missing"},
        {"<INSTANCENAME CLASSNAME='A'><VALUE/></INSTANCENAME>", "no place in INSTANCENAME"},
        {"<INSTANCENAME CLASSNAME='A'><KEYBINDING NAME='k'/></INSTANCENAME>", "0 elements"},
        {"<INSTANCENAME CLASSNAME='A'><KEYBINDING NAME='k'><VALUE/></KEYBINDING></INSTANCENAME>",
         "no place in KEYBINDING"},
        {"<INSTANCENAME CLASSNAME='A'><KEYBINDING><KEYVALUE/></KEYBINDING></INSTANCENAME>",
         "NAME is missing"},
        {"<INSTANCENAME CLASSNAME='A'><KEYVALUE/><KEYVALUE/></INSTANCENAME>", "2 elements"},
        {"<INSTANCENAME CLASSNAME='A'>" + key + "<KEYVALUE/></INSTANCENAME>", "2 elements"},
        {"<INSTANCENAME CLASSNAME='A'><KEYVALUE TYPE='what'/></INSTANCENAME>", "'what' is no type"},
        {"<INSTANCENAME CLASSNAME='A'><KEYVALUE><B/></KEYVALUE></INSTANCENAME>", "not text"},
        {"<LOCALINSTANCEPATH>" + plainName + "</LOCALINSTANCEPATH>", "LOCALNAMESPACEPATH is missing"},
        {"<LOCALINSTANCEPATH>" + path + "</LOCALINSTANCEPATH>", "INSTANCENAME is missing"},
        {"<LOCALINSTANCEPATH>" + hostPath + plainName + "</LOCALINSTANCEPATH>",
         "no place in LOCALINSTANCEPATH"},
        {"<LOCALINSTANCEPATH><LOCALNAMESPACEPATH/>" + plainName + "</LOCALINSTANCEPATH>",
         "names no namespace"},
        {"<LOCALINSTANCEPATH><LOCALNAMESPACEPATH><NAMESPACE/></LOCALNAMESPACEPATH>" + plainName +
             "</LOCALINSTANCEPATH>",
         "NAME is missing"},
        {"<INSTANCEPATH><NAMESPACEPATH><HOST>h</HOST></NAMESPACEPATH>" + plainName + "</INSTANCEPATH>",
         "LOCALNAMESPACEPATH is missing"},
        {"<VALUE.REFERENCE/>", "0 elements"},
        {"<VALUE.REFERENCE><VALUE.REFERENCE/></VALUE.REFERENCE>", "no name of an instance"}};
    for (const auto& [element, problem] : rules) {
        EXPECT_THAT(syntaxErrorOf(element, read), HasSubstr(problem)) << element;
    }
}

TEST(ReadInstanceName, IsRefusedWithStatus4_WhenItMakesNoSense) {
    for (const std::string keys :
         {"<KEYVALUE TYPE='uint8'>256</KEYVALUE>", "<KEYVALUE TYPE='boolean'>no</KEYVALUE>",
          "<KEYBINDING NAME=''><KEYVALUE/></KEYBINDING>", "<KEYBINDING NAME='a.b'><KEYVALUE/></KEYBINDING>",
          "<KEYBINDING NAME='k'><KEYVALUE/></KEYBINDING><KEYBINDING NAME='K'><KEYVALUE/></KEYBINDING>"}) {
        const auto refusal =
            refusalOf([&] { nameText("<INSTANCENAME CLASSNAME='A'>" + keys + "</INSTANCENAME>"); });
        EXPECT_EQ(refusal.status, 4) << keys;
        EXPECT_THAT(refusal.text, HasSubstr("line 1: ")) << keys;
    }
    const std::string longName(10000, 'x');
    for (const std::string& name :
         {std::string("<INSTANCENAME CLASSNAME='A=B'/>"), "<INSTANCENAME CLASSNAME='" + longName + "'/>",
          "<INSTANCENAME CLASSNAME='A'><KEYBINDING NAME='" + longName +
              "'><KEYVALUE/></KEYBINDING></INSTANCENAME>",
          "<LOCALINSTANCEPATH><LOCALNAMESPACEPATH><NAMESPACE NAME='" + longName +
              "'/></LOCALNAMESPACEPATH><INSTANCENAME CLASSNAME='A'/></LOCALINSTANCEPATH>"}) {
        const auto refusal = refusalOf([&] { nameText(name); });
        EXPECT_EQ(refusal.status, 4) << name;
        EXPECT_LT(refusal.text.size(), 300U);
    }
}

std::string nested(std::string text, unsigned int levels) {
    text = "<INSTANCENAME CLASSNAME='A'><KEYVALUE>" + text + "</KEYVALUE></INSTANCENAME>";
    for (unsigned int level = 0; level < levels; ++level) {
        text = "<INSTANCENAME CLASSNAME='A'><VALUE.REFERENCE>" + text + "</VALUE.REFERENCE></INSTANCENAME>";
    }
    return text;
}

TEST(ReadInstanceName, IsRefused_WhenItsTextWouldGrowWithoutBound) {
    EXPECT_NO_THROW(nameText(nested("x", 10)));
    for (const auto& name : {nested("x", 60), nested(std::string(40000, '"'), 2)}) {
        const auto refusal = refusalOf([&] { nameText(name); });
        EXPECT_EQ(refusal.status, 4);
        EXPECT_THAT(refusal.text, HasSubstr("longer than 65536 bytes"));
    }
}

TEST(ReadObjectName, TellsClassesFromInstances) {
    const std::vector<std::tuple<std::string, bool, const char*>> rules{
        {"<CLASSNAME NAME='A'/>", true, ":A"},
        {"<LOCALCLASSPATH>" + path + "<CLASSNAME NAME='A'/></LOCALCLASSPATH>", true, "root/cimv2:A"},
        {"<CLASSPATH>" + hostPath + "<CLASSNAME NAME='A'/></CLASSPATH>", true, "root/cimv2:A"},
        {"<VALUE.REFERENCE><CLASSNAME NAME='A'/></VALUE.REFERENCE>", true, ":A"},
        {plainName, false, ":A.k=uint8 '7'"},
        {"<INSTANCENAME CLASSNAME='A'/>", false, ":A"},
        {"<LOCALINSTANCEPATH>" + path + plainName + "</LOCALINSTANCEPATH>", false,
         "root/cimv2:A.k=uint8 '7'"},
        {"<VALUE.REFERENCE><INSTANCEPATH>" + hostPath + plainName + "</INSTANCEPATH></VALUE.REFERENCE>",
         false, "root/cimv2:A.k=uint8 '7'"}};
    for (const auto& [element, wanted, text] : rules) {
        bool isClass = !wanted;
        EXPECT_EQ(describe(*readObjectName(parse(element), isClass)), text);
        EXPECT_EQ(isClass, wanted) << element;
    }
    EXPECT_THAT(syntaxErrorOf("<VALUE/>",
                              [](const XMLElement& element) {
                                  bool isClass;
                                  readObjectName(element, isClass);
                              }),
                HasSubstr("no name"));
}

TEST(ReadNamespace, JoinsItsParts) {
    EXPECT_EQ(readNamespace(parse(path)), "root/cimv2");
    EXPECT_EQ(readNamespace(parse("<LOCALNAMESPACEPATH><NAMESPACE NAME='root/cimv2'/></LOCALNAMESPACEPATH>")),
              "root/cimv2");
    EXPECT_THAT(
        syntaxErrorOf("<NAMESPACE NAME='a'/>", [](const XMLElement& element) { readNamespace(element); }),
        HasSubstr("no LOCALNAMESPACEPATH"));
}

struct ValueCase {
    const char* inside;
    Type type;
    const char* text;
};

void PrintTo(const ValueCase& rule, std::ostream* stream) {
    *stream << rule.inside;
}

class ReadValue : public testing::TestWithParam<ValueCase> {
protected:
    static std::string read() {
        return describe(
            *readValue(parse("<IPARAMVALUE NAME='p'>" + std::string(GetParam().inside) + "</IPARAMVALUE>"),
                       GetParam().type));
    }
};

TEST_P(ReadValue, ReadsWhatTheTypeDeclares) {
    EXPECT_EQ(read(), GetParam().text);
}

INSTANTIATE_TEST_SUITE_P(
    CIMReader, ReadValue,
    testing::Values(ValueCase{"", COrvoType::string, "string NULL"},
                    ValueCase{"<VALUE/>", COrvoType::string, "string ''"},
                    ValueCase{"<VALUE>TRUE</VALUE>", COrvoType::boolean, "boolean 'TRUE'"},
                    ValueCase{"", COrvoType::arrayOf(COrvoType::string), "string[] NULL"},
                    ValueCase{"<VALUE.ARRAY><VALUE>a</VALUE></VALUE.ARRAY>",
                              COrvoType::arrayOf(COrvoType::string), "string[] {<string 'a'>}"},
                    ValueCase{"<VALUE.REFERENCE><INSTANCENAME CLASSNAME='A'/></VALUE.REFERENCE>",
                              COrvoType::reference, "reference :A"},
                    ValueCase{"<VALUE.REFARRAY><VALUE.REFERENCE><INSTANCENAME "
                              "CLASSNAME='A'/></VALUE.REFERENCE><VALUE.NULL/></VALUE.REFARRAY>",
                              COrvoType::arrayOf(COrvoType::reference),
                              "reference[] {<reference :A><reference NULL>}"}));

class RefusedValue : public ReadValue {};

TEST_P(RefusedValue, IsTold) {
    const auto refusal = refusalOf([] { read(); });
    EXPECT_EQ(refusal.status, 4);
    EXPECT_THAT(refusal.text, HasSubstr("'IPARAMVALUE' 'p': "));
    EXPECT_THAT(refusal.text, HasSubstr(GetParam().text));
}

INSTANTIATE_TEST_SUITE_P(
    CIMReader, RefusedValue,
    testing::Values(ValueCase{"<CLASSNAME NAME='A'/>", COrvoType::string, "'CLASSNAME', not VALUE"},
                    ValueCase{"<VALUE.ARRAY/>", COrvoType::string, "'VALUE.ARRAY', not VALUE"},
                    ValueCase{"<VALUE/>", COrvoType::arrayOf(COrvoType::string), "'VALUE', not VALUE.ARRAY"},
                    ValueCase{"<VALUE/>", COrvoType::reference, "'VALUE', not VALUE.REFERENCE"}));

}  // namespace

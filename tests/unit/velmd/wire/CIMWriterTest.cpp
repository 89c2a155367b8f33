#include "velmd/wire/CIMWriter.h"

#include "foundation/object_model/COrvoInstanceName.h"
#include "foundation/object_model/COrvoObject.h"
#include "tests/support/DTDCheck.h"
#include "tests/support/SharedFolder.h"
#include "tests/unit/velmd/model/ClassBuilders.h"
#include "tests/unit/velmd/wire/WireSupport.h"
#include "velmd/model/ClassTree.h"

#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using namespace velm;
using namespace velm::test;
using testing::HasSubstr;
using testing::Not;
using Name = ORVSmrPtr<IOrvoInstanceName>;

template <class Write>
std::string written(Write write) {
    std::string xml;
    write(xml);
    return xml;
}

std::string writtenClass(const CIMClass& declaration, const CIMSelection& selection = {}) {
    return written([&](std::string& xml) { writeClass(xml, declaration, selection); });
}

std::string writtenInstance(const IOrvoObject& object, const CIMClass& declaration,
                            const CIMSelection& selection = {}) {
    return written([&](std::string& xml) { writeInstance(xml, object, declaration, selection); });
}

/// What the DTD says of a response that returns `elements`.
std::string problemOf(const std::string& elements) {
    return dtdProblem(
        "<CIM CIMVERSION=\"2.0\" DTDVERSION=\"2.0\"><MESSAGE ID=\"1\" PROTOCOLVERSION=\"1.0\"><SIMPLERSP>"
        "<IMETHODRESPONSE NAME=\"m\"><IRETURNVALUE>" +
        elements + "</IRETURNVALUE></IMETHODRESPONSE></SIMPLERSP></MESSAGE></CIM>");
}

/// The classes of a small tree: EX_Part has something of everything, EX_Wheel is below it.
class WrittenClass : public testing::Test {
protected:
    static CIMClass part() {
        CIMFlavor translatable;
        translatable.isTranslatable = true;
        CIMFlavor closed;
        closed.isOverridable = closed.toSubclass = false;
        closed.toInstance = true;
        CIMProperty sizes = makeProperty("Sizes", COrvoType::arrayOf(COrvoType::uint16));
        sizes.arraySize = 2;
        CIMProperty inner = makeProperty("Inner");
        inner.embedding = CIMEmbedding::object;
        CIMProperty weight = makeProperty("Weight", COrvoType::uint32);
        weight.value = makeValue(5U, COrvoType::uint32);
        CIMClass result = makeClass(
            "EX_Part", "", {makeKey("Id"), sizes, inner, weight, makeEnd("Owner", "EX_Owner", false)},
            {makeQualifier("Description", makeValue("a < \"b\""), translatable),
             makeQualifier("Closed", COrvoValue::null(COrvoType::string), closed)});
        CIMParameter when{"When", COrvoType::datetime, {}, "", CIMEmbedding::none, {makeQualifier("In")}};
        CIMParameter list{"List", COrvoType::arrayOf(COrvoType::string), 3, "", CIMEmbedding::none, {}};
        CIMParameter whom{"Whom", COrvoType::reference, {}, "EX_Owner", CIMEmbedding::none, {}};
        CIMParameter them{
            "Them", COrvoType::arrayOf(COrvoType::reference), {}, "EX_Owner", CIMEmbedding::none, {}};
        result.methods = {{"Turn", COrvoType::uint32, "", false, {}, {when, list, whom, them}},
                          {"Stop", nullptr, "", false, {}, {}}};
        return result;
    }

    std::shared_ptr<const ClassTree> tree = ClassTree().with(
        {part(),
         makeClass("EX_Wheel", "EX_Part",
                   {makeProperty("Spokes", COrvoType::uint8), makeProperty("weight", COrvoType::uint32)},
                   {makeQualifier("Round")})});
    const CIMClass& wheel = tree->find("EX_Wheel")->declaration;
};

TEST_F(WrittenClass, HasNoElementClosedInItsOwnTag) {
    EXPECT_EQ(writtenClass(part()),
              "<CLASS NAME=\"EX_Part\">"
              "<QUALIFIER NAME=\"Description\" TYPE=\"string\" TRANSLATABLE=\"true\"><VALUE>a &lt; "
              "\"b\"</VALUE></QUALIFIER>"
              "<QUALIFIER NAME=\"Closed\" TYPE=\"string\" OVERRIDABLE=\"false\" TOSUBCLASS=\"false\" "
              "TOINSTANCE=\"true\"></QUALIFIER>"
              "<PROPERTY NAME=\"Id\" TYPE=\"string\"><QUALIFIER NAME=\"Key\" "
              "TYPE=\"boolean\"><VALUE>TRUE</VALUE></QUALIFIER></PROPERTY>"
              "<PROPERTY.ARRAY NAME=\"Sizes\" TYPE=\"uint16\" ARRAYSIZE=\"2\"></PROPERTY.ARRAY>"
              "<PROPERTY NAME=\"Inner\" TYPE=\"string\" EmbeddedObject=\"object\"></PROPERTY>"
              "<PROPERTY NAME=\"Weight\" TYPE=\"uint32\"><VALUE>5</VALUE></PROPERTY>"
              "<PROPERTY.REFERENCE NAME=\"Owner\" REFERENCECLASS=\"EX_Owner\"></PROPERTY.REFERENCE>"
              "<METHOD NAME=\"Turn\" TYPE=\"uint32\">"
              "<PARAMETER NAME=\"When\" TYPE=\"datetime\"><QUALIFIER NAME=\"In\" "
              "TYPE=\"boolean\"><VALUE>TRUE</VALUE></QUALIFIER></PARAMETER>"
              "<PARAMETER.ARRAY NAME=\"List\" TYPE=\"string\" ARRAYSIZE=\"3\"></PARAMETER.ARRAY>"
              "<PARAMETER.REFERENCE NAME=\"Whom\" REFERENCECLASS=\"EX_Owner\"></PARAMETER.REFERENCE>"
              "<PARAMETER.REFARRAY NAME=\"Them\" REFERENCECLASS=\"EX_Owner\"></PARAMETER.REFARRAY></METHOD>"
              "<METHOD NAME=\"Stop\"></METHOD></CLASS>");
    EXPECT_EQ(problemOf(writtenClass(part())), "");
}

TEST_F(WrittenClass, MarksWhatIsInherited) {
    const std::string xml = writtenClass(wheel);
    EXPECT_THAT(xml, HasSubstr("<CLASS NAME=\"EX_Wheel\" SUPERCLASS=\"EX_Part\"><QUALIFIER "
                               "NAME=\"Description\" TYPE=\"string\" PROPAGATED=\"true\""));
    EXPECT_THAT(xml, HasSubstr("<PROPERTY NAME=\"Id\" TYPE=\"string\" PROPAGATED=\"true\"><QUALIFIER "
                               "NAME=\"Key\" TYPE=\"boolean\" PROPAGATED=\"true\">"));
    EXPECT_THAT(xml, HasSubstr("<PROPERTY NAME=\"Spokes\" TYPE=\"uint8\">"));
    EXPECT_THAT(xml, HasSubstr("<METHOD NAME=\"Turn\" TYPE=\"uint32\" PROPAGATED=\"true\">"));
    EXPECT_EQ(problemOf(xml), "");
}

TEST_F(WrittenClass, NamesOriginsOnRequest) {
    CIMSelection selection;
    selection.includeClassOrigin = true;
    const std::string xml = writtenClass(wheel, selection);
    EXPECT_THAT(xml, HasSubstr("<PROPERTY.ARRAY NAME=\"Sizes\" TYPE=\"uint16\" ARRAYSIZE=\"2\" "
                               "CLASSORIGIN=\"EX_Part\" PROPAGATED=\"true\">"));
    EXPECT_THAT(
        xml,
        HasSubstr("<PROPERTY.REFERENCE NAME=\"Owner\" REFERENCECLASS=\"EX_Owner\" CLASSORIGIN=\"EX_Part\""));
    EXPECT_THAT(xml, HasSubstr("NAME=\"weight\" TYPE=\"uint32\" CLASSORIGIN=\"EX_Part\"><VALUE>5</VALUE>"));
    EXPECT_THAT(xml, HasSubstr("NAME=\"Spokes\" TYPE=\"uint8\" CLASSORIGIN=\"EX_Wheel\""));
    EXPECT_THAT(xml, HasSubstr("<METHOD NAME=\"Stop\" CLASSORIGIN=\"EX_Part\""));
    EXPECT_THAT(writtenClass(wheel), Not(HasSubstr("CLASSORIGIN")));
    EXPECT_EQ(problemOf(xml), "");
}

TEST_F(WrittenClass, HasOnlyItsOwnElements_WhenLocal) {
    CIMSelection selection;
    selection.localOnly = true;
    EXPECT_EQ(writtenClass(wheel, selection),
              "<CLASS NAME=\"EX_Wheel\" SUPERCLASS=\"EX_Part\"><QUALIFIER NAME=\"Round\" "
              "TYPE=\"boolean\"><VALUE>TRUE</VALUE></QUALIFIER>"
              "<PROPERTY NAME=\"weight\" TYPE=\"uint32\"><VALUE>5</VALUE></PROPERTY>"
              "<PROPERTY NAME=\"Spokes\" TYPE=\"uint8\"></PROPERTY></CLASS>");
}

TEST_F(WrittenClass, HasNoQualifiersAnywhere_WhenTheyAreNotWanted) {
    CIMSelection selection;
    selection.includeQualifiers = false;
    EXPECT_THAT(writtenClass(wheel, selection), Not(HasSubstr("QUALIFIER")));
    EXPECT_THAT(writtenClass(wheel, selection), HasSubstr("METHOD NAME=\"Turn\""));
}

TEST_F(WrittenClass, HasTheListedProperties) {
    CIMSelection selection;
    selection.includeQualifiers = false;
    selection.properties = {"SPOKES", "id", "Unknown"};
    const std::string listed = writtenClass(wheel, selection);
    EXPECT_THAT(listed, HasSubstr("\"Id\""));
    EXPECT_THAT(listed, HasSubstr("\"Spokes\""));
    EXPECT_THAT(listed, Not(HasSubstr("eight")));
    selection.properties->clear();
    EXPECT_THAT(writtenClass(wheel, selection), Not(HasSubstr("PROPERTY")));
}

TEST(WrittenQualifierDeclaration, HasEverything) {
    CIMQualifierDeclaration declaration;
    declaration.name = "Values";
    declaration.type = COrvoType::arrayOf(COrvoType::string);
    declaration.arraySize = 4;
    declaration.scopes = CIMQualifierDeclaration::onProperty | CIMQualifierDeclaration::onMethod;
    declaration.flavor.isTranslatable = true;
    declaration.value = COrvoValue::null(declaration.type);
    const auto text = [&declaration] {
        return written([&](std::string& xml) { writeQualifierDeclaration(xml, declaration); });
    };
    EXPECT_EQ(text(),
              "<QUALIFIER.DECLARATION NAME=\"Values\" TYPE=\"string\" ISARRAY=\"true\" ARRAYSIZE=\"4\" "
              "TRANSLATABLE=\"true\">"
              "<SCOPE PROPERTY=\"true\" METHOD=\"true\"></SCOPE></QUALIFIER.DECLARATION>");
    EXPECT_EQ(problemOf(text()), "");
    declaration = {"Key", COrvoType::boolean, {}, 0, {}, makeValue(false)};
    EXPECT_EQ(text(),
              "<QUALIFIER.DECLARATION NAME=\"Key\" TYPE=\"boolean\" "
              "ISARRAY=\"false\"><VALUE>FALSE</VALUE></QUALIFIER.DECLARATION>");
    EXPECT_EQ(problemOf(text()), "");
}

Name makeName(const char* nameSpace, const char* className,
              const std::vector<std::pair<const char*, Value>>& keys) {
    COrvoInstanceName::KeyBindings bindings;
    for (const auto& [name, value] : keys) {
        bindings.append({name, value});
    }
    return Name(new COrvoInstanceName(nameSpace, className, bindings));
}

class WrittenInstance : public WrittenClass {
protected:
    WrittenInstance() {
        object.setProperty("Owner",
                           makeValue(makeName("root/cimv2", "EX_Owner", {{"Name", makeValue("me")}})));
        object.setProperty("ID", makeValue(""));
        object.setProperty("Unknown", makeValue("x"));
        COrvoValue::Elements sizes(new ORVValSlist<Value>);
        sizes->append(makeValue(1U, COrvoType::uint16));
        sizes->append(COrvoValue::null(COrvoType::uint16));
        object.setProperty("Sizes", makeValue(sizes, COrvoType::uint16));
    }

    COrvoObject object{"EX_Wheel", nullptr};
};

TEST_F(WrittenInstance, FollowsTheClass) {
    const std::string xml = writtenInstance(object, wheel);
    EXPECT_EQ(
        xml,
        "<INSTANCE CLASSNAME=\"EX_Wheel\">"
        "<PROPERTY NAME=\"Id\" TYPE=\"string\"><VALUE></VALUE></PROPERTY>"
        "<PROPERTY.ARRAY NAME=\"Sizes\" "
        "TYPE=\"uint16\"><VALUE.ARRAY><VALUE>1</VALUE><VALUE.NULL/></VALUE.ARRAY></PROPERTY.ARRAY>"
        "<PROPERTY NAME=\"Inner\" TYPE=\"string\" EmbeddedObject=\"object\"></PROPERTY>"
        "<PROPERTY NAME=\"weight\" TYPE=\"uint32\"></PROPERTY>"
        "<PROPERTY.REFERENCE NAME=\"Owner\" REFERENCECLASS=\"EX_Owner\"><VALUE.REFERENCE><LOCALINSTANCEPATH>"
        "<LOCALNAMESPACEPATH><NAMESPACE NAME=\"root\"/><NAMESPACE NAME=\"cimv2\"/></LOCALNAMESPACEPATH>"
        "<INSTANCENAME CLASSNAME=\"EX_Owner\"><KEYBINDING NAME=\"Name\"><KEYVALUE VALUETYPE=\"string\" "
        "TYPE=\"string\">me</KEYVALUE>"
        "</KEYBINDING></INSTANCENAME></LOCALINSTANCEPATH></VALUE.REFERENCE></PROPERTY.REFERENCE>"
        "<PROPERTY NAME=\"Spokes\" TYPE=\"uint8\"></PROPERTY></INSTANCE>");
    EXPECT_EQ(problemOf(xml), "");
}

TEST_F(WrittenInstance, HasWhatIsSelected) {
    CIMSelection selection;
    selection.includeClassOrigin = true;
    selection.properties = {"weight", "spokes"};
    EXPECT_EQ(writtenInstance(object, wheel, selection),
              "<INSTANCE CLASSNAME=\"EX_Wheel\"><PROPERTY NAME=\"weight\" TYPE=\"uint32\" "
              "CLASSORIGIN=\"EX_Part\"></PROPERTY>"
              "<PROPERTY NAME=\"Spokes\" TYPE=\"uint8\" CLASSORIGIN=\"EX_Wheel\"></PROPERTY></INSTANCE>");
    EXPECT_EQ(problemOf(writtenInstance(object, wheel, selection)), "");
    selection.localOnly = true;
    selection.includeClassOrigin = false;
    EXPECT_EQ(
        writtenInstance(object, tree->find("EX_Part")->declaration, selection),
        "<INSTANCE CLASSNAME=\"EX_Wheel\"><PROPERTY NAME=\"Weight\" TYPE=\"uint32\"></PROPERTY></INSTANCE>")
        << "as a class above sees it";
}

TEST_F(WrittenInstance, CarriesWhatItEmbedsAsText) {
    auto* inner = new COrvoObject("EX_Inner", nullptr);
    const ORVSmrPtr<IOrvoObject> handle(inner);
    inner->setProperty("x", makeValue("a&b"));
    object.setProperty("Inner", makeValue(handle));
    CIMSelection selection;
    selection.properties = {"Inner"};
    const std::string text =
        "&lt;INSTANCE CLASSNAME=\"EX_Inner\"&gt;&lt;PROPERTY NAME=\"x\" TYPE=\"string\"&gt;"
        "&lt;VALUE&gt;a&amp;amp;b&lt;/VALUE&gt;&lt;/PROPERTY&gt;&lt;/INSTANCE&gt;";
    const std::string xml = writtenInstance(object, wheel, selection);
    EXPECT_EQ(xml,
              "<INSTANCE CLASSNAME=\"EX_Wheel\"><PROPERTY NAME=\"Inner\" TYPE=\"string\" "
              "EmbeddedObject=\"object\"><VALUE>" +
                  text + "</VALUE></PROPERTY></INSTANCE>");
    EXPECT_EQ(problemOf(xml), "");
    object.setProperty("Inner", makeValue("<CLASS NAME=\"A\"></CLASS>"));
    EXPECT_THAT(writtenInstance(object, wheel, selection),
                HasSubstr("EmbeddedObject=\"object\"><VALUE>&lt;CLASS NAME=\"A\"&gt;"));
}

TEST(WrittenName, HasTypedKeysInTheirOrder) {
    const auto name = makeName("root/cimv2", "EX_A",
                               {{"n", makeValue(7U, COrvoType::uint8)},
                                {"b", makeValue(true)},
                                {"s", makeValue("a<\"&'")},
                                {"d", COrvoValue::parse("00000001000000.000000:000", COrvoType::datetime)},
                                {"c", COrvoValue::parse("x", COrvoType::char16)},
                                {"r", makeValue(1.5, COrvoType::real64)},
                                {"to", makeValue(makeName("interop", "EX_B", {{"k", makeValue("v")}}))}});
    const std::string keys =
        "<INSTANCENAME CLASSNAME=\"EX_A\">"
        "<KEYBINDING NAME=\"b\"><KEYVALUE VALUETYPE=\"boolean\" TYPE=\"boolean\">TRUE</KEYVALUE></KEYBINDING>"
        "<KEYBINDING NAME=\"c\"><KEYVALUE VALUETYPE=\"string\" TYPE=\"char16\">x</KEYVALUE></KEYBINDING>"
        "<KEYBINDING NAME=\"d\"><KEYVALUE VALUETYPE=\"string\" "
        "TYPE=\"datetime\">00000001000000.000000:000</KEYVALUE></KEYBINDING>"
        "<KEYBINDING NAME=\"n\"><KEYVALUE VALUETYPE=\"numeric\" TYPE=\"uint8\">7</KEYVALUE></KEYBINDING>"
        "<KEYBINDING NAME=\"r\"><KEYVALUE VALUETYPE=\"numeric\" TYPE=\"real64\">1.5</KEYVALUE></KEYBINDING>"
        "<KEYBINDING NAME=\"s\"><KEYVALUE VALUETYPE=\"string\" "
        "TYPE=\"string\">a&lt;\"&amp;'</KEYVALUE></KEYBINDING>"
        "<KEYBINDING NAME=\"to\"><VALUE.REFERENCE><LOCALINSTANCEPATH><LOCALNAMESPACEPATH><NAMESPACE "
        "NAME=\"interop\"/></LOCALNAMESPACEPATH>"
        "<INSTANCENAME CLASSNAME=\"EX_B\"><KEYBINDING NAME=\"k\"><KEYVALUE VALUETYPE=\"string\" "
        "TYPE=\"string\">v</KEYVALUE></KEYBINDING>"
        "</INSTANCENAME></LOCALINSTANCEPATH></VALUE.REFERENCE></KEYBINDING></INSTANCENAME>";
    const std::string place =
        "<NAMESPACEPATH><HOST>h&amp;h</HOST><LOCALNAMESPACEPATH><NAMESPACE NAME=\"root\"/>"
        "<NAMESPACE NAME=\"cimv2\"/></LOCALNAMESPACEPATH></NAMESPACEPATH>";
    EXPECT_EQ(written([&](std::string& xml) { writeInstanceName(xml, *name); }), keys);
    EXPECT_EQ(problemOf(keys), "");
    const std::string path = written([&](std::string& xml) { writeInstancePath(xml, *name, "h&h"); });
    EXPECT_EQ(path, "<INSTANCEPATH>" + place + keys + "</INSTANCEPATH>");
    EXPECT_EQ(problemOf("<OBJECTPATH>" + path + "</OBJECTPATH>"), "");
    const std::string classPath =
        written([](std::string& xml) { writeClassPath(xml, "EX_A", "root/cimv2", "h&h"); });
    EXPECT_EQ(classPath, "<CLASSPATH>" + place + "<CLASSNAME NAME=\"EX_A\"/></CLASSPATH>");
    EXPECT_EQ(problemOf("<OBJECTPATH>" + classPath + "</OBJECTPATH>"), "");
}

TEST(WrittenName, CanBeWithoutKeys) {
    const auto name = makeName("root", "EX_A", {});
    EXPECT_EQ(written([&](std::string& xml) { writeInstanceName(xml, *name); }),
              "<INSTANCENAME CLASSNAME=\"EX_A\"></INSTANCENAME>");
}

TEST(DTD, IsWhatTheseTestsValidateAgainst) {
    VELM_SKIP_WITHOUT(documentType());
    EXPECT_NE(problemOf("<CLASS/>"), "");
    EXPECT_EQ(problemOf("<CLASS NAME=\"A\"/>"), "");
}

}  // namespace

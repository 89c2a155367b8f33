#include "server/xml/CIMXMLWriter.h"

#include "foundation/object_model/COrvoInstanceName.h"
#include "foundation/object_model/COrvoObject.h"
#include "foundation/object_model/COrvoProperty.h"
#include "foundation/object_model/COrvoValue.h"

#include <cstdint>
#include <limits>
#include <string>

#include <gtest/gtest.h>

namespace velm {
namespace {

using Value = ORVSmrPtr<IOrvoValue>;

template <class... Arguments>
Value make(const Arguments&... arguments) {
    return Value(new COrvoValue(arguments...));
}

template <class... Elements>
Value makeArray(const ORVSmrPtr<IOrvoType>& type, const Elements&... elements) {
    COrvoValue::Elements list(new ORVValSlist<Value>);
    (list->append(elements), ...);
    return make(list, type);
}

Value makeReference() {
    return make(
        ORVSmrPtr<IOrvoInstanceName>(new COrvoInstanceName("root/cimv2", "CIM_Directory", "Name", "/a\"b")));
}

Value makeInstance(const ORVString& className, const ORVString& propertyName, const Value& value) {
    auto* object = new COrvoObject(className, {});
    const ORVSmrPtr<IOrvoObject> handle(object);
    object->setProperty(propertyName, value);
    return make(handle);
}

std::string propertyOf(const Value& value) {
    std::string xml;
    CIMXMLWriter(xml).property(COrvoProperty("P", value));
    return xml;
}

std::string valueOf(const Value& value, CIMXMLWriter::References references) {
    std::string xml;
    CIMXMLWriter(xml, references).value(*value);
    return xml;
}

struct ScalarCase {
    Value value;
    const char* type;
    const char* text;
};

class ScalarProperty : public testing::TestWithParam<ScalarCase> {};

TEST_P(ScalarProperty, HasTypeAndValue) {
    const ScalarCase& c = GetParam();
    EXPECT_EQ(propertyOf(c.value), std::string("<PROPERTY NAME=\"P\" TYPE=\"") + c.type + "\"><VALUE>" +
                                       c.text + "</VALUE></PROPERTY>");
}

INSTANTIATE_TEST_SUITE_P(
    CIMXMLWriter, ScalarProperty,
    testing::Values(
        ScalarCase{make(true), "boolean", "TRUE"}, ScalarCase{make(false), "boolean", "FALSE"},
        ScalarCase{make(255u, COrvoType::uint8), "uint8", "255"},
        ScalarCase{make(std::int64_t{-128}, COrvoType::sint8), "sint8", "-128"},
        ScalarCase{make(65535u, COrvoType::uint16), "uint16", "65535"},
        ScalarCase{make(std::int64_t{-32768}, COrvoType::sint16), "sint16", "-32768"},
        ScalarCase{make(4294967295u, COrvoType::uint32), "uint32", "4294967295"},
        ScalarCase{make(std::int64_t{-2147483648LL}, COrvoType::sint32), "sint32", "-2147483648"},
        ScalarCase{make(std::numeric_limits<std::uint64_t>::max(), COrvoType::uint64), "uint64",
                   "18446744073709551615"},
        ScalarCase{make(std::numeric_limits<std::int64_t>::min(), COrvoType::sint64), "sint64",
                   "-9223372036854775808"},
        ScalarCase{make(0.1, COrvoType::real64), "real64", "0.1"},
        ScalarCase{make(1.7976931348623157e308, COrvoType::real64), "real64", "1.7976931348623157e+308"},
        ScalarCase{make(double{0.1f}, COrvoType::real32), "real32", "0.1"},
        ScalarCase{make(std::numeric_limits<double>::infinity(), COrvoType::real64), "real64", "INF"},
        ScalarCase{make(-std::numeric_limits<double>::infinity(), COrvoType::real32), "real32", "-INF"},
        ScalarCase{make(std::numeric_limits<double>::quiet_NaN(), COrvoType::real64), "real64", "NaN"},
        ScalarCase{make(ORVString("a<b & \"c\"")), "string", "a&lt;b &amp; \"c\""},
        ScalarCase{make(ORVString("")), "string", ""},
        ScalarCase{COrvoValue::parse("\xE2\x82\xAC", COrvoType::char16), "char16", "\xE2\x82\xAC"},
        ScalarCase{COrvoValue::parse("20261120151918.123456+000", COrvoType::datetime), "datetime",
                   "20261120151918.123456+000"}));

TEST(CIMXMLWriter, WritesNoValue_WhenAPropertyIsNull) {
    EXPECT_EQ(propertyOf(COrvoValue::null(COrvoType::uint8)), "<PROPERTY NAME=\"P\" TYPE=\"uint8\"/>");
    EXPECT_EQ(propertyOf(COrvoValue::null(COrvoType::instance)),
              "<PROPERTY NAME=\"P\" TYPE=\"string\" EmbeddedObject=\"instance\"/>");
    EXPECT_EQ(propertyOf(COrvoValue::null(COrvoType::reference)), "<PROPERTY.REFERENCE NAME=\"P\"/>");
    EXPECT_EQ(propertyOf(COrvoValue::null(COrvoType::arrayOf(COrvoType::string))),
              "<PROPERTY.ARRAY NAME=\"P\" TYPE=\"string\"/>");
}

TEST(CIMXMLWriter, WritesReferenceWithItsNamespace) {
    EXPECT_EQ(propertyOf(makeReference()),
              "<PROPERTY.REFERENCE NAME=\"P\"><VALUE.REFERENCE><LOCALINSTANCEPATH><LOCALNAMESPACEPATH>"
              "<NAMESPACE NAME=\"root\"/><NAMESPACE NAME=\"cimv2\"/></LOCALNAMESPACEPATH>"
              "<INSTANCENAME CLASSNAME=\"CIM_Directory\"><KEYBINDING NAME=\"Name\">"
              "<KEYVALUE VALUETYPE=\"string\" TYPE=\"string\">/a\"b</KEYVALUE></KEYBINDING></INSTANCENAME>"
              "</LOCALINSTANCEPATH></VALUE.REFERENCE></PROPERTY.REFERENCE>");
}

TEST(CIMXMLWriter, WritesInstanceNameAlone_WhenNamespacesAreUnwantedOrUnknown) {
    const std::string expected =
        "<VALUE.REFERENCE><INSTANCENAME CLASSNAME=\"C\"><KEYBINDING NAME=\"K\">"
        "<KEYVALUE VALUETYPE=\"string\" "
        "TYPE=\"string\">v</KEYVALUE></KEYBINDING></INSTANCENAME></VALUE.REFERENCE>";
    for (const char* nameSpace : {"root/cimv2", ""}) {
        const Value value =
            make(ORVSmrPtr<IOrvoInstanceName>(new COrvoInstanceName(nameSpace, "C", "K", "v")));
        EXPECT_EQ(valueOf(value, CIMXMLWriter::References::withoutNamespace), expected);
    }
    const Value value = make(ORVSmrPtr<IOrvoInstanceName>(new COrvoInstanceName("", "C", "K", "v")));
    EXPECT_EQ(valueOf(value, CIMXMLWriter::References::withNamespace), expected);
}

TEST(CIMXMLWriter, NamesTheTypeOfEachKey) {
    COrvoInstanceName::KeyBindings keys;
    keys.append({"a", make(true)});
    keys.append({"b", make(7u, COrvoType::uint16)});
    keys.append({"c", make(1.5, COrvoType::real32)});
    keys.append({"d", COrvoValue::parse("20261120151918.123456+000", COrvoType::datetime)});
    keys.append({"e", COrvoValue::parse("x", COrvoType::char16)});
    const Value value = make(ORVSmrPtr<IOrvoInstanceName>(new COrvoInstanceName("", "C", keys)));
    EXPECT_EQ(
        valueOf(value, CIMXMLWriter::References::withNamespace),
        "<VALUE.REFERENCE><INSTANCENAME CLASSNAME=\"C\">"
        "<KEYBINDING NAME=\"a\"><KEYVALUE VALUETYPE=\"boolean\" TYPE=\"boolean\">TRUE</KEYVALUE></KEYBINDING>"
        "<KEYBINDING NAME=\"b\"><KEYVALUE VALUETYPE=\"numeric\" TYPE=\"uint16\">7</KEYVALUE></KEYBINDING>"
        "<KEYBINDING NAME=\"c\"><KEYVALUE VALUETYPE=\"numeric\" TYPE=\"real32\">1.5</KEYVALUE></KEYBINDING>"
        "<KEYBINDING NAME=\"d\"><KEYVALUE VALUETYPE=\"string\" TYPE=\"datetime\">20261120151918.123456+000"
        "</KEYVALUE></KEYBINDING>"
        "<KEYBINDING NAME=\"e\"><KEYVALUE VALUETYPE=\"string\" TYPE=\"char16\">x</KEYVALUE></KEYBINDING>"
        "</INSTANCENAME></VALUE.REFERENCE>");
}

TEST(CIMXMLWriter, WritesKeyThatIsAReference) {
    COrvoInstanceName::KeyBindings keys;
    keys.append({"Handler", make(ORVSmrPtr<IOrvoInstanceName>(new COrvoInstanceName("n", "H", "K", "v")))});
    const Value value = make(ORVSmrPtr<IOrvoInstanceName>(new COrvoInstanceName("", "S", keys)));
    EXPECT_EQ(valueOf(value, CIMXMLWriter::References::withNamespace),
              "<VALUE.REFERENCE><INSTANCENAME CLASSNAME=\"S\"><KEYBINDING NAME=\"Handler\"><VALUE.REFERENCE>"
              "<LOCALINSTANCEPATH><LOCALNAMESPACEPATH><NAMESPACE NAME=\"n\"/></LOCALNAMESPACEPATH>"
              "<INSTANCENAME CLASSNAME=\"H\"><KEYBINDING NAME=\"K\"><KEYVALUE VALUETYPE=\"string\" "
              "TYPE=\"string\">v"
              "</KEYVALUE></KEYBINDING></INSTANCENAME></LOCALINSTANCEPATH></VALUE.REFERENCE></KEYBINDING>"
              "</INSTANCENAME></VALUE.REFERENCE>");
}

TEST(CIMXMLWriter, WritesArrayWithItsNullElements) {
    EXPECT_EQ(
        propertyOf(makeArray(COrvoType::uint8, make(1u, COrvoType::uint8), COrvoValue::null(COrvoType::uint8),
                             make(3u, COrvoType::uint8))),
        "<PROPERTY.ARRAY NAME=\"P\" TYPE=\"uint8\"><VALUE.ARRAY><VALUE>1</VALUE><VALUE.NULL/><VALUE>3</VALUE>"
        "</VALUE.ARRAY></PROPERTY.ARRAY>");
    EXPECT_EQ(propertyOf(makeArray(COrvoType::string)),
              "<PROPERTY.ARRAY NAME=\"P\" TYPE=\"string\"><VALUE.ARRAY></VALUE.ARRAY></PROPERTY.ARRAY>");
}

TEST(CIMXMLWriter, WritesArrayOfReferencesAsText_InProperties) {
    EXPECT_EQ(propertyOf(makeArray(COrvoType::reference, makeReference())),
              "<PROPERTY.ARRAY NAME=\"P\" TYPE=\"string\"><VALUE.ARRAY><VALUE>"
              "root/cimv2:CIM_Directory.Name=\"/a\\\"b\"</VALUE></VALUE.ARRAY></PROPERTY.ARRAY>");
}

TEST(CIMXMLWriter, WritesArrayOfReferencesAsReferences_InValues) {
    const Value name = make(ORVSmrPtr<IOrvoInstanceName>(new COrvoInstanceName("", "C", {})));
    EXPECT_EQ(
        valueOf(makeArray(COrvoType::reference, name, COrvoValue::null(COrvoType::reference)),
                CIMXMLWriter::References::withNamespace),
        "<VALUE.REFARRAY><VALUE.REFERENCE><INSTANCENAME CLASSNAME=\"C\"></INSTANCENAME></VALUE.REFERENCE>"
        "<VALUE.NULL/></VALUE.REFARRAY>");
}

TEST(CIMXMLWriter, EscapesEmbeddedInstance) {
    EXPECT_EQ(propertyOf(makeInstance("E", "a\"b", make(ORVString("x&y")))),
              "<PROPERTY NAME=\"P\" TYPE=\"string\" EmbeddedObject=\"instance\"><VALUE>"
              "&lt;INSTANCE CLASSNAME=\"E\"&gt;&lt;PROPERTY NAME=\"a&amp;quot;b\" TYPE=\"string\"&gt;"
              "&lt;VALUE&gt;x&amp;amp;y&lt;/VALUE&gt;&lt;/PROPERTY&gt;&lt;/INSTANCE&gt;</VALUE></PROPERTY>");
}

TEST(CIMXMLWriter, EscapesEmbeddedInstanceTwice_WhenItIsInsideAnother) {
    const Value inner = makeInstance("I", "p", make(ORVString("&")));
    EXPECT_EQ(propertyOf(makeInstance("E", "Q", inner)),
              "<PROPERTY NAME=\"P\" TYPE=\"string\" EmbeddedObject=\"instance\"><VALUE>"
              "&lt;INSTANCE CLASSNAME=\"E\"&gt;&lt;PROPERTY NAME=\"Q\" TYPE=\"string\" "
              "EmbeddedObject=\"instance\"&gt;"
              "&lt;VALUE&gt;"
              "&amp;lt;INSTANCE CLASSNAME=\"I\"&amp;gt;&amp;lt;PROPERTY NAME=\"p\" TYPE=\"string\"&amp;gt;"
              "&amp;lt;VALUE&amp;gt;&amp;amp;amp;&amp;lt;/VALUE&amp;gt;&amp;lt;/PROPERTY&amp;gt;"
              "&amp;lt;/INSTANCE&amp;gt;"
              "&lt;/VALUE&gt;&lt;/PROPERTY&gt;&lt;/INSTANCE&gt;</VALUE></PROPERTY>");
}

TEST(CIMXMLWriter, WritesArrayOfEmbeddedInstances) {
    const Value instance = makeInstance("E", "p", make(true));
    EXPECT_EQ(propertyOf(makeArray(COrvoType::instance, instance, COrvoValue::null(COrvoType::instance))),
              "<PROPERTY.ARRAY NAME=\"P\" TYPE=\"string\" EmbeddedObject=\"instance\"><VALUE.ARRAY><VALUE>"
              "&lt;INSTANCE CLASSNAME=\"E\"&gt;&lt;PROPERTY NAME=\"p\" TYPE=\"boolean\"&gt;"
              "&lt;VALUE&gt;TRUE&lt;/VALUE&gt;&lt;/PROPERTY&gt;&lt;/INSTANCE&gt;"
              "</VALUE><VALUE.NULL/></VALUE.ARRAY></PROPERTY.ARRAY>");
}

TEST(CIMXMLWriter, WritesNull_WhenEmbeddedTooDeep) {
    Value value = makeInstance("Innermost", "p", make(ORVString("leaf")));
    for (unsigned int level = 1; level < CIMXMLWriter::maxEmbedding; ++level) {
        value = makeInstance("E", "p", value);
    }
    EXPECT_NE(propertyOf(value).find("leaf"), std::string::npos);
    const std::string tooDeep = propertyOf(makeInstance("E", "p", value));
    EXPECT_EQ(tooDeep.find("leaf"), std::string::npos);
    EXPECT_NE(tooDeep.find("EmbeddedObject=\"instance\"/"), std::string::npos);
}

TEST(CIMXMLWriter, TakesTheClassFromTheInstanceName_WhenTheObjectHasNone) {
    std::string xml;
    const ORVSmrPtr<IOrvoInstanceName> name(new COrvoInstanceName("n", "Named", "K", "v"));
    CIMXMLWriter(xml).instance(COrvoObject(ORVString(), name));
    EXPECT_EQ(xml, "<INSTANCE CLASSNAME=\"Named\"></INSTANCE>");
}

// ---------------------------------------------------------------------------------------------------------------
// A host may bring classes of its own: they are written as ours are.

class OtherType : public IOrvoType {
public:
    explicit OtherType(const ORVSmrPtr<IOrvoType>& type) : _type(type) {}
    ORVString getName() const override { return std::string_view(std::string(_type->getName().view())); }
    bool isReference() const override { return _type->isReference(); }
    bool isArray() const override { return _type->isArray(); }

private:
    const ORVSmrPtr<IOrvoType> _type;
};

class OtherValue : public IOrvoValue {
public:
    explicit OtherValue(const Value& value) : _value(value) {}
    ORVSmrPtr<IOrvoType> getType() const override {
        return ORVSmrPtr<IOrvoType>(new OtherType(_value->getType()));
    }
    bool isNull() const override { return _value->isNull(); }
    ORVString getString() const override { return _value->getString(); }
    bool getBoolean() const override { return _value->getBoolean(); }
    std::int32_t getSint32() const override { return _value->getSint32(); }
    std::uint32_t getUint32() const override { return _value->getUint32(); }
    std::int64_t getSint64() const override { return _value->getSint64(); }
    std::uint64_t getUint64() const override { return _value->getUint64(); }
    double getReal64() const override { return _value->getReal64(); }
    ORVSmrPtr<IOrvoInstanceName> getReference() const override { return _value->getReference(); }
    ORVSmrPtr<IOrvoObject> getInstance() const override;
    ORVSmrPtr<ORVValSlist<Value>> getElements() const override {
        COrvoValue::Elements elements(new ORVValSlist<Value>);
        const auto own = _value->getElements();
        for (const Value& element : *own) {
            elements->append(Value(new OtherValue(element)));
        }
        return elements;
    }
    ORVString toString() const override { return std::string_view(std::string(_value->toString().view())); }

private:
    const Value _value;
};

class OtherProperty : public IOrvoProperty {
public:
    explicit OtherProperty(const ORVSmrPtr<IOrvoProperty>& property) : _property(property) {}
    ORVString getName() const override { return std::string_view(std::string(_property->getName().view())); }
    Value getValue() const override { return Value(new OtherValue(_property->getValue())); }

private:
    const ORVSmrPtr<IOrvoProperty> _property;
};

class OtherObject : public IOrvoObject {
public:
    explicit OtherObject(const ORVSmrPtr<IOrvoObject>& object) : _object(object) {}
    ORVString getClassName() const override { return _object->getClassName(); }
    ORVSmrPtr<IOrvoInstanceName> getInstanceName() const override { return _object->getInstanceName(); }
    unsigned int getPropertyCount() const override { return _object->getPropertyCount(); }
    ORVSmrPtr<IOrvoProperty> getProperty(unsigned int position) const override {
        return ORVSmrPtr<IOrvoProperty>(new OtherProperty(_object->getProperty(position)));
    }
    ORVSmrPtr<IOrvoProperty> getProperty(const ORVString& name) const override {
        return ORVSmrPtr<IOrvoProperty>(new OtherProperty(_object->getProperty(name)));
    }

private:
    const ORVSmrPtr<IOrvoObject> _object;
};

ORVSmrPtr<IOrvoObject> OtherValue::getInstance() const {
    return ORVSmrPtr<IOrvoObject>(new OtherObject(_value->getInstance()));
}

TEST(CIMXMLWriter, WritesTheClassesOfAHostAsItWritesItsOwn) {
    auto* own = new COrvoObject("CIM_A", {});
    const ORVSmrPtr<IOrvoObject> handle(own);
    int number = 0;
    for (const Value& value :
         {make("t<e>&\"x\""), make(""), make(true), make(7u, COrvoType::uint8), make(1.5, COrvoType::real64),
          make(std::int64_t{-7}, COrvoType::sint64), make(0.1, COrvoType::real32), makeReference(),
          COrvoValue::parse("20261120151918.123456+060", COrvoType::datetime),
          COrvoValue::null(COrvoType::uint8), COrvoValue::null(COrvoType::reference),
          makeInstance("CIM_B", "Inner", make("<deep>")), makeArray(COrvoType::reference, makeReference()),
          makeArray(COrvoType::string, make("a"), COrvoValue::null(COrvoType::string)),
          makeArray(COrvoType::instance, makeInstance("CIM_C", "P", make("&")))}) {
        own->setProperty(ORVString("P" + std::to_string(number++)), value);
    }
    std::string expected;
    CIMXMLWriter(expected).instance(*handle);
    std::string written;
    CIMXMLWriter(written).instance(OtherObject(handle));
    EXPECT_EQ(written, expected);
    EXPECT_EQ(number, 15);

    for (unsigned int position = 0; position < own->getPropertyCount(); ++position) {
        const Value value = own->getProperty(position)->getValue();
        std::string ownText, otherText;
        CIMXMLWriter(ownText).value(*value);
        CIMXMLWriter(otherText).value(OtherValue(value));
        EXPECT_EQ(otherText, ownText);
    }
}

}  // namespace
}  // namespace velm

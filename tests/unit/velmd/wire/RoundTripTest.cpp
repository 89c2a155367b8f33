// What is written is read back unchanged: every type, arrays, NULL, references, embedded instances, odd
// characters.

#include "foundation/object_model/COrvoInstanceName.h"
#include "foundation/object_model/COrvoObject.h"
#include "tests/support/DTDCheck.h"
#include "tests/unit/velmd/model/ClassBuilders.h"
#include "tests/unit/velmd/wire/WireSupport.h"
#include "velmd/model/ClassTree.h"
#include "velmd/wire/CIMReader.h"
#include "velmd/wire/CIMWriter.h"

#include <limits>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using namespace velm;
using namespace velm::test;
using Object = ORVSmrPtr<IOrvoObject>;
using Name = ORVSmrPtr<IOrvoInstanceName>;

Value makeArray(const std::vector<Value>& values, const Type& type) {
    COrvoValue::Elements elements(new ORVValSlist<Value>);
    for (const Value& value : values) {
        elements->append(value);
    }
    return makeValue(elements, type);
}

Name makeName(const char* nameSpace, const char* className,
              const std::vector<std::pair<const char*, Value>>& keys) {
    COrvoInstanceName::KeyBindings bindings;
    for (const auto& [name, value] : keys) {
        bindings.append({name, value});
    }
    return Name(new COrvoInstanceName(nameSpace, className, bindings));
}

Value makeInstance(const std::vector<std::pair<const char*, Value>>& properties) {
    auto* object = new COrvoObject("EX_Inner", nullptr);
    const Object handle(object);
    for (const auto& [name, value] : properties) {
        object->setProperty(name, value);
    }
    return makeValue(handle);
}

Value text(const std::string& content) {
    return makeValue(ORVString(content));
}

template <class Number>
void addLimits(std::vector<Value>& values, const Type& type) {
    values.push_back(
        COrvoValue::parse(std::string_view(std::to_string(std::numeric_limits<Number>::min())), type));
    values.push_back(
        COrvoValue::parse(std::string_view(std::to_string(std::numeric_limits<Number>::max())), type));
}

template <class Real>
void addReals(std::vector<Value>& values, const Type& type) {
    using Limits = std::numeric_limits<Real>;
    for (const Real number :
         {Real(0), -Real(0), Real(0.1), Real(1) / Real(3), Limits::max(), Limits::lowest(), Limits::min(),
          Limits::denorm_min(), Limits::infinity(), -Limits::infinity(), Limits::quiet_NaN()}) {
        values.push_back(makeValue(static_cast<double>(number), type));
    }
}

/// Texts that an XML reader or an escaping gone wrong would change.
std::vector<Value> oddTexts() {
    std::vector<Value> values;
    for (const char* content : {"",
                                " ",
                                "  a  ",
                                "\n",
                                "\r",
                                "\r\n",
                                "\t",
                                "a\r\nb\rc\nd\te",
                                "<",
                                ">",
                                "&",
                                "\"",
                                "'",
                                "&amp;",
                                "&lt;&#13;",
                                "<![CDATA[x]]>",
                                "]]>",
                                "<!-- x -->",
                                "<?xml?>",
                                "<INSTANCE CLASSNAME=\"A\"/>",
                                "\\",
                                "\\\"",
                                "{a, b}",
                                "NULL",
                                "\x7F",
                                "\xC2\x85",
                                "\xE2\x80\xA8",
                                "\xEF\xBB\xBF",
                                "\xEF\xBF\xBD",
                                "\xC3\x84\xE2\x82\xAC\xF0\x9F\x98\x80"}) {
        values.push_back(makeValue(content));
    }
    values.push_back(text(std::string(20000, '&')));
    return values;
}

std::vector<Value> scalars() {
    std::vector<Value> values = oddTexts();
    values.insert(values.end(), {makeValue(true), makeValue(false)});
    addLimits<std::uint8_t>(values, COrvoType::uint8);
    addLimits<std::int8_t>(values, COrvoType::sint8);
    addLimits<std::uint16_t>(values, COrvoType::uint16);
    addLimits<std::int16_t>(values, COrvoType::sint16);
    addLimits<std::uint32_t>(values, COrvoType::uint32);
    addLimits<std::int32_t>(values, COrvoType::sint32);
    addLimits<std::uint64_t>(values, COrvoType::uint64);
    addLimits<std::int64_t>(values, COrvoType::sint64);
    addReals<float>(values, COrvoType::real32);
    addReals<double>(values, COrvoType::real64);
    for (const char* content : {"a", " ", "\n", "\r", "<", "&", "\xE2\x82\xAC"}) {
        values.push_back(COrvoValue::parse(content, COrvoType::char16));
    }
    for (const char* content :
         {"20261120151918.123456+060", "20261120151918.12****-300", "99999999235959.000000:000"}) {
        values.push_back(COrvoValue::parse(content, COrvoType::datetime));
    }
    return values;
}

std::vector<Value> references() {
    std::vector<Value> values{makeValue(makeName("", "EX_A", {})),
                              makeValue(makeName("root/cimv2", "EX_A", {}))};
    std::vector<std::pair<std::string, Value>> keys;
    for (const Value& key : scalars()) {
        values.push_back(makeValue(makeName("root", "EX_A", {{"k", key}, {"second", makeValue("x")}})));
    }
    const Value inner = makeValue(
        makeName("interop", "EX_B", {{"a", makeValue("q\"\\")}, {"b", makeValue(1U, COrvoType::uint8)}}));
    values.push_back(makeValue(makeName("root", "EX_A", {{"to", inner}})));
    values.push_back(
        makeValue(makeName("", "EX_A", {{"to", makeValue(makeName("", "EX_B", {{"to", inner}}))}})));
    return values;
}

std::vector<Value> everyValue() {
    std::vector<Value> values = scalars();
    const std::vector<Value> plain = values;
    for (const Value& value : plain) {
        const auto type = value->getType();
        values.push_back(makeArray({value, COrvoValue::null(type), value}, type));
    }
    for (const Type& type : {COrvoType::boolean, COrvoType::string, COrvoType::char16, COrvoType::uint8,
                             COrvoType::sint8, COrvoType::uint16, COrvoType::sint16, COrvoType::uint32,
                             COrvoType::sint32, COrvoType::uint64, COrvoType::sint64, COrvoType::real32,
                             COrvoType::real64, COrvoType::datetime, COrvoType::instance}) {
        values.push_back(COrvoValue::null(type));
        values.push_back(COrvoValue::null(COrvoType::arrayOf(type)));
        values.push_back(makeArray({}, type));
        values.push_back(makeArray({COrvoValue::null(type)}, type));
    }
    values.push_back(COrvoValue::null(COrvoType::reference));
    const std::vector<Value> ends = references();
    values.insert(values.end(), ends.begin(), ends.end());
    return values;
}

/// Each value, then each of them embedded, one level and three levels deep.
std::vector<Value> everyValueAtEveryDepth() {
    std::vector<Value> values = everyValue();
    const std::vector<Value> plain = values;
    for (const Value& value : plain) {
        const Value embedded = makeInstance({{"inner", value}, {"next", makeValue("x")}});
        values.push_back(embedded);
        values.push_back(makeArray({embedded, COrvoValue::null(COrvoType::instance)}, COrvoType::instance));
        values.push_back(makeInstance({{"i", makeInstance({{"i", embedded}})}}));
    }
    return values;
}

TEST(RoundTrip, OfStoredInstancesIsLossless) {
    for (const Value& value : everyValueAtEveryDepth()) {
        COrvoObject object("EX_A", nullptr);
        object.setProperty("before", makeValue("b"));
        object.setProperty("value", value);
        std::string xml;
        writeStoredInstance(xml, object);
        ASSERT_EQ(describe(*readInstance(parse(xml))), describe(object));
    }
}

CIMProperty propertyFor(const Value& value) {
    const auto type = value->getType();
    const bool embeds = type->getName().view() == "instance";
    const Type plain = type->isArray() ? COrvoType::arrayOf(COrvoType::string) : COrvoType::string;
    CIMProperty property = makeProperty("value", embeds ? plain : type);
    property.embedding = embeds ? CIMEmbedding::instance : CIMEmbedding::none;
    return property;
}

TEST(RoundTrip, OfInstancesForClientsIsLossless) {
    std::string all;
    for (const Value& value : everyValueAtEveryDepth()) {
        COrvoObject object("EX_A", nullptr);
        object.setProperty("value", value);
        std::string xml;
        writeInstance(xml, object, makeClass("EX_A", "", {propertyFor(value)}), {});
        ASSERT_EQ(describe(*readInstance(parse(xml))), describe(object));
        all += xml;
    }
    EXPECT_EQ(dtdProblem("<CIM CIMVERSION=\"2.0\" DTDVERSION=\"2.0\"><MESSAGE ID=\"1\" "
                         "PROTOCOLVERSION=\"1.0\"><SIMPLERSP><IMETHODRESPONSE NAME=\"m\">"
                         "<IRETURNVALUE>" +
                         all + "</IRETURNVALUE></IMETHODRESPONSE></SIMPLERSP></MESSAGE></CIM>"),
              "");
}

TEST(RoundTrip, OfNamesIsLossless) {
    for (const Value& reference : references()) {
        const auto name = reference->getReference();
        std::string xml;
        writeInstanceName(xml, *name);
        const auto back = readInstanceName(parse(xml));
        EXPECT_EQ(back->getKeyProperties(), name->getKeyProperties());
        EXPECT_EQ(describe(*makeValue(back)).find("root:"), std::string::npos);
        if (name->getNameSpace().length() != 0) {
            xml.clear();
            writeInstancePath(xml, *name, "host");
            EXPECT_EQ(describe(*readInstanceName(parse(xml))), describe(*name));
        }
    }
}

CIMSelection everything() {
    CIMSelection selection;
    selection.includeClassOrigin = true;
    return selection;
}

/// Every value as the default of a property and, where a qualifier may have it, of a qualifier.
CIMClass classOfEverything() {
    CIMClass declaration = makeClass("EX_Every", "EX_Top");
    unsigned int count = 0;
    for (const Value& value : everyValue()) {
        const std::string number = std::to_string(++count);
        const std::string type(value->getType()->getName().view());
        if (type != "instance") {
            declaration.properties.push_back(makeProperty("p" + number, value->getType()));
            declaration.properties.back().value = value;
            declaration.properties.back().classOrigin = count % 2 == 0 ? "EX_Top" : "EX_Every";
            declaration.properties.back().isPropagated = count % 2 == 0;
        }
        // Without a value, nothing tells an array from a scalar.
        if (type != "instance" && type != "reference" && !(value->isNull() && value->getType()->isArray())) {
            declaration.qualifiers.push_back(makeQualifier(
                "q" + number, value, {count % 2 == 0, count % 3 == 0, count % 5 == 0, count % 7 == 0}));
            declaration.qualifiers.back().isPropagated = count % 4 == 0;
        }
    }
    declaration.properties.back().qualifiers = declaration.qualifiers;
    CIMParameter parameter{
        "a", COrvoType::arrayOf(COrvoType::sint8), 5, "", CIMEmbedding::none, declaration.qualifiers};
    CIMParameter reference{"r", COrvoType::arrayOf(COrvoType::reference), {}, "EX_Every", CIMEmbedding::none,
                           {}};
    declaration.methods = {
        {"m", COrvoType::real64, "EX_Top", true, declaration.qualifiers, {parameter, reference}},
        {"n", nullptr, "EX_Every", false, {}, {}}};
    return declaration;
}

TEST(RoundTrip, OfClassesIsLossless) {
    const CIMClass declaration = classOfEverything();
    std::string xml;
    writeClass(xml, declaration, everything());
    EXPECT_EQ(describe(readClass(parse(xml))), describe(declaration));
    EXPECT_EQ(dtdProblem("<CIM CIMVERSION=\"2.0\" DTDVERSION=\"2.0\"><DECLARATION><DECLGROUP><VALUE.OBJECT>" +
                         xml + "</VALUE.OBJECT></DECLGROUP></DECLARATION></CIM>"),
              "");
}

TEST(RoundTrip, OfQualifierDeclarationsIsLossless) {
    std::string all;
    for (const Value& value : everyValue()) {
        const auto type = value->getType();
        if (type->getName().view() == "instance" || type->getName().view() == "reference") {
            continue;
        }
        for (const unsigned int scopes : {0U, 1U, 64U, 127U}) {
            CIMQualifierDeclaration declaration{
                "Q", type, {}, scopes, {scopes == 0, scopes == 1, scopes == 64, scopes == 127}, value};
            declaration.arraySize = type->isArray() && scopes == 1 ? std::optional(9U) : std::nullopt;
            std::string xml;
            writeQualifierDeclaration(xml, declaration);
            ASSERT_EQ(describe(readQualifierDeclaration(parse(xml))), describe(declaration));
            all += xml;
        }
    }
    EXPECT_EQ(dtdProblem("<CIM CIMVERSION=\"2.0\" DTDVERSION=\"2.0\"><DECLARATION><DECLGROUP>" + all +
                         "</DECLGROUP></DECLARATION></CIM>"),
              "");
}

}  // namespace

#include "foundation/services/CIMUtil.h"

#include "foundation/object_model/COrvoInstanceName.h"
#include "foundation/object_model/COrvoObject.h"
#include "foundation/object_model/COrvoValue.h"

#include <locale>
#include <sstream>
#include <string>

#include <gtest/gtest.h>

namespace {

std::string header(int messageID) {
    std::ostringstream stream;
    CIMUtil::StreamMessageHeader(stream, messageID);
    return stream.str();
}

std::string valueOf(IOrvoValue& value, bool withElement, bool withNameSpace) {
    std::ostringstream stream;
    CIMUtil::StreamValue(stream, value, withElement, withNameSpace);
    return stream.str();
}

unsigned long messageIDOf(const std::string& text) {
    const std::string before = "<MESSAGE ID=\"";
    return std::stoul(text.substr(text.find(before) + before.size()));
}

TEST(CIMUtil, OpensTheMessage) {
    EXPECT_EQ(header(4711),
              "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n"
              "<CIM CIMVERSION=\"2.0\" DTDVERSION=\"2.0\"><MESSAGE ID=\"4711\" PROTOCOLVERSION=\"1.0\">");
}

TEST(CIMUtil, CountsMessages_WhenTheIDIsZero) {
    const unsigned long first = messageIDOf(header(0));
    EXPECT_GT(first, 0u);
    EXPECT_EQ(messageIDOf(header(0)), first + 1);
    header(99);
    EXPECT_EQ(messageIDOf(header(0)), first + 2);
}

TEST(CIMUtil, ClosesTheMessage) {
    std::ostringstream stream;
    CIMUtil::StreamMessageTrailer(stream);
    EXPECT_EQ(stream.str(), "</MESSAGE></CIM>");
}

TEST(CIMUtil, WritesUint32) {
    COrvoValue value(4294967295u, COrvoType::uint32);
    EXPECT_EQ(valueOf(value, true, false), "<VALUE>4294967295</VALUE>");
    EXPECT_EQ(valueOf(value, false, false), "4294967295");
}

TEST(CIMUtil, EscapesText_WithAndWithoutElement) {
    COrvoValue value("<&>");
    EXPECT_EQ(valueOf(value, true, true), "<VALUE>&lt;&amp;&gt;</VALUE>");
    EXPECT_EQ(valueOf(value, false, true), "&lt;&amp;&gt;");
}

TEST(CIMUtil, WritesNothing_WhenTheValueIsNull) {
    for (const auto& type : {COrvoType::string, COrvoType::reference, COrvoType::arrayOf(COrvoType::uint8)}) {
        const ORVSmrPtr<IOrvoValue> null = COrvoValue::null(type);
        EXPECT_EQ(valueOf(*null, true, true), "");
        EXPECT_EQ(valueOf(*null, false, true), "");
    }
}

TEST(CIMUtil, WritesReferenceWithItsElement_WhateverWasAsked) {
    COrvoValue value(
        ORVSmrPtr<IOrvoInstanceName>(new COrvoInstanceName("root", "C", COrvoInstanceName::KeyBindings())));
    const std::string name = "<INSTANCENAME CLASSNAME=\"C\"></INSTANCENAME>";
    for (const bool withElement : {true, false}) {
        EXPECT_EQ(valueOf(value, withElement, false), "<VALUE.REFERENCE>" + name + "</VALUE.REFERENCE>");
        EXPECT_EQ(valueOf(value, withElement, true),
                  "<VALUE.REFERENCE><LOCALINSTANCEPATH><LOCALNAMESPACEPATH><NAMESPACE NAME=\"root\"/>"
                  "</LOCALNAMESPACEPATH>" +
                      name + "</LOCALINSTANCEPATH></VALUE.REFERENCE>");
    }
}

TEST(CIMUtil, WritesArray) {
    COrvoValue::Elements elements(new ORVValSlist<ORVSmrPtr<IOrvoValue>>);
    elements->append(ORVSmrPtr<IOrvoValue>(new COrvoValue("a")));
    COrvoValue value(elements, COrvoType::string);
    EXPECT_EQ(valueOf(value, true, true), "<VALUE.ARRAY><VALUE>a</VALUE></VALUE.ARRAY>");
    EXPECT_EQ(valueOf(value, false, true), "<VALUE.ARRAY><VALUE>a</VALUE></VALUE.ARRAY>");
}

TEST(CIMUtil, WritesEmbeddedInstanceEscaped) {
    COrvoValue value(ORVSmrPtr<IOrvoObject>(new COrvoObject("E", {})));
    EXPECT_EQ(valueOf(value, true, true), "<VALUE>&lt;INSTANCE CLASSNAME=\"E\"&gt;&lt;/INSTANCE&gt;</VALUE>");
}

/// Writes 1234567.5 as 1.234.567,5.
class GroupedNumbers : public std::numpunct<char> {
protected:
    char do_decimal_point() const override { return ','; }
    char do_thousands_sep() const override { return '.'; }
    std::string do_grouping() const override { return "\3"; }
};

TEST(CIMUtil, IgnoresFormatAndLocale) {
    const std::locale grouped(std::locale::classic(), new GroupedNumbers);
    const std::locale before = std::locale::global(grouped);
    std::ostringstream stream;
    stream.imbue(grouped);
    stream.setf(std::ios::hex | std::ios::showbase);
    stream.width(40);
    COrvoValue integer(1234567u, COrvoType::uint32);
    COrvoValue real(1234567.5, COrvoType::real64);
    CIMUtil::StreamValue(stream, integer, true, false);
    CIMUtil::StreamValue(stream, real, true, false);
    CIMUtil::StreamMessageHeader(stream, 123456);
    std::locale::global(before);
    EXPECT_EQ(stream.str().substr(0, 51), "<VALUE>1234567</VALUE><VALUE>1234567.5</VALUE><?xml");
    EXPECT_NE(stream.str().find("ID=\"123456\""), std::string::npos);
}

}  // namespace

#include "velmctl/client/ExportMessage.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace velm;
using testing::ElementsAre;

namespace {

std::string messageWith(const std::string& properties) {
    return R"(<?xml version="1.0" encoding="utf-8"?><CIM CIMVERSION="2.0" DTDVERSION="2.0"><MESSAGE ID="4711" )"
           R"(PROTOCOLVERSION="1.0"><SIMPLEEXPREQ><EXPMETHODCALL NAME="ExportIndication"><EXPPARAMVALUE )"
           R"(NAME="NewIndication"><INSTANCE CLASSNAME="CIM_InstModification">)" +
           properties + "</INSTANCE></EXPPARAMVALUE></EXPMETHODCALL></SIMPLEEXPREQ></MESSAGE></CIM>";
}

std::string property(const std::string& name, const std::string& value) {
    return "<PROPERTY NAME=\"" + name + "\" TYPE=\"string\"><VALUE>" + value + "</VALUE></PROPERTY>";
}

}  // namespace

TEST(ExportMessage, TellsWhatHappened) {
    const std::string document = messageWith(
        property("IndicationType", "1") + property("IndicationTime", "20261121190650.250000+060") +
        property("SourceInstanceModelPath", "root/x:A.Name=\"n\"") +
        R"(<PROPERTY.ARRAY NAME="ChangedPropertyNames" TYPE="string"><VALUE.ARRAY><VALUE>P</VALUE><VALUE>Q</VALUE>)"
        R"(</VALUE.ARRAY></PROPERTY.ARRAY>)");
    const ExportMessage message = ExportMessage::parse(document);
    EXPECT_EQ(message.messageID, "4711");
    EXPECT_EQ(message.indicationClass, "CIM_InstModification");
    EXPECT_EQ(message.event, "Change");
    EXPECT_EQ(message.objectClass, "A");
    EXPECT_EQ(message.objectName(), "n");
    EXPECT_THAT(message.changedProperties, ElementsAre("P", "Q"));
    EXPECT_EQ(message.document, document);
    EXPECT_EQ(message.time, parseTimestamp("20261121180650.250000+000"));
    EXPECT_EQ(message.describe(), "Change       A                          n  (P, Q)");
}

TEST(ExportMessage, TakesTheKindForWhatEveryoneIsToldAs128) {
    const auto message = ExportMessage::parse(
        messageWith(property("IndicationType", "128") + property("IndicationKind", "Destruction")));
    EXPECT_EQ(message.event, "Destruction");
}

TEST(ExportMessage, ShowsAPathThatIsNoneAsItCame) {
    const auto message =
        ExportMessage::parse(messageWith(property("SourceInstanceModelPath", "root/x:A.k=")));
    EXPECT_EQ(message.objectClass, "");
    EXPECT_EQ(message.objectName(), "root/x:A.k=");
    EXPECT_EQ(message.time, std::nullopt);
}

TEST(ExportMessage, IsRefused_WhenItIsNone) {
    for (const char* document : {"", "hello", "<CIM/>", "<MESSAGE/>",
                                 "<CIM><MESSAGE><SIMPLEEXPREQ/></MESSAGE></CIM>", "<!DOCTYPE CIM><CIM/>"}) {
        EXPECT_THROW(ExportMessage::parse(document), std::runtime_error) << document;
    }
}

TEST(Timestamp, IsRefused_WhenItIsNone) {
    for (const char* text :
         {"", "20261121190650.250000", "20261321190650.250000+000", "20261121250650.250000+000",
          "00000001000000.000000:000", "2026112119065*.250000+000"}) {
        EXPECT_EQ(parseTimestamp(text), std::nullopt) << text;
    }
}

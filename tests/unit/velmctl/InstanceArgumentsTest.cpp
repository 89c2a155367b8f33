#include "velmctl/commands/InstanceArguments.h"

#include "velmctl/commands/CommandLineMistake.h"
#include "velmd/wire/CIMReader.h"
#include "velmd/wire/XMLElement.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace velm;
using testing::ElementsAre;
using testing::HasSubstr;

namespace {

CIMClass sampler() {
    const char* key = R"(<QUALIFIER NAME="Key" TYPE="boolean"><VALUE>TRUE</VALUE></QUALIFIER>)";
    const std::string document =
        std::string(R"(<CLASS NAME="EX_Sampler"><PROPERTY NAME="CreationClassName" TYPE="string">)") + key +
        R"(</PROPERTY><PROPERTY NAME="Id" TYPE="uint8">)" + key +
        R"(</PROPERTY><PROPERTY NAME="Caption" TYPE="string"></PROPERTY>)"
        R"(<PROPERTY NAME="IsOn" TYPE="boolean"></PROPERTY>)"
        R"(<PROPERTY.ARRAY NAME="Marks" TYPE="sint16"></PROPERTY.ARRAY>)"
        R"(<PROPERTY.REFERENCE NAME="Owner" REFERENCECLASS="EX_Sampler"></PROPERTY.REFERENCE></CLASS>)";
    return readClass(readXMLTree(document, 1U << 20U, 64));
}

std::string textOf(const TypedInstance& instance, const char* property) {
    const auto found = instance.object->getProperty(ORVString(property));
    return found.IsNull() ? "absent" : std::string(found->getValue()->toString().view());
}

std::string mistakeIn(const std::vector<std::string>& arguments, const std::vector<std::string>& nulls = {}) {
    try {
        readTypedInstance(sampler(), arguments, nulls);
    } catch (const CommandLineMistake& mistake) {
        return mistake.what();
    }
    return "none";
}

}  // namespace

TEST(TypedInstance, HasTheTypesOfItsClass) {
    const auto instance = readTypedInstance(sampler(), {"id=200", "caption=a=b", "ISON=false", "Marks=-1",
                                                        "Marks=0x10", "Owner=root/x:EX_Sampler.Id=3"});
    EXPECT_EQ(instance.name->toString(), "EX_Sampler.CreationClassName=\"EX_Sampler\",Id=200");
    EXPECT_EQ(instance.object->getProperty(ORVString("Id"))->getValue()->getType()->getName(), "uint8");
    EXPECT_EQ(textOf(instance, "Caption"), "a=b");
    EXPECT_EQ(textOf(instance, "IsOn"), "FALSE");
    EXPECT_EQ(textOf(instance, "Marks"), "{-1, 16}");
    EXPECT_EQ(textOf(instance, "Owner"), "root/x:EX_Sampler.Id=3");
    EXPECT_THAT(instance.properties, ElementsAre("Caption", "IsOn", "Marks", "Owner"));
}

TEST(TypedInstance, HasItsClassAsCreationClassName_UnlessAnotherIsGiven) {
    EXPECT_EQ(textOf(readTypedInstance(sampler(), {"Id=1"}), "CreationClassName"), "EX_Sampler");
    EXPECT_EQ(textOf(readTypedInstance(sampler(), {"Id=1", "CreationClassName=x"}), "CreationClassName"),
              "x");
}

TEST(TypedInstance, TakesAnEmptyText) {
    EXPECT_EQ(textOf(readTypedInstance(sampler(), {"Id=1", "Caption="}), "Caption"), "");
}

TEST(TypedInstance, HasPropertiesWithoutAValue_WhenTheyAreNamed) {
    const auto instance = readTypedInstance(sampler(), {"Id=1"}, {"caption", "Marks"});
    EXPECT_TRUE(instance.object->getProperty(ORVString("Caption"))->getValue()->isNull());
    EXPECT_TRUE(instance.object->getProperty(ORVString("Marks"))->getValue()->getType()->isArray());
    EXPECT_THAT(instance.properties, ElementsAre("Caption", "Marks"));
    EXPECT_THAT(mistakeIn({"Id=1"}, {"Id"}), HasSubstr("Id is a key"));
    EXPECT_THAT(mistakeIn({"Id=1", "Caption=x"}, {"Caption"}), HasSubstr("Caption is given twice"));
    EXPECT_THAT(mistakeIn({"Id=1"}, {"Caption", "Caption"}), HasSubstr("Caption is given twice"));
    EXPECT_THAT(mistakeIn({"Id=1"}, {"Captoin"}), HasSubstr("did you mean 'Caption'?"));
}

TEST(TypedInstance, IsRefused_WhenAnArgumentMakesNoSense) {
    EXPECT_THAT(mistakeIn({"Id"}), HasSubstr("'Id' is not NAME=VALUE"));
    EXPECT_THAT(mistakeIn({"=1"}), HasSubstr("is not NAME=VALUE"));
    EXPECT_THAT(mistakeIn({"Id=256"}), HasSubstr("Id: "));
    EXPECT_THAT(mistakeIn({"Id=1", "IsOn=perhaps"}), HasSubstr("IsOn: "));
    EXPECT_THAT(mistakeIn({"Id=1", "Owner=nowhere"}), HasSubstr("'nowhere' names no instance"));
    EXPECT_THAT(mistakeIn({"Id=1", "Owner=root/x:A.k="}), HasSubstr("Owner: "));
    EXPECT_THAT(mistakeIn({"Id=1", "Captoin=x"}),
                HasSubstr("no property 'Captoin'; did you mean 'Caption'?"));
    EXPECT_THAT(mistakeIn({"Id=1", "Id=2"}), HasSubstr("Id is given twice"));
    EXPECT_THAT(mistakeIn({"Caption=x"}), HasSubstr("keys that are not given: Id; add Id=VALUE"));
}

#include "foundation/object_model/COrvoObject.h"

#include "foundation/containers/ORVBoundsException.h"
#include "foundation/object_model/COrvoProperty.h"
#include "tests/unit/server/object_model/ModelSupport.h"

#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using testing::ElementsAre;
using velm::test::instanceName;
using velm::test::str;
using velm::test::value;

std::vector<std::string> content(const IOrvoObject& object) {
    std::vector<std::string> result;
    for (unsigned int position = 0; position < object.getPropertyCount(); ++position) {
        auto property = object.getProperty(position);
        result.push_back(str(property->getName()) + "=" + str(property->getValue()->toString()));
    }
    return result;
}

ORVSmrPtr<IOrvoObject> asInterface(const ORVSmrPtr<COrvoObject>& object) {
    ORVSmrPtr<IOrvoObject> result;
    ForceCopySmrPtr(result, object);
    return result;
}

TEST(Object, KnowsClassAndName) {
    auto name = instanceName("root:A.k=1");
    COrvoObject object("A", name);
    EXPECT_EQ(str(object.getClassName()), "A");
    EXPECT_EQ(object.getInstanceName(), name);
    EXPECT_EQ(object.getPropertyCount(), 0U);
}

TEST(Object, MayHaveNoClassAndNoName) {
    COrvoObject object(ORVString(), nullptr);
    EXPECT_TRUE(object.getClassName().isNull());
    EXPECT_TRUE(object.getInstanceName().IsNull());
}

TEST(Object, PutsReferencesFirst_WhateverTheOrderOfAddition) {
    auto reference = value(instanceName("root:B"));
    COrvoObject object("A", nullptr);
    object.setProperty("a", value("1"));
    object.setProperty("right", reference);
    object.setProperty("b", value("2"));
    object.setProperty("left", COrvoValue::null(COrvoType::reference));
    EXPECT_THAT(content(object), ElementsAre("right=root:B", "left=NULL", "a=1", "b=2"));
}

TEST(Object, ReplacesAProperty_LetterCaseIgnored) {
    COrvoObject object("A", nullptr);
    object.setProperty("Name", value("1"));
    object.setProperty("Other", value("2"));
    object.setProperty("NAME", value("3"));
    EXPECT_THAT(content(object), ElementsAre("Name=3", "Other=2"));
}

TEST(Object, MovesAProperty_WhenItBecomesAReferenceOrCeasesToBeOne) {
    auto reference = value(instanceName("root:B"));
    COrvoObject object("A", nullptr);
    object.setProperty("a", value("1"));
    object.setProperty("b", value("2"));
    object.setProperty("r", reference);
    object.setProperty("b", reference);
    EXPECT_THAT(content(object), ElementsAre("r=root:B", "b=root:B", "a=1"));
    object.setProperty("r", value("3"));
    EXPECT_THAT(content(object), ElementsAre("b=root:B", "a=1", "r=3"));
    object.setProperty("s", reference);
    EXPECT_THAT(content(object), ElementsAre("b=root:B", "s=root:B", "a=1", "r=3"));
}

TEST(Object, FindsAProperty_LetterCaseIgnored) {
    COrvoObject object("A", nullptr);
    object.setProperty("Name", value("1"));
    EXPECT_EQ(str(object.getProperty("nAME")->getValue()->getString()), "1");
    EXPECT_TRUE(object.getProperty("Names").IsNull());
}

TEST(Object, ThrowsBounds_WhenPositionIsOutside) {
    COrvoObject object("A", nullptr);
    EXPECT_THROW(object.getProperty(0U), ORVBoundsException);
    object.setProperty("a", value("1"));
    EXPECT_NO_THROW(object.getProperty(0U));
    EXPECT_THROW(object.getProperty(1U), ORVBoundsException);
}

TEST(Object, RefusesNullHandle_AndStaysAsItWas) {
    COrvoObject object("A", nullptr);
    object.setProperty("a", value("1"));
    EXPECT_THROW(object.setProperty("a", nullptr), ORVNullPointerException);
    EXPECT_THAT(content(object), ElementsAre("a=1"));
}

class ObjectCopy : public testing::TestWithParam<bool> {
protected:
    ORVSmrPtr<COrvoObject> inner{new COrvoObject("Inner", nullptr)};
    ORVSmrPtr<COrvoObject> outer{new COrvoObject("Outer", instanceName("root:Outer.k=1"))};

    void SetUp() override {
        inner->setProperty("x", value("old"));
        outer->setProperty("text", value("t"));
        outer->setProperty("embedded", value(asInterface(inner)));
        outer->setProperty("none", COrvoValue::null(COrvoType::instance));
        COrvoValue::Elements list(new ORVValSlist<ORVSmrPtr<IOrvoValue>>);
        list->append(value(asInterface(inner)));
        list->append(COrvoValue::null(COrvoType::instance));
        outer->setProperty("list", value(list, COrvoType::instance));
        outer->setProperty("reference", value(instanceName("root:B")));
    }
};

TEST_P(ObjectCopy, HasTheSameContent_AndChangesAlone) {
    COrvoObject copy(*outer, GetParam());
    EXPECT_EQ(str(copy.getClassName()), "Outer");
    EXPECT_EQ(copy.getInstanceName(), outer->getInstanceName());
    EXPECT_EQ(content(copy), content(*outer));
    outer->setProperty("text", value("changed"));
    EXPECT_EQ(str(copy.getProperty("text")->getValue()->getString()), "t");
}

TEST_P(ObjectCopy, SharesEmbeddedInstances_UnlessDeep) {
    COrvoObject copy(*outer, GetParam());
    inner->setProperty("x", value("new"));
    std::string expected = GetParam() ? "old" : "new";
    EXPECT_EQ(str(copy.getProperty("embedded")->getValue()->toString()),
              "instance of Inner {x = " + expected + "}");
    EXPECT_EQ(str(copy.getProperty("list")->getValue()->toString()),
              "{instance of Inner {x = " + expected + "}, NULL}");
}

TEST_P(ObjectCopy, CopiesACopyAsDeeply) {
    const COrvoObject shallow(*outer, false);
    COrvoObject copy(shallow, GetParam());
    inner->setProperty("x", value("new"));
    EXPECT_EQ(str(copy.getProperty("embedded")->getValue()->toString()),
              std::string("instance of Inner {x = ") + (GetParam() ? "old" : "new") + "}");
    EXPECT_TRUE(copy.getProperty(0)->getValue()->getType()->isReference());
    copy.setProperty("second", value(instanceName("root:C")));
    EXPECT_EQ(str(copy.getProperty(1)->getName()), "second") << "references still come first";
}

/// An object of another class, whose properties come in no order and some of them twice.
class ForeignObject : public IOrvoObject {
public:
    std::vector<ORVSmrPtr<IOrvoProperty>> properties;

    ORVString getClassName() const override { return "Foreign"; }
    ORVSmrPtr<IOrvoInstanceName> getInstanceName() const override { return nullptr; }
    unsigned int getPropertyCount() const override { return static_cast<unsigned int>(properties.size()); }
    ORVSmrPtr<IOrvoProperty> getProperty(unsigned int position) const override {
        return properties.at(position);
    }
    ORVSmrPtr<IOrvoProperty> getProperty(const ORVString&) const override { return nullptr; }
};

TEST_P(ObjectCopy, PutsTheProperties_OfAnotherClassInOrder) {
    ForeignObject foreign;
    for (const auto& [name, text] : {std::pair{"b", value("1")},
                                     {"r", value(instanceName("root:B"))},
                                     {"B", value("2")},
                                     {"a", value("3")}}) {
        foreign.properties.emplace_back(new COrvoProperty(name, text));
    }
    EXPECT_THAT(content(COrvoObject(foreign, GetParam())), ElementsAre("r=root:B", "b=2", "a=3"));
}

INSTANTIATE_TEST_SUITE_P(Depth, ObjectCopy, testing::Bool(),
                         [](const auto& row) { return row.param ? "Deep" : "Shallow"; });

}  // namespace

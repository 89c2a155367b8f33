#include "foundation/object_model/COrvoHelper.h"

#include "tests/unit/server/object_model/ModelSupport.h"

#include <initializer_list>

#include <gtest/gtest.h>

namespace {

using velm::test::instanceName;
using velm::test::value;

bool isAssociation(std::initializer_list<ORVSmrPtr<IOrvoValue>> values) {
    ORVSmrPtr<COrvoObject> object(new COrvoObject("A", nullptr));
    char name[] = "a";
    for (const auto& held : values) {
        object->setProperty(name, held);
        ++name[0];
    }
    ORVSmrPtr<IOrvoObject> handle;
    ForceCopySmrPtr(handle, object);
    return COrvoHelper::isAssociation(handle);
}

TEST(Helper, TellsAssociations_ByTwoReferences) {
    auto reference = value(instanceName("root:B.k=1"));
    auto none = COrvoValue::null(COrvoType::reference);
    auto text = value("root:B.k=1");
    EXPECT_TRUE(isAssociation({reference, reference}));
    EXPECT_TRUE(isAssociation({text, reference, text, reference}));
    EXPECT_TRUE(isAssociation({reference, reference, reference}));
    EXPECT_TRUE(isAssociation({reference, reference, none}));
    EXPECT_FALSE(isAssociation({}));
    EXPECT_FALSE(isAssociation({reference}));
    EXPECT_FALSE(isAssociation({text, text}));
    EXPECT_FALSE(isAssociation({reference, text}));
    EXPECT_FALSE(isAssociation({reference, none}));
    EXPECT_FALSE(isAssociation({none, reference}));
}

TEST(Helper, IsNoAssociation_WhenTheReferencesAreArrays) {
    COrvoValue::Elements list(new ORVValSlist<ORVSmrPtr<IOrvoValue>>);
    auto array = value(list, COrvoType::reference);
    EXPECT_FALSE(isAssociation({array, array}));
}

TEST(Helper, Throws_WhenThereIsNoObject) {
    EXPECT_THROW(COrvoHelper::isAssociation(nullptr), ORVNullPointerException);
}

}  // namespace

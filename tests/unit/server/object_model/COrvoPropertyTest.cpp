#include "foundation/object_model/COrvoProperty.h"

#include "tests/unit/server/object_model/ModelSupport.h"

#include <gtest/gtest.h>

namespace {

using velm::test::value;

TEST(Property, HoldsNameAndValue) {
    auto held = value("x");
    COrvoProperty property("Name", held);
    EXPECT_EQ(property.getName(), ORVString("Name"));
    EXPECT_EQ(property.getValue(), held);
}

TEST(Property, RefusesNullHandle) {
    EXPECT_THROW(COrvoProperty("Name", nullptr), ORVNullPointerException);
}

}  // namespace

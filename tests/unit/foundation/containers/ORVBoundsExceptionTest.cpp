#include "foundation/containers/ORVBoundsException.h"

#include "foundation/containers/ORVValSlist.h"
#include "foundation/handles/ORVSmrPtr.h"
#include "foundation/object_model/IOrvoObject.h"

#include <gtest/gtest.h>

TEST(BoundsException, TellsOutOfBoundsAndCodeZero) {
    const ORVBoundsException failure;
    const OrvoBaseException& asBase = failure;
    EXPECT_EQ(asBase.getMessage(), "Out of Bounds");
    EXPECT_EQ(asBase.getCode(), 0);
    EXPECT_EQ(asBase.getType(), "ORVBoundsException");
    EXPECT_TRUE(asBase.getInstances().IsNull());
}

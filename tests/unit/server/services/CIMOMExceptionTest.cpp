#include "foundation/services/CIMOMException.h"

#include "foundation/containers/ORVValSlist.h"
#include "foundation/object_model/IOrvoObject.h"

#include <gtest/gtest.h>

namespace {

TEST(CIMOMException, TellsWhoMessageAndCode) {
    const CIMOMException e("CIndicationManager", "The Class X is not a recognized class.", 5);
    EXPECT_EQ(e.getType(), "CIMOMException");
    EXPECT_EQ(e.getWho(), "CIndicationManager");
    EXPECT_EQ(e.getMessage(), "The Class X is not a recognized class.");
    EXPECT_EQ(e.getCode(), 5);
    EXPECT_TRUE(e.getInstances().IsNull());
}

TEST(CIMOMException, IsCaughtAsItsBase) {
    try {
        throw CIMOMException("who", "what", 1);
    } catch (const OrvoBaseException& e) {
        EXPECT_EQ(e.getType(), "CIMOMException");
        EXPECT_EQ(e.getMessage(), "what");
    }
}

}  // namespace

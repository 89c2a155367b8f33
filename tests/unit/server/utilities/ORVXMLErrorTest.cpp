#include "foundation/utilities/ORVXMLError.h"

#include "foundation/utilities/OrvoBaseException.h"

#include <type_traits>

#include <gtest/gtest.h>

TEST(XMLError, TellsItsMessage) {
    EXPECT_EQ(ORVXMLError("line 1, column 2: no end tag").GetErrorMessage(), "line 1, column 2: no end tag");
}

TEST(XMLError, IsNotCaughtAsABaseException) {
    EXPECT_FALSE((std::is_base_of_v<OrvoBaseException, ORVXMLError>));
}

#include "foundation/utilities/OrvoBaseException.h"

#include "foundation/containers/ORVValSlist.h"
#include "foundation/handles/ORVSmrPtr.h"
#include "foundation/object_model/IOrvoObject.h"

#include <cstdint>
#include <cstring>

#include <gtest/gtest.h>

namespace {

/// The number of a virtual operation in the table that every compiler of this platform lays out, counted in
/// pointers.
template <class Operation>
std::uintptr_t slotOf(Operation operation) {
    std::uintptr_t representation = 0;
    std::memcpy(&representation, &operation, sizeof representation);
    return (representation - 1) / sizeof(void*);
}

}  // namespace

TEST(BaseException, KeepsWhatItWasGiven) {
    const OrvoBaseException failure("place", "component", "message", 42);
    EXPECT_EQ(failure.getType(), "OrvoBaseException");
    EXPECT_EQ(failure.getWhere(), "place");
    EXPECT_EQ(failure.getWho(), "component");
    EXPECT_EQ(failure.getMessage(), "message");
    EXPECT_EQ(failure.getCode(), 42);
    EXPECT_TRUE(failure.getInstances().IsNull());
}

TEST(BaseException, IsCaughtAsTheBase_WhateverIsThrown) {
    EXPECT_THROW(throw ORVNullPointerException("operator->()"), OrvoBaseException);
    EXPECT_THROW(throw ORVTypeException("place", "message"), OrvoBaseException);
    EXPECT_THROW(throw ORVNetException("place", "message"), OrvoBaseException);
}

TEST(BaseException, TellsItsTypeAndMessage_WhenCaughtAsTheBase) {
    const ORVNullPointerException null("operator*()");
    const ORVTypeException type("getUint32", "is a string");
    const ORVNetException net("connect", "refused", 111);
    const OrvoBaseException* failures[] = {&null, &type, &net};
    EXPECT_EQ(failures[0]->getType(), "ORVNullPointerException");
    EXPECT_EQ(failures[0]->getMessage(), "operator*()");
    EXPECT_EQ(failures[1]->getType(), "ORVTypeException");
    EXPECT_EQ(failures[1]->getWhere(), "getUint32");
    EXPECT_EQ(failures[1]->getMessage(), "is a string");
    EXPECT_EQ(failures[2]->getType(), "ORVNetException");
    EXPECT_EQ(failures[2]->getWhere(), "connect");
    EXPECT_EQ(failures[2]->getMessage(), "refused");
    EXPECT_EQ(failures[2]->getCode(), 111);
    EXPECT_EQ(ORVNetException("connect", "refused").getCode(), 0);
}

#if defined(__x86_64__)
TEST(BaseException, KeepsTheOrderOfItsVirtualOperations) {
    // The destructor takes the first two slots.
    EXPECT_EQ(slotOf(&OrvoBaseException::getType), 2U);
    EXPECT_EQ(slotOf(&OrvoBaseException::getWhere), 3U);
    EXPECT_EQ(slotOf(&OrvoBaseException::getWho), 4U);
    EXPECT_EQ(slotOf(&OrvoBaseException::getMessage), 5U);
    EXPECT_EQ(slotOf(&OrvoBaseException::getCode), 6U);
    EXPECT_EQ(slotOf(&OrvoBaseException::getInstances), 7U);
}
#endif

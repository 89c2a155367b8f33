#include "foundation/object_model/COrvoType.h"

#include "tests/unit/server/object_model/ModelSupport.h"

#include <gtest/gtest.h>

namespace {

/// Built before main(), in whatever order the sources come.
struct EarlyUser {
    EarlyUser() : name(COrvoType::uint32->getName()), value(new COrvoValue(7U, COrvoType::uint32)) {}

    ORVString name;
    ORVSmrPtr<IOrvoValue> value;
};

[[gnu::init_priority(200)]] EarlyUser earlyUser;

TEST(Type, IsReady_WhenStaticObjectsAreMade) {
    EXPECT_EQ(earlyUser.name, ORVString("uint32"));
    EXPECT_EQ(earlyUser.value->getUint32(), 7U);
}

struct NamedType {
    const ORVSmrPtr<IOrvoType>& type;
    const char* name;
};

const NamedType allTypes[] = {
    {COrvoType::boolean, "boolean"},  {COrvoType::string, "string"},     {COrvoType::char16, "char16"},
    {COrvoType::uint8, "uint8"},      {COrvoType::sint8, "sint8"},       {COrvoType::uint16, "uint16"},
    {COrvoType::sint16, "sint16"},    {COrvoType::uint32, "uint32"},     {COrvoType::sint32, "sint32"},
    {COrvoType::uint64, "uint64"},    {COrvoType::sint64, "sint64"},     {COrvoType::real32, "real32"},
    {COrvoType::real64, "real64"},    {COrvoType::datetime, "datetime"}, {COrvoType::reference, "reference"},
    {COrvoType::instance, "instance"}};

TEST(Type, KnowsItsName) {
    for (const auto& [type, name] : allTypes) {
        EXPECT_EQ(type->getName(), ORVString(name));
        EXPECT_FALSE(type->isArray());
        EXPECT_EQ(type->isReference(), type == COrvoType::reference);
    }
}

TEST(Type, IsFoundByName_InAnyLetterCase) {
    for (const auto& [type, name] : allTypes) {
        EXPECT_EQ(COrvoType::fromName(name), type);
    }
    EXPECT_EQ(COrvoType::fromName("UINT8"), COrvoType::uint8);
    EXPECT_EQ(COrvoType::fromName("DateTime"), COrvoType::datetime);
    EXPECT_TRUE(COrvoType::fromName("uint").IsNull());
    EXPECT_TRUE(COrvoType::fromName("").IsNull());
    EXPECT_TRUE(COrvoType::fromName(ORVString()).IsNull());
}

TEST(Type, HasOneArrayType) {
    for (const auto& [type, name] : allTypes) {
        auto array = COrvoType::arrayOf(type);
        EXPECT_TRUE(array->isArray());
        EXPECT_FALSE(array->isReference());
        EXPECT_EQ(array->getName(), ORVString(name));
        EXPECT_EQ(array, COrvoType::arrayOf(type));
    }
}

TEST(Type, HasNoArrayOfArrays) {
    auto message = velm::test::messageOf<ORVTypeException>(
        [] { COrvoType::arrayOf(COrvoType::arrayOf(COrvoType::string)); });
    EXPECT_EQ(message, "there are no arrays of 'string[]'");
    EXPECT_THROW(COrvoType::arrayOf(nullptr), ORVNullPointerException);
}

TEST(Type, IsReference_WhateverTheLetterCase) {
    EXPECT_TRUE(COrvoType("Reference", false).isReference());
    EXPECT_FALSE(COrvoType("Reference", true).isReference());
    EXPECT_EQ(COrvoType("Boolean", false).getName(), ORVString("Boolean"));
}

}  // namespace

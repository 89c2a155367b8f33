#include "foundation/object_model/COrvoValue.h"

#include "tests/unit/server/object_model/ModelSupport.h"

#include <cmath>
#include <limits>
#include <string>
#include <type_traits>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using testing::AllOf;
using testing::HasSubstr;
using velm::test::instanceName;
using velm::test::messageOf;
using velm::test::str;
using velm::test::value;
using Type = ORVSmrPtr<IOrvoType>;

static_assert(!std::is_constructible_v<COrvoValue, ORVSmrPtr<IOrvoValue>>, "a handle is no boolean");
static_assert(!std::is_constructible_v<COrvoValue, ORVSmrPtr<IOrvoType>>, "a handle is no boolean");

ORVSmrPtr<IOrvoValue> parse(const char* text, const char* type) {
    return COrvoValue::parse(text, COrvoType::fromName(type));
}

struct Parsed {
    const char* type;
    const char* text;
    /// What the value writes.
    const char* written;
};

class ValueParses : public testing::TestWithParam<Parsed> {};

TEST_P(ValueParses, AndWritesCanonicalText) {
    const auto& [type, text, written] = GetParam();
    auto parsed = parse(text, type);
    EXPECT_FALSE(parsed->isNull());
    EXPECT_EQ(str(parsed->getType()->getName()), type);
    EXPECT_EQ(str(parsed->toString()), written) << text;
    EXPECT_EQ(str(parsed->getString()), written) << text;
    EXPECT_EQ(str(parse(written, type)->toString()), written);
}

INSTANTIATE_TEST_SUITE_P(
    Texts, ValueParses,
    testing::Values(
        Parsed{"boolean", "TRUE", "TRUE"}, Parsed{"boolean", "true", "TRUE"},
        Parsed{"boolean", "FaLsE", "FALSE"}, Parsed{"boolean", "\n TRUE\t\r\n", "TRUE"},
        Parsed{"string", "", ""}, Parsed{"string", " a b ", " a b "}, Parsed{"string", "NULL", "NULL"},
        Parsed{"char16", "x", "x"}, Parsed{"char16", " ", " "}, Parsed{"char16", "\xC3\xA4", "\xC3\xA4"},
        Parsed{"char16", "\xE2\x82\xAC", "\xE2\x82\xAC"}, Parsed{"uint8", "0", "0"},
        Parsed{"uint8", "255", "255"}, Parsed{"uint8", "0xFF", "255"}, Parsed{"uint8", "+7", "7"},
        Parsed{"uint8", "-0", "0"}, Parsed{"uint8", " 7\n", "7"}, Parsed{"sint8", "-128", "-128"},
        Parsed{"sint8", "127", "127"}, Parsed{"sint8", "-0x80", "-128"}, Parsed{"uint16", "65535", "65535"},
        Parsed{"sint16", "-32768", "-32768"}, Parsed{"sint16", "32767", "32767"},
        Parsed{"uint32", "4294967295", "4294967295"}, Parsed{"sint32", "-2147483648", "-2147483648"},
        Parsed{"sint32", "2147483647", "2147483647"},
        Parsed{"uint64", "18446744073709551615", "18446744073709551615"},
        Parsed{"uint64", "0Xffffffffffffffff", "18446744073709551615"},
        Parsed{"sint64", "-9223372036854775808", "-9223372036854775808"},
        Parsed{"sint64", "9223372036854775807", "9223372036854775807"}, Parsed{"sint32", "00012", "12"},
        Parsed{"real32", "0.1", "0.1"}, Parsed{"real32", "3.4028235E38", "3.4028235e+38"},
        Parsed{"real64", "0.1", "0.1"}, Parsed{"real64", "1", "1.0"}, Parsed{"real64", "-1.5e3", "-1500.0"},
        Parsed{"real64", "+2.5", "2.5"}, Parsed{"real64", "1e300", "1.0e+300"},
        Parsed{"real64", "1.7976931348623157E+308", "1.7976931348623157e+308"},
        Parsed{"real64", "5e-324", "5.0e-324"}, Parsed{"real64", "-inf", "-INF"},
        Parsed{"real32", "INF", "INF"}, Parsed{"real64", "nan", "NaN"},
        Parsed{"datetime", "20261120151918.123456+000", "20261120151918.123456+000"},
        Parsed{"datetime", " 20261120151918.123456-720 ", "20261120151918.123456-720"},
        Parsed{"datetime", "20261120******.******+000", "20261120******.******+000"},
        Parsed{"datetime", "20261120151918.123***+060", "20261120151918.123***+060"},
        Parsed{"datetime", "**************.******+000", "**************.******+000"},
        Parsed{"datetime", "00000001020304.000005:000", "00000001020304.000005:000"},
        Parsed{"datetime", "99999999235959.999999:000", "99999999235959.999999:000"},
        Parsed{"datetime", "0000000102****.******:000", "0000000102****.******:000"}));

class ValueRefuses : public testing::TestWithParam<std::pair<const char*, const char*>> {};

TEST_P(ValueRefuses, TextAndNamesTextAndType) {
    const auto& [type, text] = GetParam();
    EXPECT_EQ(messageOf<ORVTypeException>([input = text, wanted = type] { parse(input, wanted); }),
              "'" + std::string(text) + "' is no value of type " + type);
}

INSTANTIATE_TEST_SUITE_P(
    Texts, ValueRefuses,
    testing::Values(std::pair{"boolean", ""}, std::pair{"boolean", "1"}, std::pair{"boolean", "TRUEE"},
                    std::pair{"boolean", "yes"}, std::pair{"char16", ""}, std::pair{"char16", "ab"},
                    std::pair{"char16", "\xF0\x9F\x98\x80"}, std::pair{"char16", "\x80"},
                    std::pair{"char16", "\xC3"}, std::pair{"char16", "\xC3("}, std::pair{"uint8", "256"},
                    std::pair{"uint8", "-1"}, std::pair{"uint8", ""}, std::pair{"uint8", "x"},
                    std::pair{"uint8", "1 2"}, std::pair{"uint8", "0x"}, std::pair{"uint8", "0x100"},
                    std::pair{"uint8", "+-1"}, std::pair{"uint8", "--1"}, std::pair{"uint8", "1.0"},
                    std::pair{"sint8", "128"}, std::pair{"sint8", "-129"}, std::pair{"uint16", "65536"},
                    std::pair{"sint16", "32768"}, std::pair{"sint16", "-32769"},
                    std::pair{"uint32", "4294967296"}, std::pair{"sint32", "2147483648"},
                    std::pair{"sint32", "-2147483649"}, std::pair{"uint64", "18446744073709551616"},
                    std::pair{"uint64", "-1"}, std::pair{"sint64", "9223372036854775808"},
                    std::pair{"sint64", "-9223372036854775809"}, std::pair{"real32", "1e39"},
                    std::pair{"real64", "1e309"}, std::pair{"real64", ""}, std::pair{"real64", "1.5x"},
                    std::pair{"real64", "0x10"}, std::pair{"real64", "infinity"},
                    std::pair{"real64", "nan(1)"}, std::pair{"real64", "+-1.0"}, std::pair{"datetime", ""},
                    std::pair{"datetime", "20261120151918.123456+00"},
                    std::pair{"datetime", "20261320151918.123456+000"},
                    std::pair{"datetime", "20261100151918.123456+000"},
                    std::pair{"datetime", "20261120241918.123456+000"},
                    std::pair{"datetime", "20261120156018.123456+000"},
                    std::pair{"datetime", "2026112015191 .123456+000"},
                    std::pair{"datetime", "20261120151918,123456+000"},
                    std::pair{"datetime", "20261120151918.123456 000"},
                    std::pair{"datetime", "20261120151918.123456+0*0"},
                    std::pair{"datetime", "2026****151918.123456+000"},
                    std::pair{"datetime", "2026112015191*.******+000"},
                    std::pair{"datetime", "20261120151918.1*3456+000"},
                    std::pair{"datetime", "00000001240304.000005:000"},
                    std::pair{"datetime", "00000001020304.000005:060"},
                    std::pair{"datetime", "*************.*******+000"}, std::pair{"reference", "root:A"},
                    std::pair{"instance", "<INSTANCE/>"}));

TEST(Value, IsNull_WhenParsedFromTheNullString) {
    auto parsed = COrvoValue::parse(ORVString(), COrvoType::uint8);
    EXPECT_TRUE(parsed->isNull());
    EXPECT_EQ(parsed->getType(), COrvoType::uint8);
}

TEST(Value, IsNotParsed_AsAnArray) {
    EXPECT_EQ(
        messageOf<ORVTypeException>([] { COrvoValue::parse("1", COrvoType::arrayOf(COrvoType::uint8)); }),
        "a value of type uint8[] is not written as one text");
}

struct Limits {
    const Type& type;
    std::int64_t lowest;
    std::uint64_t highest;
};

const Limits integerLimits[] = {
    {COrvoType::uint8, 0, 255},
    {COrvoType::sint8, -128, 127},
    {COrvoType::uint16, 0, 65535},
    {COrvoType::sint16, -32768, 32767},
    {COrvoType::uint32, 0, 4294967295U},
    {COrvoType::sint32, std::numeric_limits<std::int32_t>::min(), 2147483647},
    {COrvoType::uint64, 0, std::numeric_limits<std::uint64_t>::max()},
    {COrvoType::sint64, std::numeric_limits<std::int64_t>::min(), 9223372036854775807U}};

TEST(Value, HoldsTheLimitsOfItsType_AndNothingBeyond) {
    for (const auto& [type, lowest, highest] : integerLimits) {
        EXPECT_EQ(value(lowest, type)->getSint64(), lowest);
        EXPECT_EQ(value(highest, type)->getUint64(), highest);
        if (lowest > std::numeric_limits<std::int64_t>::min()) {
            EXPECT_THROW(COrvoValue(lowest - 1, type), ORVTypeException) << type->getName();
        }
        if (highest < std::numeric_limits<std::uint64_t>::max()) {
            EXPECT_THROW(COrvoValue(highest + 1, type), ORVTypeException) << type->getName();
        }
    }
    EXPECT_EQ(messageOf<ORVTypeException>([] { COrvoValue(300U, COrvoType::uint8); }),
              "300 does not fit type uint8");
}

TEST(Value, IsNoInteger_WhenTypeIsNone) {
    for (const auto& type : {COrvoType::string, COrvoType::boolean, COrvoType::real32, COrvoType::reference,
                             COrvoType::arrayOf(COrvoType::uint8)}) {
        EXPECT_THAT(messageOf<ORVTypeException>([&type] { COrvoValue(1U, type); }),
                    HasSubstr("is no integer type"));
    }
    EXPECT_THROW(COrvoValue(1U, Type()), ORVNullPointerException);
}

TEST(Value, KeepsRealsAsTheirTypeDoes) {
    EXPECT_EQ(value(0.1, COrvoType::real64)->getReal64(), 0.1);
    EXPECT_EQ(value(0.1, COrvoType::real32)->getReal64(), static_cast<double>(0.1F));
    EXPECT_EQ(str(value(0.1, COrvoType::real32)->toString()), "0.1");
    EXPECT_TRUE(std::isinf(value(std::numeric_limits<double>::infinity(), COrvoType::real32)->getReal64()));
    EXPECT_THROW(COrvoValue(1e39, COrvoType::real32), ORVTypeException);
    EXPECT_THROW(COrvoValue(1.0, COrvoType::uint8), ORVTypeException);
}

TEST(Value, ConvertsBetweenIntegers_WhenTheNumberFits) {
    auto small = value(200U, COrvoType::uint8);
    EXPECT_EQ(small->getSint32(), 200);
    EXPECT_EQ(small->getUint32(), 200U);
    EXPECT_EQ(small->getSint64(), 200);
    EXPECT_EQ(small->getUint64(), 200U);
    auto negative = value(std::int64_t{-1}, COrvoType::sint16);
    EXPECT_EQ(negative->getSint32(), -1);
    EXPECT_EQ(messageOf<ORVTypeException>([&] { negative->getUint32(); }),
              "-1 of type sint16 does not fit uint32");
    EXPECT_EQ(messageOf<ORVTypeException>([&] { negative->getUint64(); }),
              "-1 of type sint16 does not fit uint64");
    auto large = value(std::uint64_t{1} << 63U, COrvoType::uint64);
    EXPECT_THROW(large->getSint64(), ORVTypeException);
    EXPECT_THROW(large->getUint32(), ORVTypeException);
    EXPECT_THROW(large->getSint32(), ORVTypeException);
}

TEST(Value, ConvertsFromText_WhenItIsExactlyOneLiteral) {
    EXPECT_EQ(value("-5")->getSint32(), -5);
    EXPECT_EQ(value("0x10")->getUint32(), 16U);
    EXPECT_EQ(value("18446744073709551615")->getUint64(), 18446744073709551615U);
    EXPECT_TRUE(value("true")->getBoolean());
    EXPECT_EQ(value("1.5")->getReal64(), 1.5);
    EXPECT_THROW(value("5 ")->getSint32(), ORVTypeException);
    EXPECT_THROW(value("")->getUint32(), ORVTypeException);
    EXPECT_THROW(value("4294967296")->getUint32(), ORVTypeException);
    EXPECT_THROW(parse("5", "char16")->getSint32(), ORVTypeException);
}

TEST(Value, NamesBothTypes_WhenItCannotBeRead) {
    EXPECT_EQ(messageOf<ORVTypeException>([] { value("x")->getBoolean(); }),
              "a value of type string cannot be read as boolean");
    EXPECT_EQ(messageOf<ORVTypeException>([] { value(true)->getUint32(); }),
              "a value of type boolean cannot be read as uint32");
    EXPECT_EQ(messageOf<ORVTypeException>([] { value(1U, COrvoType::uint8)->getBoolean(); }),
              "a value of type uint8 cannot be read as boolean");
    EXPECT_EQ(messageOf<ORVTypeException>([] { value(1U, COrvoType::uint8)->getReal64(); }),
              "a value of type uint8 cannot be read as real64");
    EXPECT_EQ(messageOf<ORVTypeException>([] { value("root:A")->getReference(); }),
              "a value of type string cannot be read as reference");
    EXPECT_EQ(messageOf<ORVTypeException>([] { value("x")->getInstance(); }),
              "a value of type string cannot be read as instance");
    EXPECT_EQ(messageOf<ORVTypeException>([] { value("x")->getElements(); }),
              "a value of type string cannot be read as an array");
}

TEST(Value, SaysNothing_WhenNull) {
    for (const char* name : {"boolean", "string", "uint8", "real64", "datetime", "reference", "instance"}) {
        auto none = COrvoValue::null(COrvoType::fromName(name));
        EXPECT_TRUE(none->isNull());
        EXPECT_EQ(str(none->getType()->getName()), name);
        EXPECT_TRUE(none->getString().isNull());
        EXPECT_EQ(str(none->toString()), "NULL");
        EXPECT_THROW(none->getBoolean(), ORVTypeException);
        EXPECT_THROW(none->getSint32(), ORVTypeException);
        EXPECT_THROW(none->getReal64(), ORVTypeException);
        EXPECT_THROW(none->getReference(), ORVTypeException);
        EXPECT_THROW(none->getInstance(), ORVTypeException);
    }
    EXPECT_EQ(messageOf<ORVTypeException>([] { COrvoValue::null(COrvoType::uint8)->getUint32(); }),
              "NULL of type uint8 cannot be read as uint32");
    EXPECT_TRUE(COrvoValue::null(COrvoType::arrayOf(COrvoType::uint8))->getType()->isArray());
}

TEST(Value, LendsTheTextThatItWrites_WhenItHasOne) {
    COrvoValue::Digits digits;
    const auto lent = [&digits](const COrvoValue& value) { return value.lentText(digits); };
    EXPECT_EQ(lent(COrvoValue("text")), "text");
    EXPECT_EQ(lent(COrvoValue(true)), "TRUE");
    EXPECT_EQ(lent(COrvoValue(false)), "FALSE");
    for (const auto& [type, lowest, highest] : integerLimits) {
        const COrvoValue least(lowest, type);
        const COrvoValue most(highest, type);
        EXPECT_EQ(lent(least), least.toString().view());
        EXPECT_EQ(lent(most), most.toString().view());
    }
    EXPECT_EQ(lent(COrvoValue("")), "");
    EXPECT_NE(lent(COrvoValue("")).data(), nullptr);
    EXPECT_EQ(lent(COrvoValue(1.5, COrvoType::real64)).data(), nullptr);
    EXPECT_EQ(lent(COrvoValue(ORVString())).data(), nullptr);
    EXPECT_EQ(lent(COrvoValue(instanceName("root:CIM_A.Id=\"1\""))).data(), nullptr);
}

TEST(Value, DistinguishesNullAndEmptyText) {
    EXPECT_TRUE(value(ORVString())->isNull());
    EXPECT_EQ(value(ORVString())->getType(), COrvoType::string);
    EXPECT_FALSE(value("")->isNull());
    EXPECT_FALSE(value("")->getString().isNull());
    EXPECT_TRUE(value(static_cast<const char*>(nullptr))->isNull());
}

TEST(Value, HoldsReferences) {
    auto name = instanceName("root:A.k=\"1\"");
    auto reference = value(name);
    EXPECT_TRUE(reference->getType()->isReference());
    EXPECT_EQ(reference->getReference(), name);
    EXPECT_EQ(reference->toString(), name->toString());
    EXPECT_EQ(reference->getString(), name->toString());
    EXPECT_THROW(COrvoValue(ORVSmrPtr<IOrvoInstanceName>()), ORVNullPointerException);
}

TEST(Value, HoldsEmbeddedInstances) {
    ORVSmrPtr<COrvoObject> object(new COrvoObject("A", nullptr));
    object->setProperty("x", value("1"));
    object->setProperty("y", value(true));
    ORVSmrPtr<IOrvoObject> instance;
    ForceCopySmrPtr(instance, object);
    auto embedded = value(instance);
    EXPECT_EQ(embedded->getType(), COrvoType::instance);
    EXPECT_EQ(embedded->getInstance(), instance);
    EXPECT_EQ(str(embedded->toString()), "instance of A {x = 1, y = TRUE}");
    EXPECT_THROW(COrvoValue(ORVSmrPtr<IOrvoObject>()), ORVNullPointerException);
}

COrvoValue::Elements elements(std::initializer_list<ORVSmrPtr<IOrvoValue>> values) {
    COrvoValue::Elements list(new ORVValSlist<ORVSmrPtr<IOrvoValue>>);
    for (const auto& element : values) {
        list->append(element);
    }
    return list;
}

TEST(Value, HoldsArrays_InOrder) {
    auto array =
        value(elements({value("b"), COrvoValue::null(COrvoType::string), value("a")}), COrvoType::string);
    EXPECT_EQ(array->getType(), COrvoType::arrayOf(COrvoType::string));
    ASSERT_EQ(array->getElements()->entries(), 3U);
    EXPECT_EQ(str(array->getElements()->at(0)->getString()), "b");
    EXPECT_EQ(str(array->toString()), "{b, NULL, a}");
    EXPECT_EQ(str(value(elements({}), COrvoType::uint8)->toString()), "{}");
    EXPECT_THROW(array->getSint32(), ORVTypeException);
}

TEST(Value, RefusesArrays_OfMixedTypes) {
    EXPECT_EQ(messageOf<ORVTypeException>([] {
                  value(elements({value("a"), value(true)}), COrvoType::string);
              }),
              "an element of type boolean in an array of string");
    auto inner = value(elements({}), COrvoType::string);
    EXPECT_EQ(messageOf<ORVTypeException>([&inner] { value(elements({inner}), COrvoType::string); }),
              "an element of type string[] in an array of string");
    EXPECT_THROW(value(elements({nullptr}), COrvoType::string), ORVNullPointerException);
    EXPECT_THROW(value(COrvoValue::Elements(), COrvoType::string), ORVNullPointerException);
    EXPECT_THROW(value(elements({}), COrvoType::arrayOf(COrvoType::string)), ORVTypeException);
}

}  // namespace

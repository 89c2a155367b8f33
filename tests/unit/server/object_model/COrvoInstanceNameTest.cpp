#include "foundation/object_model/COrvoInstanceName.h"

#include "tests/unit/server/object_model/ModelSupport.h"

#include <algorithm>
#include <map>
#include <random>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using testing::HasSubstr;
using velm::test::instanceName;
using velm::test::messageOf;
using velm::test::str;
using velm::test::value;

using Key = std::pair<const char*, ORVSmrPtr<IOrvoValue>>;

COrvoInstanceName::KeyBindings keys(const std::vector<Key>& pairs) {
    COrvoInstanceName::KeyBindings result;
    for (const auto& [name, key] : pairs) {
        result.append({name, key});
    }
    return result;
}

COrvoInstanceName named(const std::vector<Key>& pairs) {
    return {"root/cimv2", "A", keys(pairs)};
}

TEST(InstanceName, KnowsItsParts) {
    COrvoInstanceName name("root/cimv2", "CIM_DataFile", "Name", "/etc/passwd");
    EXPECT_EQ(str(name.getNameSpace()), "root/cimv2");
    EXPECT_EQ(str(name.getClassName()), "CIM_DataFile");
    EXPECT_EQ(str(name.getKeyProperties()), "Name=\"/etc/passwd\"");
    EXPECT_EQ(str(name.toString()), "root/cimv2:CIM_DataFile.Name=\"/etc/passwd\"");
    ASSERT_EQ(name.getKeyBindings()->entries(), 1U);
    EXPECT_EQ(str(name.getKeyBindings()->at(0).name), "Name");
    EXPECT_EQ(str(name.getKeyBindings()->at(0).value->getString()), "/etc/passwd");
}

struct ToldCase {
    const char* what;
    ORVSmrPtr<IOrvoInstanceName> name;
    bool isTold;
};

ORVSmrPtr<IOrvoInstanceName> name(const char* nameSpace, const char* className,
                                  const std::vector<Key>& pairs) {
    return ORVSmrPtr<IOrvoInstanceName>(new COrvoInstanceName(nameSpace, className, keys(pairs)));
}

std::vector<ToldCase> toldCases() {
    const auto odd = value("a \"b\" \\ .:=,");
    return {{"one key", instanceName("root/cimv2:A.k=\"v\""), true},
            {"several keys", name("root/cimv2", "A", {{"b", value("2")}, {"a", value("1")}}), true},
            {"separators in a value", name("root/cimv2", "A", {{"b", odd}, {"a", odd}}), true},
            {"separators in the namespace", name("root/a.b,c", "A", {{"k", value("v")}}), true},
            {"no namespace", name("", "A", {{"k", odd}}), true},
            {"no keys", name("root/cimv2", "A", {}), true},
            {"a class alone", name("", "A", {}), true},
            {"an empty value", name("root/cimv2", "A", {{"k", value("")}}), true},
            {"no class", name("root/cimv2", "", {{"k", value("v")}}), false},
            {"a number", name("root/cimv2", "A", {{"k", value(2U, COrvoType::uint8)}}), false},
            {"a boolean among strings", name("", "A", {{"k", value(true)}, {"l", value("v")}}), false}};
}

void expectEqual(const IOrvoInstanceName& one, const IOrvoInstanceName& other) {
    EXPECT_EQ(one.toString(), other.toString());
    EXPECT_EQ(one.getNameSpace(), other.getNameSpace());
    EXPECT_EQ(one.getClassName(), other.getClassName());
    EXPECT_EQ(one.getKeyProperties(), other.getKeyProperties());
    const auto left = one.getKeyBindings();
    const auto right = other.getKeyBindings();
    ASSERT_EQ(left->entries(), right->entries());
    for (unsigned int key = 0; key < left->entries(); ++key) {
        EXPECT_EQ(left->at(key).name, right->at(key).name);
        EXPECT_EQ(left->at(key).value->toString(), right->at(key).value->toString());
        EXPECT_EQ(left->at(key).value->getType(), right->at(key).value->getType());
    }
}

TEST(InstanceName, IsToldByItsText_WhenItHasAClassAndItsKeysAreStrings) {
    for (const ToldCase& told : toldCases()) {
        EXPECT_EQ(COrvoInstanceName::isToldByText(*told.name), told.isTold) << told.what;
        told.name->getKeyBindings();
        EXPECT_EQ(COrvoInstanceName::isToldByText(*told.name), told.isTold) << told.what << ", keys read";
    }
}

TEST(InstanceName, GivesAnEqualName_WhenMadeAgainFromItsTextOrParts) {
    for (const ToldCase& told : toldCases()) {
        if (told.isTold) {
            SCOPED_TRACE(told.what);
            expectEqual(*COrvoInstanceName::ofText(told.name->toString()), *told.name);
            expectEqual(*COrvoInstanceName::ofParts(told.name->getNameSpace(), told.name->getClassName(),
                                                    told.name->getKeyProperties()),
                        *told.name);
        }
    }
}

TEST(InstanceName, GivesEqualTexts_WhateverTheOrderOfKeys) {
    Key a{"alpha", value("1")};
    Key b{"Beta", value(2U, COrvoType::uint8)};
    Key c{"gamma", value(true)};
    const std::string expected = "root/cimv2:A.alpha=\"1\",Beta=2,gamma=TRUE";
    for (const auto& order :
         std::vector<std::vector<Key>>{{a, b, c}, {a, c, b}, {b, a, c}, {b, c, a}, {c, a, b}, {c, b, a}}) {
        EXPECT_EQ(str(named(order).toString()), expected);
        EXPECT_EQ(str(named(order).getKeyProperties()), "alpha=\"1\",Beta=2,gamma=TRUE");
        EXPECT_EQ(str(named(order).getKeyBindings()->at(1).name), "Beta");
    }
}

TEST(InstanceName, WritesEachKindOfKey) {
    auto reference = value(instanceName("root:B.k=\"a\\\"b\""));
    EXPECT_EQ(str(named({{"s", value("x")}}).getKeyProperties()), "s=\"x\"");
    EXPECT_EQ(str(named({{"s", value("")}}).getKeyProperties()), "s=\"\"");
    EXPECT_EQ(str(named({{"b", value(false)}}).getKeyProperties()), "b=FALSE");
    EXPECT_EQ(str(named({{"i", value(std::int64_t{-5}, COrvoType::sint64)}}).getKeyProperties()), "i=-5");
    EXPECT_EQ(str(named({{"r", value(1.5, COrvoType::real64)}}).getKeyProperties()), "r=1.5");
    EXPECT_EQ(str(named({{"c", COrvoValue::parse("x", COrvoType::char16)}}).getKeyProperties()), "c=\"x\"");
    EXPECT_EQ(str(named({{"r", reference}}).getKeyProperties()), "r=\"root:B.k=\\\"a\\\\\\\"b\\\"\"");
}

TEST(InstanceName, HasEmptyKeyProperties_WhenThereAreNoKeys) {
    auto name = named({});
    EXPECT_FALSE(name.getKeyProperties().isNull());
    EXPECT_EQ(str(name.getKeyProperties()), "");
    EXPECT_EQ(str(name.toString()), "root/cimv2:A");
    EXPECT_TRUE(name.getKeyBindings()->isEmpty());
}

TEST(InstanceName, DropsOuterSlashesOfTheNamespace) {
    EXPECT_EQ(str(COrvoInstanceName("//root/cimv2/", "A", "k", "v").toString()), "root/cimv2:A.k=\"v\"");
    EXPECT_EQ(str(COrvoInstanceName("/", "A", "k", "v").toString()), "A.k=\"v\"");
    EXPECT_EQ(str(COrvoInstanceName(ORVString(), "A", "k", "v").toString()), "A.k=\"v\"");
    EXPECT_FALSE(COrvoInstanceName(ORVString(), ORVString(), keys({})).toString().isNull());
}

TEST(InstanceName, KeepsApart_WhatDiffersInType) {
    EXPECT_NE(named({{"k", value("1")}}).toString(), named({{"k", value(1U, COrvoType::uint8)}}).toString());
    EXPECT_NE(named({{"k", value("TRUE")}}).toString(), named({{"k", value(true)}}).toString());
}

TEST(InstanceName, KeepsApart_WhatAValueTriesToForge) {
    auto forged = named({{"a", value("1\",b=\"2")}});
    auto honest = named({{"a", value("1")}, {"b", value("2")}});
    EXPECT_NE(forged.toString(), honest.toString());
    EXPECT_EQ(str(forged.getKeyProperties()), "a=\"1\\\",b=\\\"2\"");
}

TEST(InstanceName, SurvivesParsing_WithNastyCharacters) {
    for (const char* text :
         {"", " ", "\"", "\\", "\\\"", "\"\"", "a,b=\"c\"", "root:A.k=1", "line\nend\r\ttab", "\x01\x7F",
          "<&>'", "TRUE", "17", "\xC3\xA4\xF0\x9F\x98\x80", "\\\\", "x\\"}) {
        COrvoInstanceName name("root/a.b", "Class_1", "key", text);
        auto parsed = COrvoInstanceName::parse(name.toString());
        EXPECT_EQ(str(parsed->getKeyBindings()->at(0).value->getString()), text);
        EXPECT_EQ(parsed->toString(), name.toString());
        EXPECT_EQ(str(parsed->getNameSpace()), "root/a.b");
        EXPECT_EQ(str(parsed->getClassName()), "Class_1");
    }
}

TEST(InstanceName, SurvivesParsing_WithReferences) {
    ORVSmrPtr<IOrvoInstanceName> inner = instanceName("root:B.x=\"\\\\\",y=\"\\\"\"");
    auto outer = named({{"left", value(inner)}, {"right", value(inner)}});
    auto parsed = COrvoInstanceName::parse(outer.toString());
    EXPECT_EQ(parsed->toString(), outer.toString());
    EXPECT_EQ(instanceName(parsed->getKeyBindings()->at(0).value->getString().data())->toString(),
              inner->toString());
}

TEST(InstanceName, ReadsEachKindOfKey) {
    auto name = instanceName("root:A.b=true,i=-5,l=18446744073709551615,r=1.5,s=\"5\"");
    auto type = [&name](unsigned int index) {
        return str(name->getKeyBindings()->at(index).value->getType()->getName());
    };
    EXPECT_EQ(type(0), "boolean");
    EXPECT_EQ(type(1), "sint64");
    EXPECT_EQ(type(2), "uint64");
    EXPECT_EQ(type(3), "real64");
    EXPECT_EQ(type(4), "string");
    EXPECT_EQ(str(name->toString()), "root:A.b=TRUE,i=-5,l=18446744073709551615,r=1.5,s=\"5\"");
}

TEST(InstanceName, ReadsKeysInAnyOrder_AndNamesWithoutNamespaceOrKeys) {
    EXPECT_EQ(str(instanceName("root:A.b=2,a=1")->toString()), "root:A.a=1,b=2");
    EXPECT_EQ(str(instanceName("A.k=\"x:y\"")->toString()), "A.k=\"x:y\"");
    EXPECT_TRUE(instanceName("A.k=\"x:y\"")->getNameSpace() == ORVString(""));
    EXPECT_EQ(str(instanceName("root:A")->toString()), "root:A");
}

class InstanceNameRefuses : public testing::TestWithParam<std::pair<const char*, const char*>> {};

TEST_P(InstanceNameRefuses, Text) {
    const auto& [text, problem] = GetParam();
    EXPECT_THAT(messageOf<ORVTypeException>([input = text] { instanceName(input); }), HasSubstr(problem));
}

INSTANTIATE_TEST_SUITE_P(
    Texts, InstanceNameRefuses,
    testing::Values(std::pair{"", "'' is no instance name: a class name is missing at character 1"},
                    std::pair{"root:", "a class name is missing"},
                    std::pair{"root:.k=1", "a class name is missing"},
                    std::pair{"root:A.", "a key name and '=' are missing at character 8"},
                    std::pair{"root:A.k", "a key name and '=' are missing"},
                    std::pair{"root:A.=1", "a key name and '=' are missing"},
                    std::pair{"root:A.k=", "neither quoted nor a boolean nor a number"},
                    std::pair{"root:A.k=x", "'root:A.k=x' is no instance name: a key value is neither"},
                    std::pair{"root:A.k=\"x", "the closing quote is missing"},
                    std::pair{"root:A.k=\"x\\", "the closing quote is missing"},
                    std::pair{"root:A.k=\"x\\\"", "the closing quote is missing"},
                    std::pair{"root:A.k=\"x\"y", "',' is missing at character 13"},
                    std::pair{"root:A.k=1,", "a key name and '=' are missing"},
                    std::pair{"root:A.k=1,K=2", "is named twice"},
                    std::pair{"root:A,k=1", "the class name 'A,k=1' holds one of the characters"}));

TEST(InstanceName, RefusesKeys_ThatNameNothing) {
    auto problem = [](const std::vector<Key>& pairs) {
        return messageOf<ORVTypeException>([&pairs] { named(pairs); });
    };
    EXPECT_EQ(problem({{"", value("x")}}), "a key has no name");
    EXPECT_EQ(problem({{nullptr, value("x")}}), "a key has no name");
    EXPECT_EQ(problem({{"k", nullptr}}), "the key 'k' has no value");
    EXPECT_EQ(problem({{"k", COrvoValue::null(COrvoType::string)}}), "the key 'k' has no value");
    EXPECT_EQ(problem({{"k", value("1")}, {"K", value("1")}}), "the key 'K' is named twice");
    ORVSmrPtr<IOrvoObject> object(new COrvoObject("A", nullptr));
    EXPECT_EQ(problem({{"k", value(object)}}), "the key 'k' cannot have a value of type instance");
    COrvoValue::Elements none(new ORVValSlist<ORVSmrPtr<IOrvoValue>>);
    EXPECT_EQ(problem({{"k", value(none, COrvoType::string)}}),
              "the key 'k' cannot have a value of type string[]");
}

TEST(InstanceName, RefusesNames_ThatWouldReadAsAnother) {
    EXPECT_THROW(COrvoInstanceName("root", "A.k", keys({})), ORVTypeException);
    EXPECT_THROW(COrvoInstanceName("root", "A:B", keys({})), ORVTypeException);
    EXPECT_THROW(COrvoInstanceName("root:A", "B", keys({})), ORVTypeException);
    EXPECT_THROW(COrvoInstanceName("root", "A", "a=\"1\",b", "2"), ORVTypeException);
}

TEST(InstanceName, KeepsItsKeyPropertiesInItsText) {
    auto name = named({{"a", value("1")}, {"b", value("2")}});
    EXPECT_EQ(name.getKeyProperties().data(), name.toString().data() + std::string("root/cimv2:A.").size());
    EXPECT_EQ(name.toString().data(), name.toString().data());
}

TEST(InstanceName, SharesNamespaceAndClassNameWithItsMaker) {
    const ORVString nameSpace("root/cimv2");
    const ORVString className("CIM_DataFile");
    COrvoInstanceName name(nameSpace, className, "Name", "/etc/passwd");
    EXPECT_EQ(name.getNameSpace().data(), nameSpace.data());
    EXPECT_EQ(name.getClassName().data(), className.data());
}

TEST(InstanceName, GivesTheSameListOfKeysEachTime) {
    auto name = named({{"a", value("1")}, {"b", value("2")}});
    const auto first = name.getKeyBindings();
    EXPECT_EQ(first, name.getKeyBindings());
    COrvoInstanceName copy(name);
    EXPECT_EQ(copy.getKeyBindings(), first);
    EXPECT_EQ(copy.toString(), name.toString());
}

TEST(InstanceName, KeepsTypesExactly) {
    for (const auto& typed :
         {value(true), value(5U, COrvoType::uint8), value(std::int64_t{5}, COrvoType::sint64),
          value(1.5, COrvoType::real32), COrvoValue::parse("x", COrvoType::char16),
          COrvoValue::parse("20260101000000.000000+000", COrvoType::datetime),
          value(instanceName("root:B.k=\"v\"")), value("text")}) {
        auto name = named({{"a", value("1")}, {"b", typed}});
        const auto keys = name.getKeyBindings();
        EXPECT_EQ(keys->at(0).value->getType(), COrvoType::string);
        EXPECT_EQ(keys->at(1).value->getType(), typed->getType());
        EXPECT_EQ(keys->at(1).value->toString(), typed->toString());
    }
}

TEST(InstanceName, ReadsItsKeysBack_WhateverTheyHold) {
    std::mt19937 random(6);
    constexpr std::string_view letters("a\"\\,=.: \n\0\xC3", 11);
    for (int round = 0; round < 20'000; ++round) {
        std::map<std::string, std::string> given;
        for (const char* key : {"alpha", "Beta", "gamma"}) {
            std::string& text = given[key];
            text.resize(random() % 12);
            std::generate(text.begin(), text.end(), [&] { return letters[random() % letters.size()]; });
        }
        COrvoInstanceName::KeyBindings list;
        for (const auto& [key, text] : given) {
            list.append({std::string_view(key), value(ORVString(std::string_view(text)))});
        }
        std::map<std::string, std::string> read;
        const auto keys = COrvoInstanceName("root", "A", list).getKeyBindings();
        for (const auto& key : *keys) {
            read[str(key.name)] = str(key.value->getString());
        }
        ASSERT_EQ(read, given);
    }
}

TEST(InstanceName, MayBeAskedForItsKeysByManyThreads) {
    for (int round = 0; round < 100; ++round) {
        COrvoInstanceName name("root", "A", "k", "v");
        std::vector<std::jthread> threads;
        for (int i = 0; i < 4; ++i) {
            threads.emplace_back([&name] { EXPECT_EQ(str(name.getKeyBindings()->at(0).name), "k"); });
        }
    }
}

}  // namespace

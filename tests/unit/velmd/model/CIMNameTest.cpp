#include "velmd/model/CIMName.h"

#include "tests/unit/velmd/model/ClassBuilders.h"

#include <string>
#include <unordered_set>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using namespace velm;
using testing::HasSubstr;
using velm::test::refusalOf;

TEST(CIMName, ComparesWithoutRegardToTheCaseOfASCII) {
    EXPECT_TRUE(sameName("CIM_DataFile", "cim_DATAFILE"));
    EXPECT_TRUE(sameName("", ""));
    EXPECT_FALSE(sameName("CIM_DataFile", "CIM_DataFil"));
    EXPECT_FALSE(sameName("a[", "a{"));
    EXPECT_FALSE(sameName("\xC3\x84", "\xC3\xA4")) << "letters beyond ASCII have no other case";
}

TEST(CIMName, FoldsToWhatItComparesAs) {
    EXPECT_EQ(foldedName("CIM_Data@[`Z\xC3\x84"), "cim_data@[`z\xC3\x84");
}

TEST(CIMName, IsFoundInAContainer_WhateverItsLetterCase) {
    const std::unordered_set<std::string, CIMNameHash, CIMNameEqual> names{"CIM_DataFile"};
    EXPECT_TRUE(names.contains(std::string_view("cim_dataFILE")));
    EXPECT_FALSE(names.contains(std::string_view("cim_data")));
}

TEST(CIMName, IsLettersDigitsAndUnderscores_NoDigitFirst) {
    for (const char* name : {"a", "_", "CIM_DataFile2", "\xC3\x84rger"}) {
        EXPECT_TRUE(isCIMName(name)) << name;
    }
    for (const char* name : {"", "2a", "a b", "a.b", "a-b", "*", "a/b", "a\n", "<a>"}) {
        EXPECT_FALSE(isCIMName(name)) << name;
    }
    EXPECT_TRUE(isCIMName(std::string(256, 'a')));
    EXPECT_FALSE(isCIMName(std::string(257, 'a')));
    EXPECT_FALSE(isCIMName(std::string_view("a\0b", 3)));
}

TEST(CheckedNamespace, LosesOuterSlashes) {
    EXPECT_EQ(checkedNamespace("root/cimv2"), "root/cimv2");
    EXPECT_EQ(checkedNamespace("//root/cimv2/"), "root/cimv2");
    EXPECT_EQ(checkedNamespace("Interop"), "Interop");
}

TEST(CheckedNamespace, IsRefused_WhenItIsNoSequenceOfNames) {
    for (const char* text : {"", "/", "root//cimv2", "root/2", "root:cimv2", "root/ci mv2", "\"root\""}) {
        const auto refusal = refusalOf([text] { checkedNamespace(text); });
        EXPECT_EQ(refusal.status, 4) << text;
        EXPECT_THAT(refusal.text, HasSubstr(text));
    }
}

TEST(QuotedText, StandsWhole_UpToSixtyBytes_APathUpToTwoHundred) {
    EXPECT_EQ(quoted(""), "''");
    EXPECT_EQ(quoted(std::string(60, 'x')), "'" + std::string(60, 'x') + "'");
    EXPECT_EQ(quotedPath(std::string(200, 'x')), "'" + std::string(200, 'x') + "'");
    EXPECT_EQ(quotedPath(std::string(201, 'x')), "'" + std::string(200, 'x') + "...'");
    EXPECT_EQ(quoted(std::string(61, 'x')), "'" + std::string(60, 'x') + "...'");
}

TEST(QuotedText, IsCutBetweenCharacters) {
    const std::string euro = "\xE2\x82\xAC";
    EXPECT_EQ(quoted(std::string(58, 'x') + euro + "y"), "'" + std::string(58, 'x') + "...'");
    EXPECT_EQ(quoted(std::string(57, 'x') + euro + "y"), "'" + std::string(57, 'x') + euro + "...'");
    EXPECT_EQ(quoted(std::string(100, '\x80')), "'...'") << "no character begins at all";
}

TEST(OuterSlashes, DoNotCount) {
    const std::pair<const char*, const char*> rows[]{{"", ""},           {"/", ""},       {"///", ""},
                                                     {"a", "a"},         {"/a", "a"},     {"a/", "a"},
                                                     {"//a/b//", "a/b"}, {"a//b", "a//b"}};
    for (const auto& [given, expected] : rows) {
        EXPECT_EQ(withoutOuterSlashes(given), expected) << given;
    }
}

}  // namespace

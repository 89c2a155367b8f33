#include "CIMOM_Indications/RouteNames.h"

#include <string>
#include <vector>

#include <gmock/gmock.h>

namespace {

using testing::ElementsAre;
using velm::RouteNames;

std::vector<std::string> textsOf(const RouteNames& route) {
    std::vector<std::string> texts;
    for (const RouteNames::Name& name : route.names()) {
        texts.emplace_back(name.text.view());
    }
    return texts;
}

std::vector<std::string> listOf(const RouteNames& route) {
    std::vector<std::string> texts;
    for (const ORVString& name : *route.list()) {
        texts.emplace_back(name.view());
    }
    return texts;
}

TEST(RouteNames, NamesTheClassesUpTheTree_WithAWildcardForTheRoot) {
    const RouteNames& root = RouteNames::of("Root", nullptr);
    const RouteNames& file = RouteNames::of("CIM_File", &RouteNames::of("CIM_Element", &root));
    EXPECT_THAT(textsOf(root), ElementsAre("*"));
    EXPECT_THAT(textsOf(file), ElementsAre("CIM_File", "CIM_Element", "*"));
    EXPECT_THAT(listOf(file), ElementsAre("CIM_File", "CIM_Element", "*"));
}

TEST(RouteNames, AreMadeOnceForEachLineOfClasses) {
    const RouteNames& root = RouteNames::of("Root", nullptr);
    EXPECT_EQ(&RouteNames::of("Root", nullptr), &root);
    EXPECT_EQ(&RouteNames::of("CIM_File", &root), &RouteNames::of("CIM_File", &root));
    EXPECT_NE(&RouteNames::of("CIM_File", &root), &RouteNames::of("cim_file", &root));
    EXPECT_NE(&RouteNames::of("CIM_File", &root),
              &RouteNames::of("CIM_File", &RouteNames::of("CIM_Other", &root)));
}

TEST(RouteNames, CarryHashesAndWhetherOnlyAClassCanHaveTheName) {
    const RouteNames& root = RouteNames::of("Root", nullptr);
    const RouteNames::Name& plain = RouteNames::of("CIM_File", &root).names().front();
    EXPECT_EQ(plain.hash, hashKeyORVString("CIM_File"));
    EXPECT_TRUE(plain.isPlain);
    EXPECT_FALSE(RouteNames::of("CIM.File", &root).names().front().isPlain);
    EXPECT_FALSE(RouteNames::of("a:CIM_File", &root).names().front().isPlain);
}

}  // namespace

// A real schema of well over a thousand classes, read, resolved and written.

#include "tests/support/DTDCheck.h"
#include "tests/support/SharedFolder.h"
#include "tests/unit/velmd/wire/WireSupport.h"
#include "velmd/model/ClassTree.h"
#include "velmd/wire/CIMReader.h"
#include "velmd/wire/CIMWriter.h"

#include <algorithm>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using namespace velm;
using namespace velm::test;

class RealSchema : public testing::Test {
protected:
    void SetUp() override {
        VELM_SKIP_WITHOUT(realSchema());
        declarations = readDeclarations(readXMLTreeFromFile(realSchema().string(), 1 << 26, 256));
        ASSERT_GT(declarations.classes.size(), 1000U);
    }

    CIMDeclarations declarations;
};

std::string written(const CIMClass& declaration, const CIMSelection& selection) {
    std::string xml;
    writeClass(xml, declaration, selection);
    return xml;
}

TEST_F(RealSchema, IsResolvedWhole_WhateverTheOrder) {
    const auto tree = ClassTree().with(declarations.classes);
    EXPECT_EQ(tree->size(), declarations.classes.size());
    EXPECT_EQ(tree->withDescendants("").size(), declarations.classes.size());
    std::reverse(declarations.classes.begin(), declarations.classes.end());
    const auto reversed = ClassTree().with(declarations.classes);
    for (const auto& found : tree->withDescendants("")) {
        ASSERT_EQ(describe(reversed->find(found->name())->declaration), describe(found->declaration));
    }
}

TEST_F(RealSchema, KnowsItsClasses) {
    const auto tree = ClassTree().with(declarations.classes);
    const auto file = tree->find("cim_datafile");
    ASSERT_TRUE(file);
    EXPECT_TRUE(file->isA("CIM_ManagedElement"));
    EXPECT_FALSE(file->isAssociation || file->isIndication || file->isAbstract);
    std::vector<std::string> keys;
    for (const std::size_t position : file->keys) {
        keys.push_back(file->declaration.properties[position].name);
    }
    EXPECT_THAT(keys, testing::ElementsAre("CreationClassName", "CSCreationClassName", "CSName",
                                           "FSCreationClassName", "FSName", "Name"));
    EXPECT_TRUE(tree->find("CIM_IndicationSubscription")->isAssociation);
    EXPECT_EQ(tree->find("CIM_IndicationSubscription")->keys.size(), 2U);
    EXPECT_TRUE(tree->find("CIM_InstCreation")->isIndication);
    EXPECT_TRUE(tree->find("CIM_InstIndication")->isAbstract);
    EXPECT_FALSE(tree->find("CIM_InstCreation")->isAbstract);
    EXPECT_EQ(tree->find("CIM_InstCreation")->declaration.property("sourceinstance")->embedding,
              CIMEmbedding::object);
}

TEST_F(RealSchema, IsWrittenAsItWasRead) {
    std::string all;
    for (const CIMClass& declared : declarations.classes) {
        const std::string xml = written(declared, {});
        ASSERT_EQ(describe(readClass(parse(xml))), describe(declared));
        all += "<VALUE.OBJECT>" + xml + "</VALUE.OBJECT>";
    }
    EXPECT_EQ(dtdProblem("<CIM CIMVERSION=\"2.0\" DTDVERSION=\"2.0\"><DECLARATION><DECLGROUP>" + all +
                         "</DECLGROUP></DECLARATION></CIM>"),
              "");
}

TEST_F(RealSchema, IsWrittenAsItWasResolved) {
    const auto tree = ClassTree().with(declarations.classes);
    CIMSelection selection;
    selection.includeClassOrigin = true;
    for (const auto& found : tree->withDescendants("")) {
        ASSERT_EQ(describe(readClass(parse(written(found->declaration, selection)))),
                  describe(found->declaration));
    }
}

/// What a client gets of each class when it asks for its own elements only makes the same tree again.
TEST_F(RealSchema, IsResolvedAgainFromItsLocalElements) {
    const auto tree = ClassTree().with(declarations.classes);
    CIMSelection selection;
    selection.localOnly = true;
    std::vector<CIMClass> local;
    for (const auto& found : tree->withDescendants("")) {
        local.push_back(readClass(parse(written(found->declaration, selection))));
    }
    const auto again = ClassTree().with(std::move(local));
    for (const auto& found : tree->withDescendants("")) {
        ASSERT_EQ(describe(again->find(found->name())->declaration), describe(found->declaration));
    }
}

}  // namespace

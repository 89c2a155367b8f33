#include "CIMOM_Indications/CIMOMAssociationIndicationFilter.h"

#include "CIMOM_Indications/CIMOMAdditionIndicationFilter.h"
#include "CIMOM_Indications/CIMOMCreationIndicationFilter.h"
#include "CIMOM_Indications/CIMOMDestructionIndicationFilter.h"
#include "CIMOM_Indications/CIMOMEnterAssociationIndicationFilter.h"
#include "CIMOM_Indications/CIMOMRemoveIndicationFilter.h"
#include "CIMOM_Indications/RoutedIndication.h"
#include "foundation/utilities/OrvoBaseException.h"
#include "tests/support/ModelBuilders.h"
#include "tests/unit/CIMOM_Indications/RegistryFixtures.h"

#include <gtest/gtest.h>

namespace {

using namespace velm::test;
using Addition = CCIMOMAdditionIndicationFilter;
using Entering = CCIMOMEnterAssociationIndicationFilter;

class AssociationIndicationFilter : public testing::Test {
protected:
    /// Whether an addition filter with these keys matches the creation of an association of `first` and
    /// `second`.
    bool matches(const ORVString& directoryKeys, const ORVString& fileKeys,
                 const ORVSmrPtr<IOrvoInstanceName>& first, const ORVSmrPtr<IOrvoInstanceName>& second) {
        return Addition(files.directory, directoryKeys, files.file, fileKeys)
            .match(makeIndication(makeAssociation("CIM_DirectoryContainsFile", first, second),
                                  IOrvoIndication::IndicationCreation));
    }

    const ORVString none;
    FileTree files;
    const ORVSmrPtr<IOrvoInstanceName> directoryName = makeInstanceName("CIM_Directory", "/home");
    const ORVSmrPtr<IOrvoInstanceName> fileName = makeInstanceName("CIM_File", "/home/a");
};

/// A filter of an association kind that has its own idea of what it wants.
class PickyAddition : public CCIMOMAdditionIndicationFilter {
public:
    using CCIMOMAdditionIndicationFilter::CCIMOMAdditionIndicationFilter;
    bool match(const ORVSmrPtr<IOrvoIndication>&) override { return wants; }
    bool wants = false;
};

TEST_F(AssociationIndicationFilter, IsKnown_WhenItsOperationsAreThoseOfItsClass) {
    const Addition addition(files.directory, none, files.file, none);
    const PickyAddition picky(files.directory, none, files.file, none);
    for (int asked = 0; asked < 2; ++asked) {
        EXPECT_EQ(velm::knownAssociation(addition), &addition);
        EXPECT_EQ(velm::knownAssociation(picky), nullptr);
        EXPECT_EQ(velm::knownAssociation(CCIMOMCreationIndicationFilter()), nullptr);
    }
}

TEST_F(AssociationIndicationFilter, IsAskedItself_WhenAnotherClassHasItsOwnIdea) {
    const auto creation = makeContainment(IOrvoIndication::IndicationCreation);
    velm::RoutedIndication routed(creation);
    Addition addition(files.directory, none, files.file, none);
    EXPECT_TRUE(velm::matches(addition, routed));
    PickyAddition picky(files.directory, none, files.file, none);
    EXPECT_FALSE(velm::matches(picky, routed));
    picky.wants = true;
    EXPECT_TRUE(velm::matches(picky, routed));
}

TEST_F(AssociationIndicationFilter, AnswersAnEmptyText_WhenNoKeysWereNamed) {
    const Addition filter(files.directory, none, files.file, "");
    EXPECT_FALSE(filter.getKeyPropertiesOne().isNull());
    EXPECT_EQ(filter.getKeyPropertiesOne(), ORVString(""));
    EXPECT_EQ(filter.getKeyPropertiesTwo(), ORVString(""));
}

TEST_F(AssociationIndicationFilter, MatchesWhicheverWayTheAssociationNamesItsEnds) {
    EXPECT_TRUE(matches(none, none, directoryName, fileName));
    EXPECT_TRUE(matches(none, none, fileName, directoryName));
    EXPECT_FALSE(matches(none, none, fileName, fileName));
    EXPECT_FALSE(matches(none, none, directoryName, directoryName));
}

TEST_F(AssociationIndicationFilter, MatchesAnyInstanceOfTheClassesAndTheirSubclasses_WhenNoKeysWereNamed) {
    EXPECT_TRUE(
        matches(none, none, makeInstanceName("CIM_Directory", "7"), makeInstanceName("CIM_DataFile", "8")));
    EXPECT_FALSE(matches(none, none, makeInstanceName("CIM_Element", "7"), fileName));
    EXPECT_FALSE(matches(none, none, directoryName, makeInstanceName("CIM_Unknown", "8")));
}

TEST_F(AssociationIndicationFilter, MatchesTheKeyedEndByItsExactKeysOnly) {
    const ORVString keys = directoryName->getKeyProperties();
    EXPECT_TRUE(matches(keys, none, directoryName, fileName));
    EXPECT_TRUE(matches(keys, none, fileName, directoryName));
    EXPECT_TRUE(matches(keys, none, directoryName, makeInstanceName("CIM_DataFile", "other")));
    EXPECT_FALSE(matches(keys, none, makeInstanceName("CIM_Directory", "/Home"), fileName));
    EXPECT_FALSE(matches(keys, none, makeInstanceName("CIM_Directory", "/home2"), fileName));
    EXPECT_TRUE(matches(none, fileName->getKeyProperties(), directoryName, fileName));
    EXPECT_FALSE(
        matches(none, fileName->getKeyProperties(), directoryName, makeInstanceName("CIM_File", "b")));
}

TEST_F(AssociationIndicationFilter, TakesAnEmptyKeyTextAsKeys) {
    EXPECT_FALSE(matches("", none, directoryName, fileName));
    const COrvoInstanceName::KeyBindings noKeys;
    const ORVSmrPtr<IOrvoInstanceName> singleton(new COrvoInstanceName(Namespace, "CIM_Directory", noKeys));
    EXPECT_TRUE(matches("", none, singleton, fileName));
}

TEST_F(AssociationIndicationFilter, DoesNotMatch_WhenTheObjectIsNoAssociation) {
    const auto filter = makeFilterBetween<Addition>(files.directory, files.file);
    EXPECT_FALSE(filter->match(makeIndication(makeObject(fileName), IOrvoIndication::IndicationCreation)));
}

TEST_F(AssociationIndicationFilter, FailsAsANullHandle_WhenAnEndHasNoClass) {
    const auto filter = makeFilterBetween<Addition>(nullptr, files.file);
    EXPECT_THROW(filter->match(makeContainment(IOrvoIndication::IndicationCreation)),
                 ORVNullPointerException);
    EXPECT_FALSE(filter->match(makeContainment(IOrvoIndication::IndicationDestruction)));
}

TEST_F(AssociationIndicationFilter, IsEqual_WhenTheEndsAreTheSameStraightOrCrossed) {
    const Addition filter(files.directory, "Id=\"1\"", files.file, none);
    EXPECT_TRUE(filter == makeFilter<Addition>(files.directory, "Id=\"1\"", files.file, none));
    EXPECT_TRUE(filter == makeFilter<Addition>(files.file, none, files.directory, "Id=\"1\""));
    EXPECT_FALSE(filter == makeFilter<Addition>(files.directory, none, files.file, "Id=\"1\""));
    EXPECT_FALSE(filter == makeFilter<Addition>(files.directory, "Id=\"2\"", files.file, none));
    EXPECT_FALSE(filter == makeFilter<Addition>(files.directory, "Id=\"1\"", files.file, ""));
    EXPECT_FALSE(filter == makeFilter<Addition>(files.directory, none, files.file, none));
    EXPECT_FALSE(filter == makeFilter<Addition>(files.directory, "Id=\"1\"", files.dataFile, none));
}

TEST_F(AssociationIndicationFilter, IsNotEqual_WhenTheNodesDifferAndOnlyTheirNamesAgree) {
    FileTree others;
    const auto filter = makeFilterBetween<Addition>(files.directory, files.file);
    EXPECT_FALSE(*filter == makeFilterBetween<Addition>(others.directory, others.file));
    EXPECT_FALSE(*filter == makeFilterBetween<Addition>(files.directory, others.file));
}

TEST_F(AssociationIndicationFilter, IsNotEqual_WhenTheTypesDiffer) {
    const auto filter = makeFilterBetween<Addition>(files.directory, files.file);
    EXPECT_FALSE(*filter == makeFilterBetween<CCIMOMRemoveIndicationFilter>(files.directory, files.file));
}

TEST_F(AssociationIndicationFilter, IsNotEqualToAFilterOfItsTypeThatNamesNoEnds) {
    const auto filter = makeFilterBetween<Entering>(files.directory, files.file);
    EXPECT_FALSE(*filter == makeFilter<CCIMOMCreationIndicationFilter>());
    EXPECT_FALSE(*filter == makeFilter<CCIMOMDestructionIndicationFilter>());
}

}  // namespace

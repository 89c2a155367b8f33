#include "CIMOM_Indications/CIMOMDestructionIndicationFilter.h"

#include "CIMOM_Indications/CIMOMCreationIndicationFilter.h"
#include "CIMOM_Indications/CIMOMEnterAssociationIndicationFilter.h"
#include "CIMOM_Indications/CIMOMLeaveAssociationIndicationFilter.h"
#include "tests/support/ModelBuilders.h"
#include "tests/unit/CIMOM_Indications/RegistryFixtures.h"

#include <gtest/gtest.h>

namespace {

using namespace velm::test;

TEST(DestructionIndicationFilter, ReportsTheTypeOfEnteringAssociations) {
    EXPECT_EQ(unsigned{CCIMOMDestructionIndicationFilter().getFilterType()}, 128U);
}

TEST(DestructionIndicationFilter, MatchesEveryIndication) {
    CCIMOMDestructionIndicationFilter filter;
    for (unsigned int type = IOrvoIndication::IndicationChange;
         type <= IOrvoIndication::IndicationLeaveAssociation; type *= 2) {
        const auto indicationType = static_cast<IOrvoIndication::IndicationType>(type);
        EXPECT_TRUE(filter.match(makeIndication(makeObject("CIM_File"), indicationType))) << type;
    }
}

TEST(DestructionIndicationFilter, IsEqualToEveryFilterOfItsType) {
    FileTree files;
    const CCIMOMDestructionIndicationFilter filter;
    EXPECT_TRUE(filter == makeFilter<CCIMOMDestructionIndicationFilter>());
    EXPECT_TRUE(filter == makeFilter<CCIMOMCreationIndicationFilter>());
    EXPECT_TRUE(filter ==
                makeFilterBetween<CCIMOMEnterAssociationIndicationFilter>(files.file, files.directory));
    EXPECT_FALSE(filter ==
                 makeFilterBetween<CCIMOMLeaveAssociationIndicationFilter>(files.file, files.directory));
}

}  // namespace

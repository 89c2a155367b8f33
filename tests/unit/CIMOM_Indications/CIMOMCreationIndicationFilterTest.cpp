#include "CIMOM_Indications/CIMOMCreationIndicationFilter.h"

#include "CIMOM_Indications/CIMOMDestructionIndicationFilter.h"
#include "CIMOM_Indications/CIMOMEnterAssociationIndicationFilter.h"
#include "CIMOM_Indications/CIMOMLeaveAssociationIndicationFilter.h"
#include "tests/support/ModelBuilders.h"
#include "tests/unit/CIMOM_Indications/RegistryFixtures.h"

#include <gtest/gtest.h>

namespace {

using namespace velm::test;

TEST(CreationIndicationFilter, ReportsTheTypeOfEnteringAssociations) {
    EXPECT_EQ(unsigned{CCIMOMCreationIndicationFilter().getFilterType()}, 128U);
}

TEST(CreationIndicationFilter, MatchesEveryIndication) {
    CCIMOMCreationIndicationFilter filter;
    for (unsigned int type = IOrvoIndication::IndicationChange;
         type <= IOrvoIndication::IndicationLeaveAssociation; type *= 2) {
        const auto indicationType = static_cast<IOrvoIndication::IndicationType>(type);
        EXPECT_TRUE(filter.match(makeIndication(makeObject("CIM_File"), indicationType))) << type;
    }
}

TEST(CreationIndicationFilter, IsEqualToEveryFilterOfItsType) {
    FileTree files;
    const CCIMOMCreationIndicationFilter filter;
    EXPECT_TRUE(filter == makeFilter<CCIMOMCreationIndicationFilter>());
    EXPECT_TRUE(filter == makeFilter<CCIMOMDestructionIndicationFilter>());
    EXPECT_TRUE(filter ==
                makeFilterBetween<CCIMOMEnterAssociationIndicationFilter>(files.file, files.directory));
    EXPECT_FALSE(filter ==
                 makeFilterBetween<CCIMOMLeaveAssociationIndicationFilter>(files.file, files.directory));
}

}  // namespace

#include "CIMOM_Indications/CIMOMRemoveIndicationFilter.h"

#include "tests/unit/CIMOM_Indications/RegistryFixtures.h"

#include <gtest/gtest.h>

namespace {

using namespace velm::test;

TEST(RemoveIndicationFilter, KeepsItsEndsAndItsType) {
    FileTree files;
    const CCIMOMRemoveIndicationFilter filter(files.directory, "Id=\"1\"", files.file, "Id=\"2\"");
    EXPECT_EQ(unsigned{filter.getFilterType()}, 4U);
    EXPECT_EQ(filter.getClassOne(), files.directory);
    EXPECT_EQ(filter.getKeyPropertiesOne(), ORVString("Id=\"1\""));
    EXPECT_EQ(filter.getClassTwo(), files.file);
    EXPECT_EQ(filter.getKeyPropertiesTwo(), ORVString("Id=\"2\""));
}

TEST(RemoveIndicationFilter, FiresOnTheDestructionOfAnAssociationAndOnNothingElse) {
    FileTree files;
    const auto filter = makeFilterBetween<CCIMOMRemoveIndicationFilter>(files.directory, files.file);
    for (unsigned int type = IOrvoIndication::IndicationChange;
         type <= IOrvoIndication::IndicationLeaveAssociation; type *= 2) {
        const auto indicationType = static_cast<IOrvoIndication::IndicationType>(type);
        EXPECT_EQ(filter->match(makeContainment(indicationType)),
                  indicationType == IOrvoIndication::IndicationDestruction)
            << type;
    }
}

}  // namespace

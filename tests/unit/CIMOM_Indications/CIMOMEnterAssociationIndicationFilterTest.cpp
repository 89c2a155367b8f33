#include "CIMOM_Indications/CIMOMEnterAssociationIndicationFilter.h"

#include "tests/unit/CIMOM_Indications/RegistryFixtures.h"

#include <gtest/gtest.h>

namespace {

using namespace velm::test;

TEST(EnterAssociationIndicationFilter, KeepsItsEndsAndItsType) {
    FileTree files;
    const CCIMOMEnterAssociationIndicationFilter filter(files.directory, "Id=\"1\"", files.file, "Id=\"2\"");
    EXPECT_EQ(unsigned{filter.getFilterType()}, 128U);
    EXPECT_EQ(filter.getClassOne(), files.directory);
    EXPECT_EQ(filter.getKeyPropertiesOne(), ORVString("Id=\"1\""));
    EXPECT_EQ(filter.getClassTwo(), files.file);
    EXPECT_EQ(filter.getKeyPropertiesTwo(), ORVString("Id=\"2\""));
}

TEST(EnterAssociationIndicationFilter, FiresOnTheCreationOfAnAssociationAndOnNothingElse) {
    FileTree files;
    const auto filter =
        makeFilterBetween<CCIMOMEnterAssociationIndicationFilter>(files.directory, files.file);
    for (unsigned int type = IOrvoIndication::IndicationChange;
         type <= IOrvoIndication::IndicationLeaveAssociation; type *= 2) {
        const auto indicationType = static_cast<IOrvoIndication::IndicationType>(type);
        EXPECT_EQ(filter->match(makeContainment(indicationType)),
                  indicationType == IOrvoIndication::IndicationCreation)
            << type;
    }
}

}  // namespace

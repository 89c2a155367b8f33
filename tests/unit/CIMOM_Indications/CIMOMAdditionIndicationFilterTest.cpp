#include "CIMOM_Indications/CIMOMAdditionIndicationFilter.h"

#include "tests/unit/CIMOM_Indications/RegistryFixtures.h"

#include <gtest/gtest.h>

namespace {

using namespace velm::test;

TEST(AdditionIndicationFilter, KeepsItsEndsAndItsType) {
    FileTree files;
    const CCIMOMAdditionIndicationFilter filter(files.directory, "Id=\"1\"", files.file, "Id=\"2\"");
    EXPECT_EQ(unsigned{filter.getFilterType()}, 2U);
    EXPECT_EQ(filter.getClassOne(), files.directory);
    EXPECT_EQ(filter.getKeyPropertiesOne(), ORVString("Id=\"1\""));
    EXPECT_EQ(filter.getClassTwo(), files.file);
    EXPECT_EQ(filter.getKeyPropertiesTwo(), ORVString("Id=\"2\""));
}

TEST(AdditionIndicationFilter, FiresOnTheCreationOfAnAssociationAndOnNothingElse) {
    FileTree files;
    const auto filter = makeFilterBetween<CCIMOMAdditionIndicationFilter>(files.directory, files.file);
    for (unsigned int type = IOrvoIndication::IndicationChange;
         type <= IOrvoIndication::IndicationLeaveAssociation; type *= 2) {
        const auto indicationType = static_cast<IOrvoIndication::IndicationType>(type);
        EXPECT_EQ(filter->match(makeContainment(indicationType)),
                  indicationType == IOrvoIndication::IndicationCreation)
            << type;
    }
}

}  // namespace

#include "CIMOM_Indications/CIMOMIndicationFilter.h"

#include "foundation/utilities/OrvoBaseException.h"
#include "tests/support/ModelBuilders.h"
#include "tests/unit/CIMOM_Indications/RegistryFixtures.h"

#include <type_traits>

#include <gtest/gtest.h>

namespace {

using namespace velm::test;
using Filter = CCIMOMIndicationFilter;

/// A filter that overrides nothing.
class PlainFilter : public Filter {
public:
    explicit PlainFilter(FilterType type) { _filterType = type; }
};

TEST(IndicationFilter, NamesItsTypes) {
    EXPECT_EQ(Filter::convertFilterTypeToString(Filter::FilterInvalid), ORVString("Invalid"));
    EXPECT_EQ(Filter::convertFilterTypeToString(Filter::FilterAddAssociation), ORVString("Add Assoc"));
    EXPECT_EQ(Filter::convertFilterTypeToString(Filter::FilterRemoveAssociation), ORVString("Remove Assoc"));
    EXPECT_EQ(Filter::convertFilterTypeToString(Filter::FilterCreate), ORVString("Create"));
    EXPECT_EQ(Filter::convertFilterTypeToString(Filter::FilterDestroy), ORVString("Destroy"));
    EXPECT_EQ(Filter::convertFilterTypeToString(Filter::FilterEnterRelationship), ORVString("Enter Rel"));
    EXPECT_EQ(Filter::convertFilterTypeToString(Filter::FilterLeaveRelationship), ORVString("Leave Rel"));
    EXPECT_EQ(Filter::convertFilterTypeToString(Filter::FilterEnterAssociation), ORVString("Enter Assoc"));
    EXPECT_EQ(Filter::convertFilterTypeToString(Filter::FilterLeaveAssociation), ORVString("Leave Assoc"));
}

TEST(IndicationFilter, NamesChangeAndUnknownTypesWithAnEmptyText) {
    for (const unsigned int number : {1U, 3U, 24U, 512U}) {
        const ORVString name = Filter::convertFilterTypeToString(static_cast<Filter::FilterType>(number));
        EXPECT_EQ(name, ORVString("")) << number;
        EXPECT_FALSE(name.isNull()) << number;
    }
}

TEST(IndicationFilter, NumbersItsTypesAsIndicationsDo) {
    EXPECT_EQ(unsigned{Filter::FilterInvalid}, unsigned{IOrvoIndication::IndicationInvalid});
    EXPECT_EQ(unsigned{Filter::FilterChange}, unsigned{IOrvoIndication::IndicationChange});
    EXPECT_EQ(unsigned{Filter::FilterAddAssociation}, unsigned{IOrvoIndication::IndicationAddition});
    EXPECT_EQ(unsigned{Filter::FilterRemoveAssociation}, unsigned{IOrvoIndication::IndicationRemoval});
    EXPECT_EQ(unsigned{Filter::FilterCreate}, unsigned{IOrvoIndication::IndicationCreation});
    EXPECT_EQ(unsigned{Filter::FilterDestroy}, unsigned{IOrvoIndication::IndicationDestruction});
    EXPECT_EQ(unsigned{Filter::FilterEnterRelationship},
              unsigned{IOrvoIndication::IndicationEnterRelationship});
    EXPECT_EQ(unsigned{Filter::FilterLeaveRelationship},
              unsigned{IOrvoIndication::IndicationLeaveRelationship});
    EXPECT_EQ(unsigned{Filter::FilterEnterAssociation},
              unsigned{IOrvoIndication::IndicationEnterAssociation});
    EXPECT_EQ(unsigned{Filter::FilterLeaveAssociation},
              unsigned{IOrvoIndication::IndicationLeaveAssociation});
}

TEST(IndicationFilter, MatchesNothingByItself) {
    PlainFilter filter(Filter::FilterCreate);
    EXPECT_FALSE(filter.match(makeIndication(makeObject("CIM_File"), IOrvoIndication::IndicationCreation)));
}

TEST(IndicationFilter, IsEqual_WhenTheTypesAre) {
    PlainFilter filter(Filter::FilterCreate);
    EXPECT_TRUE(filter == makeFilter<PlainFilter>(Filter::FilterCreate));
    EXPECT_FALSE(filter == makeFilter<PlainFilter>(Filter::FilterDestroy));
}

TEST(IndicationFilter, FailsAsANullHandle_WhenComparedWithOne) {
    PlainFilter filter(Filter::FilterCreate);
    EXPECT_THROW(static_cast<void>(filter == ORVSmrPtr<Filter>()), ORVNullPointerException);
}

}  // namespace

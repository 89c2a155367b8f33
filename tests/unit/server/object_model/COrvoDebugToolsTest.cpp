#include "foundation/object_model/COrvoDebugTools.h"

#include "foundation/object_model/COrvoIndication.h"
#include "foundation/object_model/COrvoSubscriptionFilter.h"
#include "tests/unit/server/object_model/ModelSupport.h"

#include <gtest/gtest.h>

namespace {

using velm::test::instanceName;
using velm::test::str;

TEST(DebugTools, NamesEveryIndicationType) {
    const std::pair<unsigned int, const char*> rows[] = {{0, "Invalid"},
                                                         {1, "Change"},
                                                         {2, "Addition"},
                                                         {4, "Removal"},
                                                         {8, "Creation"},
                                                         {16, "Destruction"},
                                                         {32, "EnterRelationship"},
                                                         {64, "LeaveRelationship"},
                                                         {128, "EnterAssociation"},
                                                         {256, "LeaveAssociation"},
                                                         {3, "Unknown (3)"},
                                                         {512, "Unknown (512)"}};
    for (const auto& [number, text] : rows) {
        auto type = static_cast<IOrvoIndication::IndicationType>(number);
        EXPECT_EQ(str(COrvoDebugTools::indicationTypeToString(type)), text);
    }
}

TEST(DebugTools, WritesFilters) {
    EXPECT_EQ(str(COrvoDebugTools::indicationFilterToString(nullptr)), "NULL");
    ORVSmrPtr<IOrvoSubscriptionFilter> filter(new COrvoSubscriptionFilter);
    EXPECT_EQ(str(COrvoDebugTools::indicationFilterToString(filter)), "[]");
    filter->addProperty("Size");
    EXPECT_EQ(str(COrvoDebugTools::indicationFilterToString(filter)), "[Size]");
    filter->setClassName("CIM_DataFile");
    filter->addProperty("Name");
    EXPECT_EQ(str(COrvoDebugTools::indicationFilterToString(filter)), "CIM_DataFile[Size, Name]");
}

TEST(DebugTools, WritesIndications) {
    ORVSmrPtr<IOrvoObject> object(new COrvoObject("A", instanceName("root:A.k=1")));
    ORVSmrPtr<IOrvoIndication> indication(new COrvoIndication(object, IOrvoIndication::IndicationRemoval,
                                                              nullptr, nullptr, IOrvoIndication::IntentReport,
                                                              nullptr, false));
    EXPECT_EQ(COrvoDebugTools::indicationToString(indication), indication->toString());
    EXPECT_EQ(str(COrvoDebugTools::indicationToString(indication)), "Removal of root:A.k=1");
    EXPECT_THROW(COrvoDebugTools::indicationToString(nullptr), ORVNullPointerException);
}

}  // namespace

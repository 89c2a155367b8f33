#include "velmd/model/CIMStatus.h"

#include "tests/unit/velmd/model/ClassBuilders.h"

#include <array>
#include <string_view>
#include <utility>

#include <gtest/gtest.h>

namespace {

using namespace velm;
using velm::test::refusalOf;

TEST(CIMStatus, HasTheNameOfTheStandard) {
    constexpr std::array<std::pair<int, std::string_view>, 18> names{
        {{1, "CIM_ERR_FAILED"},
         {2, "CIM_ERR_ACCESS_DENIED"},
         {3, "CIM_ERR_INVALID_NAMESPACE"},
         {4, "CIM_ERR_INVALID_PARAMETER"},
         {5, "CIM_ERR_INVALID_CLASS"},
         {6, "CIM_ERR_NOT_FOUND"},
         {7, "CIM_ERR_NOT_SUPPORTED"},
         {8, "CIM_ERR_CLASS_HAS_CHILDREN"},
         {9, "CIM_ERR_CLASS_HAS_INSTANCES"},
         {10, "CIM_ERR_INVALID_SUPERCLASS"},
         {11, "CIM_ERR_ALREADY_EXISTS"},
         {12, "CIM_ERR_NO_SUCH_PROPERTY"},
         {13, "CIM_ERR_TYPE_MISMATCH"},
         {16, "CIM_ERR_METHOD_NOT_AVAILABLE"},
         {17, "CIM_ERR_METHOD_NOT_FOUND"},
         {20, "CIM_ERR_NAMESPACE_NOT_EMPTY"},
         {27, "CIM_ERR_SERVER_LIMITS_EXCEEDED"},
         {28, "CIM_ERR_SERVER_IS_SHUTTING_DOWN"}}};
    for (const auto& [status, name] : names) {
        EXPECT_EQ(statusName(status), name);
    }
}

TEST(CIMStatus, IsAFailure_WhenTheNumberIsNone) {
    for (const int status : {-1, 0, 18, 19, 99}) {
        EXPECT_EQ(statusName(status), "CIM_ERR_FAILED") << status;
    }
}

TEST(CIMStatus, IsThrownWithItsNumberAndText) {
    const auto refusal = refusalOf([] { throwStatus(CIMStatus::notFound, "there is no EX_Disk"); });
    EXPECT_EQ(refusal.status, 6);
    EXPECT_EQ(refusal.text, "there is no EX_Disk");
}

}  // namespace

#include "velmd/repository/InstanceContent.h"

#include "tests/unit/velmd/repository/RepositorySupport.h"

#include <gtest/gtest.h>

namespace {

using namespace velm;
using namespace velm::test;

Value embedded(const Object& instance) {
    return Value(new COrvoValue(instance));
}

Value null(const ORVSmrPtr<IOrvoType>& type) {
    return COrvoValue::null(type);
}

struct ValuePair {
    const char* name;
    Value left;
    Value right;
    bool areSame;
};

TEST(SameValue, ComparesTypeAndContent) {
    const std::vector<ValuePair> rows{
        {"equal texts", text("a"), text("a"), true},
        {"letter case", text("a"), text("A"), false},
        {"another type", text("1"), uint32(1), false},
        {"another width", uint32(1), Value(new COrvoValue(1U, COrvoType::uint16)), false},
        {"NULL and its word", null(COrvoType::string), text("NULL"), false},
        {"NULL and empty", null(COrvoType::string), text(""), false},
        {"NULL twice", null(COrvoType::string), null(COrvoType::string), true},
        {"NULL of an embedding property", null(COrvoType::string), null(COrvoType::instance), true},
        {"equal arrays", strings({"a", "b"}), strings({"a", "b"}), true},
        {"arrays in another order", strings({"a", "b"}), strings({"b", "a"}), false},
        {"arrays with one text", strings({"a", "b"}), strings({"a, b"}), false},
        {"array and element", strings({"a"}), text("a"), false},
        {"longer array", strings({"a"}), strings({"a", "b"}), false},
        {"empty array and NULL", strings({}), null(COrvoType::arrayOf(COrvoType::string)), false},
        {"NULL in an array", strings({nullptr}), strings({"NULL"}), false},
        {"equal references", reference(thingName("1")), reference(thingName("1")), true},
        {"other references", reference(thingName("1")), reference(thingName("2")), false},
        {"equal instances", embedded(thing("1", 5)), embedded(thing("1", 5)), true},
        {"other instances", embedded(thing("1", 5)), embedded(thing("1", 6)), false},
        {"instances with one text", embedded(object("A", {{"x", text("1, y = 2")}})),
         embedded(object("A", {{"x", text("1")}, {"y", text("2")}})), false},
        {"instances of other classes", embedded(object("A", {})), embedded(object("B", {})), false},
        {"other property names", embedded(object("A", {{"x", text("1")}})),
         embedded(object("A", {{"y", text("1")}})), false},
    };
    for (const ValuePair& row : rows) {
        EXPECT_EQ(sameValue(*row.left, *row.right), row.areSame) << row.name;
        EXPECT_EQ(sameValue(*row.right, *row.left), row.areSame) << row.name;
    }
}

}  // namespace

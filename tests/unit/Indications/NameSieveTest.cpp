#include "Indications/NameSieve.h"

#include <random>
#include <set>
#include <string>

#include <gtest/gtest.h>

namespace {

using velm::NameSieve;
using velm::RouteNames;

RouteNames::Name named(const std::string& text) {
    const ORVString name(text);
    return {name, hashKeyORVString(name), RouteNames::isPlain(name)};
}

TEST(NameSieve, NeverLosesAKey_WhateverWasAdded) {
    std::mt19937 random(5);
    NameSieve sieve;
    std::set<std::string> keys;
    std::uint64_t insertions = 0;
    for (int operation = 0; operation < 100'000; ++operation) {
        const std::string name = "CIM_Class" + std::to_string(random() % 3000);
        if (random() % 10 == 0) {
            // Names of instances are keys too, one of them without namespace and keys.
            const std::string key = random() % 2 == 0 ? name : "root:" + name + ".Id=\"1\"";
            sieve.add(ORVString(key));
            keys.insert(key);
            ++insertions;
        }
        ASSERT_TRUE(sieve.knowsAll(insertions));
        if (keys.contains(name)) {
            ASSERT_TRUE(sieve.mayBeKey(named(name))) << name;
        }
    }
}

TEST(NameSieve, TellsMostNamesFromFewKeys) {
    NameSieve sieve;
    for (int index = 0; index < 20; ++index) {
        sieve.add(ORVString("CIM_Class" + std::to_string(index)));
    }
    int taken = 0;
    for (int index = 20; index < 1020; ++index) {
        taken += sieve.mayBeKey(named("CIM_Class" + std::to_string(index))) ? 1 : 0;
    }
    EXPECT_LT(taken, 100);
}

TEST(NameSieve, TakesAnyNameForAKey_WhenItCouldBePartOfTheNameOfAnInstance) {
    const NameSieve sieve;
    EXPECT_FALSE(sieve.mayBeKey(named("CIM_File")));
    EXPECT_TRUE(sieve.mayBeKey(named("CIM_File.Id")));
    EXPECT_TRUE(sieve.mayBeKey(named("root:CIM_File")));
}

TEST(NameSieve, DoesNotKnowAll_WhenItWasNotToldOfAnInsertion) {
    NameSieve sieve;
    EXPECT_TRUE(sieve.knowsAll(0));
    EXPECT_FALSE(sieve.knowsAll(1));
    sieve.add("CIM_File");
    EXPECT_TRUE(sieve.knowsAll(1));
    EXPECT_FALSE(sieve.knowsAll(2));
}

}  // namespace

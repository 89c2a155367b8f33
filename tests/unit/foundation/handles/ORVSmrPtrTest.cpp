#include "foundation/handles/ORVSmrPtr.h"

#include "foundation/utilities/ORVXMLError.h"
#include "foundation/utilities/OrvoBaseException.h"

#include <atomic>
#include <string>
#include <thread>
#include <type_traits>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

namespace {

/// Counts what was destroyed, so that a test sees which release deleted the object.
std::atomic<int> destroyed{0};

struct Base {
    virtual ~Base() = default;
    int number = 0;
};

struct Derived : Base {
    ~Derived() override { ++destroyed; }
};

struct Unrelated {
    virtual ~Unrelated() { ++destroyed; }
    long padding = 0;
};

struct Both : Unrelated, Derived {};

class SmrPtr : public testing::Test {
protected:
    SmrPtr() { destroyed = 0; }

    /// For tests that use a handle after it was moved from.
    ORVSmrPtr<Base> moved;
};

template <class Operation>
std::string messageOf(Operation operation) {
    try {
        operation();
    } catch (const OrvoBaseException& failure) {
        return failure.getMessage().data();
    }
    return "nothing was thrown";
}

}  // namespace

TEST_F(SmrPtr, IsANullHandle_WhenMadeFromNull) {
    const ORVSmrPtr<Base> byDefault;
    const ORVSmrPtr<Base> fromNull(nullptr);
    const ORVSmrPtr<Base> fromNullPointer(static_cast<Base*>(nullptr));
    for (const auto* handle : {&byDefault, &fromNull, &fromNullPointer}) {
        EXPECT_TRUE(handle->IsNull());
        EXPECT_EQ(handle->Get(), nullptr);
        EXPECT_EQ(static_cast<void*>(*handle), nullptr);
    }
}

TEST_F(SmrPtr, NamesTheOperator_WhenANullHandleIsUsed) {
    const ORVSmrPtr<Base> null;
    EXPECT_EQ(messageOf([&] { null->number = 1; }), "operator->()");
    EXPECT_EQ(messageOf([&] { (*null).number = 1; }), "operator*()");
}

TEST_F(SmrPtr, RaisesANullPointerFailure_ThatIsNeitherOfNetworkNorOfXML) {
    const ORVSmrPtr<Base> null;
    try {
        static_cast<void>(null->number);
        FAIL() << "nothing was thrown";
    } catch (const ORVNetException&) {
        FAIL() << "a network failure";
    } catch (const ORVXMLError&) {
        FAIL() << "an XML failure";
    } catch (const OrvoBaseException& failure) {
        EXPECT_EQ(failure.getType(), "ORVNullPointerException");
        EXPECT_EQ(failure.getCode(), 0);
    }
}

TEST_F(SmrPtr, GivesTheObject_WhenDereferenced) {
    auto* object = new Derived;
    const ORVSmrPtr<Base> handle(object);
    EXPECT_FALSE(handle.IsNull());
    EXPECT_EQ(handle.Get(), object);
    EXPECT_EQ(handle.operator->(), object);
    EXPECT_EQ(&*handle, object);
    EXPECT_EQ(static_cast<void*>(handle), static_cast<Base*>(object));
}

TEST_F(SmrPtr, DeletesTheObjectOnce_WhenTheLastOfThreeCopiesGoes) {
    {
        const ORVSmrPtr<Base> first(new Derived);
        {
            // NOLINTNEXTLINE(performance-unnecessary-copy-initialization): each copy counts.
            const ORVSmrPtr<Base> second(first), third(second);
            EXPECT_EQ(third.Get(), first.Get());
        }
        EXPECT_EQ(destroyed, 0);
    }
    EXPECT_EQ(destroyed, 1);
}

TEST_F(SmrPtr, ReleasesItsRecord_WhenAnotherHandleIsAssigned) {
    ORVSmrPtr<Base> first(new Derived);
    const ORVSmrPtr<Base> second(new Derived);
    const ORVSmrPtr<Base> sharerOfFirst(first);
    first = second;
    EXPECT_EQ(destroyed, 0);
    EXPECT_EQ(first.Get(), second.Get());
    EXPECT_NE(first.Get(), sharerOfFirst.Get());
}

TEST_F(SmrPtr, DeletesItsObject_WhenItsOnlyHandleIsAssignedAnother) {
    ORVSmrPtr<Base> first(new Derived);
    const ORVSmrPtr<Base> second(new Derived);
    first = second;
    EXPECT_EQ(destroyed, 1);
}

TEST_F(SmrPtr, ChangesNothing_WhenAssignedItselfOrASharer) {
    {
        ORVSmrPtr<Base> handle(new Derived);
        const ORVSmrPtr<Base> sharer(handle);
        Base* object = handle.Get();
        handle = *&handle;
        handle = sharer;
        EXPECT_EQ(handle.Get(), object);
        EXPECT_EQ(destroyed, 0);
    }
    EXPECT_EQ(destroyed, 1);
}

TEST_F(SmrPtr, LeavesItsFormerSharersAlone_WhenAssignedAPointer) {
    ORVSmrPtr<Base> handle(new Derived);
    const ORVSmrPtr<Base> sharer(handle);
    Base* former = handle.Get();
    handle = new Derived;
    EXPECT_EQ(sharer.Get(), former);
    EXPECT_NE(handle.Get(), former);
    EXPECT_EQ(destroyed, 0);
}

TEST_F(SmrPtr, DeletesItsObject_WhenItsOnlyHandleIsAssignedNull) {
    ORVSmrPtr<Base> handle(new Derived);
    handle = nullptr;
    EXPECT_TRUE(handle.IsNull());
    EXPECT_EQ(destroyed, 1);
}

TEST_F(SmrPtr, SurvivesAnAssignmentFromInsideItsOwnObject) {
    struct Node {
        int number = 0;
        ORVSmrPtr<Node> next;
    };
    ORVSmrPtr<Node> head(new Node);
    head->next = new Node;
    head->next->number = 2;
    head = head->next;
    EXPECT_EQ(head->number, 2);
}

TEST_F(SmrPtr, ComparesObjectsAndNotRecords) {
    auto* object = new Derived;
    const ORVSmrPtr<Base> handle(object);
    ORVSmrPtr<Base> ofTheSamePointer(object);
    const ORVSmrPtr<Base> ofAnother(new Derived);
    EXPECT_TRUE(handle == ofTheSamePointer);
    EXPECT_FALSE(handle != ofTheSamePointer);
    EXPECT_FALSE(handle == ofAnother);
    EXPECT_TRUE(handle != ofAnother);
    EXPECT_TRUE(ORVSmrPtr<Base>() == ORVSmrPtr<Base>());
    // Their counts are separate, so that one of the two has to give the object up.
    ofTheSamePointer.Set(nullptr);
}

TEST_F(SmrPtr, KeepsSeparateCounts_WhenMadeTwiceFromOnePointer) {
    auto* object = new Derived;
    const ORVSmrPtr<Base> owner(object);
    {
        ORVSmrPtr<Base> other(object);
        ORVSmrPtr<Base> copyOfOther(other);
        other.Set(nullptr);
        EXPECT_TRUE(copyOfOther.IsNull());
    }
    EXPECT_EQ(owner.Get(), object);
    EXPECT_EQ(destroyed, 0);
}

TEST_F(SmrPtr, LeavesTheSourceReferringToNothing_WhenMoved) {
    moved = new Derived;
    const Base* object = moved.Get();
    ORVSmrPtr<Base> target(std::move(moved));
    EXPECT_EQ(target.Get(), object);
    EXPECT_TRUE(moved.IsNull());
    EXPECT_EQ(messageOf([&] { moved->number = 1; }), "operator->()");

    const ORVSmrPtr<Base> copyOfTheMoved(moved);
    EXPECT_TRUE(copyOfTheMoved.IsNull());
    moved = target;
    EXPECT_EQ(moved.Get(), object);
    EXPECT_EQ(destroyed, 0);
}

TEST_F(SmrPtr, ReleasesItsRecord_WhenMovedInto) {
    ORVSmrPtr<Base> target(new Derived);
    ORVSmrPtr<Base> source(new Derived);
    const Base* object = source.Get();
    target = std::move(source);
    EXPECT_EQ(destroyed, 1);
    EXPECT_EQ(target.Get(), object);
    ORVSmrPtr<Base>& itself = target;
    target = std::move(itself);
    EXPECT_EQ(target.Get(), object);
    EXPECT_EQ(destroyed, 1);
}

TEST_F(SmrPtr, EmptiesEverySharerAndDeletesNothing_WhenSetToNull) {
    auto* object = new Derived;
    {
        ORVSmrPtr<Base> first(object);
        const ORVSmrPtr<Base> second(first);
        const ORVSmrPtr<Base> third(second);
        first.Set(nullptr);
        EXPECT_TRUE(first.IsNull());
        EXPECT_TRUE(second.IsNull());
        EXPECT_TRUE(third.IsNull());
        EXPECT_EQ(messageOf([&] { second->number = 1; }), "operator->()");
    }
    EXPECT_EQ(destroyed, 0);
    delete object;
}

TEST_F(SmrPtr, KeepsTheCounts_WhenSet) {
    auto* object = new Derived;
    {
        ORVSmrPtr<Base> first(object);
        {
            ORVSmrPtr<Base> second(first);
            second.Set(nullptr);
            second.Set(object);
        }
        EXPECT_EQ(first.Get(), object);
        EXPECT_EQ(destroyed, 0);
    }
    EXPECT_EQ(destroyed, 1);
}

TEST_F(SmrPtr, ReachesHandlesCopiedLater_WhenANullHandleIsSet) {
    ORVSmrPtr<Base> first;
    const ORVSmrPtr<Base> second(first);
    first.Set(new Derived);
    EXPECT_EQ(second.Get(), first.Get());
    EXPECT_FALSE(second.IsNull());
}

TEST_F(SmrPtr, SharesTheObject_WhenForceCopied) {
    ORVSmrPtr<Base> source(new Derived);
    ORVSmrPtr<Derived> target;
    ForceCopySmrPtr(target, source);
    EXPECT_EQ(target.Get(), source.Get());
    source = nullptr;
    EXPECT_EQ(destroyed, 0);
    target = nullptr;
    EXPECT_EQ(destroyed, 1);
}

TEST_F(SmrPtr, KeepsTheObjectForTheSource_WhenTheForceCopyGoesFirst) {
    ORVSmrPtr<Base> source(new Derived);
    {
        ORVSmrPtr<Derived> target;
        ForceCopySmrPtr(target, source);
        const ORVSmrPtr<Derived> copyOfTarget(target);
    }
    EXPECT_EQ(destroyed, 0);
    source = nullptr;
    EXPECT_EQ(destroyed, 1);
}

TEST_F(SmrPtr, AdjustsThePointer_WhenForceCopiedAcrossBases) {
    ORVSmrPtr<Unrelated> source(new Both);
    ORVSmrPtr<Base> target;
    ForceCopySmrPtr(target, source);
    ASSERT_FALSE(target.IsNull());
    EXPECT_EQ(target.Get(), static_cast<Base*>(dynamic_cast<Both*>(source.Get())));
    EXPECT_NE(static_cast<void*>(target), static_cast<void*>(source));
    source = nullptr;
    EXPECT_EQ(destroyed, 0);
    target = nullptr;
    EXPECT_EQ(destroyed, 2);
}

TEST_F(SmrPtr, DeletesTheObjectOnce_WhenItSharesABlockWithItsRecord) {
    auto made = ORVSmrPtr<Derived>::make();
    EXPECT_EQ(made->number, 0);
    {
        const ORVSmrPtr<Derived> copy(made);
        made = nullptr;
        EXPECT_EQ(copy->number, 0);
        EXPECT_EQ(destroyed, 0);
    }
    EXPECT_EQ(destroyed, 1);
}

TEST_F(SmrPtr, DeletesAnObjectInTheBlockOfItsRecord_WhenTheLastHandleIsOfAnotherType) {
    auto source = ORVSmrPtr<Both>::make();
    ORVSmrPtr<Base> target;
    ForceCopySmrPtr(target, source);
    source = nullptr;
    EXPECT_EQ(destroyed, 0);
    EXPECT_EQ(target->number, 0);
    target = nullptr;
    EXPECT_EQ(destroyed, 2);
}

TEST_F(SmrPtr, DeletesADerivedObjectInTheBlockOfItsRecord) {
    auto made = ORVSmrPtr<Base>::make<Both>();
    static_assert(std::is_same_v<decltype(made), ORVSmrPtr<Base>>);
    ORVSmrPtr<Unrelated> other;
    ForceCopySmrPtr(other, made);
    EXPECT_NE(static_cast<void*>(made), static_cast<void*>(other));
    made = nullptr;
    EXPECT_EQ(destroyed, 0);
    other = nullptr;
    EXPECT_EQ(destroyed, 2);
}

TEST_F(SmrPtr, LeavesNothingBehind_WhenMakingTheObjectThrows) {
    struct Refusing {
        explicit Refusing(int number) { throw number; }
    };
    EXPECT_THROW(ORVSmrPtr<Refusing>::make(7), int);
}

TEST_F(SmrPtr, ReleasesTheFormerObject_WhenForceCopySucceeds) {
    ORVSmrPtr<Derived> target(new Derived);
    const ORVSmrPtr<Base> source(new Derived);
    ForceCopySmrPtr(target, source);
    EXPECT_EQ(destroyed, 1);
    EXPECT_EQ(target.Get(), source.Get());
}

TEST_F(SmrPtr, LeavesTheTarget_WhenForceCopyFails) {
    ORVSmrPtr<Derived> target(new Derived);
    const Derived* object = target.Get();
    ForceCopySmrPtr(target, ORVSmrPtr<Base>(new Base));
    ForceCopySmrPtr(target, ORVSmrPtr<Unrelated>(new Unrelated));
    EXPECT_EQ(destroyed, 1) << "the Unrelated of the temporary handle";
    ForceCopySmrPtr(target, ORVSmrPtr<Base>());
    EXPECT_EQ(target.Get(), object);
    EXPECT_EQ(destroyed, 1);
}

TEST_F(SmrPtr, LeavesTheTarget_WhenForceCopiedFromAMovedHandle) {
    moved = new Derived;
    const ORVSmrPtr<Base> owner(std::move(moved));
    ORVSmrPtr<Derived> target(new Derived);
    const Derived* object = target.Get();
    ForceCopySmrPtr(target, moved);
    EXPECT_EQ(target.Get(), object);
}

TEST_F(SmrPtr, KeepsTheObject_WhenForceCopiedToItself) {
    ORVSmrPtr<Base> handle(new Derived);
    const Base* object = handle.Get();
    ForceCopySmrPtr(handle, handle);
    EXPECT_EQ(handle.Get(), object);
    EXPECT_EQ(destroyed, 0);
}

TEST_F(SmrPtr, KeepsItsObject_WhenSplitOffByForceCopyAndTheSourceIsSetToNull) {
    ORVSmrPtr<Base> source(new Derived);
    Base* object = source.Get();
    ORVSmrPtr<Derived> splitOff;
    ForceCopySmrPtr(splitOff, source);
    source.Set(nullptr);
    EXPECT_TRUE(source.IsNull());
    EXPECT_EQ(splitOff.Get(), object);
    source = nullptr;
    EXPECT_EQ(destroyed, 0);
    splitOff = nullptr;
    EXPECT_EQ(destroyed, 1);
}

TEST_F(SmrPtr, DeletesNothing_WhenTheLastRecordOfTheObjectWasSetToNull) {
    ORVSmrPtr<Base> source(new Derived);
    Base* object = source.Get();
    ORVSmrPtr<Derived> splitOff;
    ForceCopySmrPtr(splitOff, source);
    source.Set(nullptr);
    splitOff = nullptr;
    source = nullptr;
    EXPECT_EQ(destroyed, 0);
    delete object;
}

TEST_F(SmrPtr, DeletesTheObjectOnce_WhenManyThreadsCopyAndReleaseIt) {
    {
        const ORVSmrPtr<Base> handle(new Derived);
        std::vector<std::jthread> threads;
        threads.reserve(4);
        for (int i = 0; i < 4; ++i) {
            threads.emplace_back([handle] {
                for (int round = 0; round < 2000; ++round) {
                    ORVSmrPtr<Derived> typed;
                    ForceCopySmrPtr(typed, handle);
                    // NOLINTNEXTLINE(performance-unnecessary-copy-initialization): each copy counts.
                    const ORVSmrPtr<Base> copy(handle);
                    ASSERT_EQ(copy.Get(), typed.Get());
                }
            });
        }
    }
    EXPECT_EQ(destroyed, 1);
}

TEST_F(SmrPtr, ShowsTheObjectOrNull_WhenOneThreadSetsWhileOthersLook) {
    Derived object;
    ORVSmrPtr<Base> handle(&object);
    {
        std::atomic<bool> isSet{false};
        std::vector<std::jthread> threads;
        threads.reserve(3);
        for (int i = 0; i < 3; ++i) {
            threads.emplace_back([copy = handle, &object, &isSet] {
                while (!isSet) {
                    const Base* seen = copy.Get();
                    ASSERT_TRUE(seen == nullptr || seen == &object);
                }
                ASSERT_TRUE(copy.IsNull());
            });
        }
        handle.Set(nullptr);
        isSet = true;
    }
    EXPECT_EQ(destroyed, 0);
}

#include "foundation/containers/ORVValSlist.h"

#include "foundation/handles/ORVSmrPtr.h"

#include <climits>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

namespace {

using List = ORVValSlist<int>;
using Values = std::vector<int>;

List listOf(const Values& values) {
    List list;
    for (int value : values) {
        list.append(value);
    }
    return list;
}

template <class T>
std::vector<T> forward(const ORVValSlist<T>& list) {
    return {list.begin(), list.end()};
}

/// What the walk still has to come; ends the walk.
Values rest(ORVValSlistIterator<int>& iterator) {
    Values values;
    while (++iterator) {
        values.push_back(iterator.key());
    }
    return values;
}

/// An element that throws when it is copied for the n-th time.
struct FragileElement {
    static inline int copiesLeft = 0;
    static inline int alive = 0;

    FragileElement() { ++alive; }
    FragileElement(const FragileElement&) {
        if (copiesLeft-- == 0) {
            throw std::runtime_error("no more copies");
        }
        ++alive;
    }
    FragileElement& operator=(const FragileElement&) = default;
    ~FragileElement() { --alive; }
};

}  // namespace

TEST(ValSlist, IsEmpty_WhenNew) {
    const List list;
    EXPECT_TRUE(list.isEmpty());
    EXPECT_EQ(list.entries(), 0U);
    EXPECT_EQ(list.begin(), list.end());
    EXPECT_FALSE(list.contains(1));
}

TEST(ValSlist, KeepsTheOrderOfInsertion) {
    const List list = listOf({3, 1, 2, 1});
    EXPECT_EQ(forward(list), (Values{3, 1, 2, 1}));
    EXPECT_EQ(list.entries(), 4U);
    EXPECT_FALSE(list.isEmpty());
}

TEST(ValSlist, FindsByEquality) {
    const ORVValSlist<std::string> list = [] {
        ORVValSlist<std::string> made;
        made.append("first");
        made.append("last");
        return made;
    }();
    EXPECT_TRUE(list.contains("first"));
    EXPECT_TRUE(list.contains("last"));
    EXPECT_FALSE(list.contains("LAST"));
}

TEST(ValSlist, RemovesOnlyTheFirst_WhenItHoldsTheSameHandleTwice) {
    const ORVSmrPtr<int> twice(new int(1));
    const ORVSmrPtr<int> once(new int(2));
    ORVValSlist<ORVSmrPtr<int>> list;
    for (const ORVSmrPtr<int>& handle : {twice, once, twice}) {
        list.append(handle);
    }
    EXPECT_TRUE(list.removeObject(twice));
    ASSERT_EQ(list.entries(), 2U);
    EXPECT_EQ(list.at(0), once);
    EXPECT_EQ(list.at(1), twice);
}

TEST(ValSlist, FindsAHandleByItsObject) {
    auto* object = new int(1);
    const ORVSmrPtr<int> owner(object);
    ORVSmrPtr<int> ofTheSameObject(object);
    ORVValSlist<ORVSmrPtr<int>> list;
    list.append(owner);
    EXPECT_TRUE(list.contains(ofTheSameObject));
    EXPECT_TRUE(list.removeObject(ofTheSameObject));
    ofTheSameObject.Set(nullptr);
}

TEST(ValSlist, LinksTheNeighbours_WhenRemovingHeadMiddleAndTail) {
    List list = listOf({1, 2, 3, 4});
    EXPECT_TRUE(list.removeObject(2));
    EXPECT_EQ(forward(list), (Values{1, 3, 4}));
    EXPECT_TRUE(list.removeObject(1));
    EXPECT_EQ(forward(list), (Values{3, 4}));
    EXPECT_TRUE(list.removeObject(4));
    EXPECT_EQ(forward(list), (Values{3}));
    list.append(5);
    EXPECT_EQ(forward(list), (Values{3, 5}));
}

TEST(ValSlist, StaysAsItIs_WhenTheObjectToRemoveIsAbsent) {
    List list = listOf({1, 2});
    EXPECT_FALSE(list.removeObject(3));
    EXPECT_EQ(forward(list), (Values{1, 2}));
    EXPECT_EQ(list.entries(), 2U);
}

TEST(ValSlist, StartsAfresh_WhenItsLastObjectWasRemoved) {
    List list = listOf({1});
    EXPECT_TRUE(list.removeObject(1));
    EXPECT_TRUE(list.isEmpty());
    EXPECT_EQ(list.begin(), list.end());
    EXPECT_FALSE(list.removeObject(1));
    list.append(2);
    EXPECT_EQ(forward(list), (Values{2}));
}

TEST(ValSlist, RemovesAnObject_WhenNamedByItsOwnElement) {
    ORVValSlist<std::string> list;
    list.append("a text that is too long to be kept inside the string object");
    list.append("other");
    EXPECT_TRUE(list.removeObject(list.at(0)));
    EXPECT_EQ(forward(list), std::vector<std::string>{"other"});
}

TEST(ValSlist, GivesTheTail_WhenAskedForTheLastIndex) {
    List list = listOf({1, 2, 3});
    EXPECT_EQ(list.at(list.entries() - 1), 3);
    EXPECT_EQ(list.at(0), 1);
    list.at(1) = 20;
    EXPECT_EQ(forward(list), (Values{1, 20, 3}));
}

TEST(ValSlist, ThrowsOutOfBounds_WhenTheIndexIsOutside) {
    List list = listOf({1, 2});
    EXPECT_THROW(list.at(2), ORVBoundsException);
    EXPECT_THROW(list.at(UINT_MAX), ORVBoundsException);
    EXPECT_THROW(std::as_const(list).at(2), ORVBoundsException);
    EXPECT_THROW(list.removeAt(list.entries()), ORVBoundsException);
    EXPECT_THROW(list.removeAt(UINT_MAX), ORVBoundsException);
    EXPECT_EQ(forward(list), (Values{1, 2}));
}

TEST(ValSlist, ThrowsOutOfBounds_WhenAnEmptyListIsAskedForAnything) {
    List list;
    EXPECT_THROW(list.at(0), ORVBoundsException);
    EXPECT_THROW(list.removeAt(0), ORVBoundsException);
    EXPECT_THROW(list.removeAt(1), ORVBoundsException);
    // One below its count, if the count is not looked at first.
    EXPECT_THROW(list.removeAt(UINT_MAX), ORVBoundsException);
}

TEST(ValSlist, ReturnsTheRemovedValue_WhenRemovingByIndex) {
    List list = listOf({1, 2, 3, 4});
    EXPECT_EQ(list.removeAt(0), 1);
    EXPECT_EQ(list.removeAt(2), 4);
    EXPECT_EQ(forward(list), (Values{2, 3}));
    list.append(5);
    EXPECT_EQ(list.removeAt(1), 3);
    EXPECT_EQ(forward(list), (Values{2, 5}));
}

TEST(ValSlist, StartsAfresh_WhenItsLastIndexWasRemoved) {
    List list = listOf({1});
    EXPECT_EQ(list.removeAt(0), 1);
    EXPECT_TRUE(list.isEmpty());
    list.append(2);
    EXPECT_EQ(forward(list), (Values{2}));
}

TEST(ValSlist, ReleasesItsHandles_WhenClearedAndWhenDestroyed) {
    auto* object = new int(1);
    ORVSmrPtr<int> handle(object);
    ORVValSlist<ORVSmrPtr<int>> list;
    list.append(handle);
    list.append(handle);
    list.clear();
    EXPECT_TRUE(list.isEmpty());
    EXPECT_EQ(list.begin(), list.end());
    list.append(handle);
    EXPECT_EQ(list.at(0).Get(), object);
    // The leak check of the sanitizer builds sees to the rest: the list now holds the only handle.
    handle = nullptr;
    EXPECT_EQ(*list.at(0), 1);
}

TEST(ValSlist, IsIndependentOfItsCopy) {
    List list = listOf({1, 2});
    List copy(list);
    copy.append(3);
    copy.at(0) = 10;
    EXPECT_EQ(forward(list), (Values{1, 2}));
    EXPECT_EQ(forward(copy), (Values{10, 2, 3}));
    list = copy;
    EXPECT_EQ(forward(list), (Values{10, 2, 3}));
    list = *&list;
    EXPECT_EQ(forward(list), (Values{10, 2, 3}));
}

TEST(ValSlist, IsEmpty_WhenMovedFrom) {
    List list = listOf({1, 2});
    const List moved(std::move(list));
    EXPECT_EQ(forward(moved), (Values{1, 2}));
    EXPECT_TRUE(list.isEmpty());  // NOLINT(bugprone-use-after-move): this is what the test is about.
}

TEST(ValSlist, LeavesNoElementBehind_WhenCopyingItThrows) {
    FragileElement::copiesLeft = INT_MAX;
    {
        ORVValSlist<FragileElement> list;
        for (int i = 0; i < 3; ++i) {
            list.append(FragileElement());
        }
        FragileElement::copiesLeft = 2;
        const auto copyTheList = [&list] { return ORVValSlist<FragileElement>(list); };
        EXPECT_THROW(copyTheList(), std::runtime_error);
        EXPECT_EQ(FragileElement::alive, 3);
        const FragileElement element;
        FragileElement::copiesLeft = 0;
        EXPECT_THROW(list.append(element), std::runtime_error);
        EXPECT_EQ(list.entries(), 3U);
    }
    EXPECT_EQ(FragileElement::alive, 0);
}

TEST(ValSlistIterator, WalksFromHeadToTailOnce) {
    List list = listOf({1, 2, 3});
    ORVValSlistIterator<int> iterator(list);
    EXPECT_TRUE(++iterator);
    EXPECT_EQ(iterator.key(), 1);
    EXPECT_TRUE(iterator());
    EXPECT_EQ(iterator.key(), 2);
    EXPECT_TRUE(++iterator);
    EXPECT_EQ(iterator.key(), 3);
    EXPECT_FALSE(++iterator);
    EXPECT_FALSE(iterator());
}

TEST(ValSlistIterator, StaysAtTheEnd_WhenTheListGrowsBehindIt) {
    List list = listOf({1});
    ORVValSlistIterator<int> iterator(list);
    EXPECT_EQ(rest(iterator), Values{1});
    list.append(2);
    EXPECT_FALSE(++iterator);
    iterator.reset();
    EXPECT_EQ(rest(iterator), (Values{1, 2}));
}

TEST(ValSlistIterator, HasNoStep_WhenTheListIsEmpty) {
    List list;
    ORVValSlistIterator<int> iterator(list);
    EXPECT_FALSE(++iterator);
    EXPECT_FALSE(iterator());
}

TEST(ValSlistIterator, GivesAReference) {
    List list = listOf({1, 2});
    ORVValSlistIterator<int> iterator(list);
    ++iterator;
    iterator.key() = 10;
    EXPECT_EQ(list.at(0), 10);
}

TEST(ValSlistIterator, ThrowsOutOfBounds_WhenRemovingWithoutACurrentElement) {
    List list = listOf({1, 2});
    ORVValSlistIterator<int> iterator(list);
    EXPECT_THROW(iterator.remove(), ORVBoundsException);
    EXPECT_EQ(rest(iterator), (Values{1, 2}));
    EXPECT_THROW(iterator.remove(), ORVBoundsException);
    EXPECT_EQ(list.entries(), 2U);
}

TEST(ValSlistIterator, EmptiesTheListAndResets_WhenTheOnlyElementIsRemoved) {
    List list = listOf({1});
    ORVValSlistIterator<int> iterator(list);
    ++iterator;
    EXPECT_EQ(iterator.remove(), 1);
    EXPECT_TRUE(list.isEmpty());
    EXPECT_THROW(iterator.remove(), ORVBoundsException);
    list.append(2);
    EXPECT_EQ(rest(iterator), Values{2});
}

TEST(ValSlistIterator, Resets_WhenTheHeadIsRemoved) {
    List list = listOf({1, 2, 3});
    ORVValSlistIterator<int> iterator(list);
    ++iterator;
    EXPECT_EQ(iterator.remove(), 1);
    EXPECT_EQ(list.entries(), 2U);
    EXPECT_THROW(iterator.remove(), ORVBoundsException);
    EXPECT_EQ(rest(iterator), (Values{2, 3}));
}

TEST(ValSlistIterator, StandsOnTheNewTail_WhenTheTailIsRemoved) {
    List list = listOf({1, 2, 3});
    ORVValSlistIterator<int> iterator(list);
    ++iterator, ++iterator, ++iterator;
    EXPECT_EQ(iterator.remove(), 3);
    EXPECT_EQ(iterator.key(), 2);
    EXPECT_EQ(list.at(list.entries() - 1), 2);
    list.append(4);
    EXPECT_EQ(rest(iterator), Values{4});
    EXPECT_EQ(forward(list), (Values{1, 2, 4}));
}

TEST(ValSlistIterator, StandsOnThePrevious_WhenAMiddleElementIsRemoved) {
    List list = listOf({1, 2, 3, 4});
    ORVValSlistIterator<int> iterator(list);
    ++iterator, ++iterator, ++iterator;
    EXPECT_EQ(iterator.remove(), 3);
    EXPECT_EQ(iterator.key(), 2);
    EXPECT_EQ(iterator.remove(), 2);
    EXPECT_EQ(iterator.key(), 1);
    EXPECT_EQ(rest(iterator), Values{4});
    EXPECT_EQ(forward(list), (Values{1, 4}));
}

TEST(ValSlistIterator, YieldsTheFollowingElement_WhenAnyElementWasRemoved) {
    for (unsigned int removed = 0; removed < 4; ++removed) {
        List list = listOf({0, 1, 2, 3});
        ORVValSlistIterator<int> iterator(list);
        Values seen;
        while (++iterator) {
            seen.push_back(iterator.key());
            if (iterator.key() == static_cast<int>(removed)) {
                iterator.remove();
            }
        }
        EXPECT_EQ(seen, (Values{0, 1, 2, 3})) << "removing " << removed;
        EXPECT_EQ(list.entries(), 3U);
        EXPECT_FALSE(list.contains(static_cast<int>(removed)));
    }
}

TEST(ValSlistIterator, EmptiesTheList_WhenEveryElementIsRemovedOnTheWay) {
    List list = listOf({1, 2, 3});
    Values removed;
    for (ORVValSlistIterator<int> iterator(list); ++iterator;) {
        removed.push_back(iterator.remove());
    }
    EXPECT_EQ(removed, (Values{1, 2, 3}));
    EXPECT_TRUE(list.isEmpty());
}

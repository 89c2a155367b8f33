#include "tests/support/LibraryHost.h"
#include "tests/support/SharedFolder.h"

#include <filesystem>

#include <gmock/gmock.h>

// A real class tree of well over a thousand classes.
namespace velm::test {
namespace {

using testing::HasSubstr;

TEST(RealSchema, AnIndicationOfTheDeepestClassArrivesOnceAtRootMiddleAndLeaf) {
    const std::filesystem::path schema = realSchema();
    VELM_SKIP_WITHOUT(schema);
    auto* repository = new COrvoRepository;
    const ORVSmrPtr<IOrvoRepository> handle(repository);
    repository->loadFile(schema.c_str(), Namespace);

    // The longest line of inheritance, from root to leaf.
    std::vector<ORVString> line;
    const auto all = handle->enumerateClasses(Namespace);
    ASSERT_GT(all->entries(), 1000u);
    for (const ORVSmrPtr<IOrvoClass>& leaf : *all) {
        std::vector<ORVString> candidate;
        for (ORVSmrPtr<IOrvoClass> node = leaf; !node.IsNull(); node = node->getSuperClass()) {
            candidate.insert(candidate.begin(), node->getName());
        }
        if (candidate.size() > line.size()) {
            line = std::move(candidate);
        }
    }
    ASSERT_GE(line.size(), 9u);

    LibraryHost host(handle);
    ScriptedListener listeners[3];
    host.subscribe(LibraryHost::idOf(listeners[0]), line.front());
    host.subscribe(LibraryHost::idOf(listeners[1]), line[line.size() / 2]);
    host.subscribe(LibraryHost::idOf(listeners[2]), line.back());

    host.report(line.back(), "deepest");
    // What comes second shows that nothing came twice before it.
    host.report(line.back(), "afterwards");

    for (ScriptedListener& listener : listeners) {
        ASSERT_TRUE(listener.waitForRequests(2));
        EXPECT_THAT(listener.requests()[0].body, HasSubstr("deepest"));
        EXPECT_THAT(listener.requests()[1].body, HasSubstr("afterwards"));
        EXPECT_EQ(listener.requestCount(), 2u);
    }
}

}  // namespace
}  // namespace velm::test

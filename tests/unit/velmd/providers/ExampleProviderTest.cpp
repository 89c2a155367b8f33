// examples/provider as its readers build it.
#include "foundation/object_model/COrvoSubscriptionFilter.h"
#include "tests/support/LogCapture.h"
#include "tests/unit/server/services/TemporaryFolder.h"
#include "tests/unit/velmd/providers/ProviderSupport.h"
#include "velmd/providers/ProviderFolder.h"
#include "velmd/providers/ProviderTable.h"

#include <filesystem>
#include <fstream>
#include <iterator>
#include <sys/stat.h>

#include <gmock/gmock.h>

namespace velm::test {
namespace {

using std::chrono::milliseconds;

constexpr auto change = IOrvoIndication::IndicationChange;

std::string contentOf(const std::string& pathInTree) {
    std::ifstream stream(std::string(VELM_SOURCE_DIR "/") + pathInTree);
    return {std::istreambuf_iterator<char>(stream), {}};
}

class ExampleProvider : public testing::Test {
protected:
    ExampleProvider() : recorder(new RecordingSubscriber), observer(recorder) {
        const std::string file = folder.file("libmemory_provider.so");
        std::filesystem::copy_file(VELM_EXAMPLE_PROVIDER, file);
        chmod(file.c_str(), 0644);
        loaded = std::make_unique<ProviderFolder>(
            std::filesystem::path(file).parent_path(),
            ProviderHost{observer, space, findTestNamespace, [](std::string_view) { return ORVString(); }});
    }

    void SetUp() override {
        ASSERT_EQ(loaded->providers().size(), 1u);
        ASSERT_EQ(loaded->providers().front()->name(), "memory");
    }

    /// Touched memory is memory in use: each round brings about a change, however quiet the machine is.
    bool bringsAbout(std::size_t reports, milliseconds deadline) const {
        std::vector<std::vector<char>> touched;
        const auto end = std::chrono::steady_clock::now() + deadline;
        while (std::chrono::steady_clock::now() < end) {
            touched.emplace_back(1 << 20, 'x');
            if (recorder->waitFor(reports, milliseconds(100))) {
                return true;
            }
        }
        return false;
    }

    IProvider& provider() { return loaded->providers().front()->provider(); }

    const LogCapture log;
    const TemporaryFolder folder;
    RecordingSubscriber* recorder;
    const ORVSmrPtr<IOrvoSubscriber> observer;
    std::unique_ptr<ProviderFolder> loaded;
};

TEST_F(ExampleProvider, ServesTheInstanceThatItEnumerates) {
    LoadedProvider& memory = *loaded->providers().front();
    ProviderTable table(space, isTestClassA);
    table.add(ORVString(memory.name()), memory.provider(), memory.classNames());
    IProvider* found = table.providerOf("cim_resourcepool");
    ASSERT_EQ(found, &memory.provider());

    const auto names = found->enumerateInstanceNames(space, "CIM_ResourcePool", nullptr);
    ASSERT_EQ(names->entries(), 1u);
    const Object pool = found->getInstance(space, names->at(0), nullptr);
    ASSERT_FALSE(pool.IsNull());
    EXPECT_EQ(pool->getInstanceName()->toString(), "root/Main:CIM_ResourcePool.InstanceID=\"memory\"");
    EXPECT_GT(pool->getProperty("Reserved")->getValue()->getUint64(), 0u);
    EXPECT_TRUE(found->getInstance(space, fileNamed("a"), nullptr).IsNull());
}

TEST_F(ExampleProvider, ReportsChanges_WhileSomebodyIsRegistered) {
    const Name pools = named(space, "CIM_ResourcePool", {});
    EXPECT_TRUE(provider().registerObserver(pools, observer, change, nullptr, nullptr)->getBoolean());
    EXPECT_TRUE(bringsAbout(1, milliseconds(10'000)));
    EXPECT_TRUE(provider().deregisterObserver(pools, observer, change, nullptr, nullptr)->getBoolean());

    // One may be on its way.
    EXPECT_FALSE(bringsAbout(recorder->reports().size() + 2, milliseconds(600)));
    loaded->closeGates();
    EXPECT_EQ(loaded->providers().front()->gate().counts().passed, recorder->reports().size());
    const Report report = recorder->reports().front();
    EXPECT_EQ(report->getType(), change);
    EXPECT_THAT(textOf(report),
                testing::MatchesRegex("CIM_ResourcePool root/Main:CIM_ResourcePool.InstanceID=\"memory\" "
                                      "\\{InstanceID=memory, Reserved=[0-9]+\\} \\[Reserved\\]"));
}

struct Registration {
    const char* what;
    Keys keys;
    IOrvoIndication::IndicationType type;
    std::vector<const char*> properties;
    bool accepted;
};

TEST_F(ExampleProvider, AcceptsWhatItCanReport) {
    const Keys memory{{"InstanceID", text("memory")}};
    const std::vector<Registration> all{
        {"its instance", memory, change, {}, true},
        {"every instance", {}, change, {}, true},
        {"its property", memory, change, {"Capacity", "Reserved"}, true},
        {"all properties by a filter", memory, change, {"*"}, true},
        {"a property that does not change", memory, change, {"Capacity"}, true},
        {"another instance", {{"InstanceID", text("disk")}}, change, {}, false},
        {"another kind", memory, IOrvoIndication::IndicationAddition, {}, false},
    };
    for (const Registration& each : all) {
        ORVSmrPtr<IOrvoSubscriptionFilter> filter;
        if (!each.properties.empty()) {
            filter = new COrvoSubscriptionFilter;
            for (const char* property : each.properties) {
                filter->addProperty(property);
            }
        }
        const Name name = named(space, "CIM_ResourcePool", each.keys);
        EXPECT_EQ(provider().registerObserver(name, observer, each.type, filter, nullptr)->getBoolean(),
                  each.accepted)
            << each.what;
    }
}

TEST_F(ExampleProvider, StopsAtOnce_WhileSomebodyIsRegistered) {
    const Name pools = named(space, "CIM_ResourcePool", {});
    provider().registerObserver(pools, observer, change, nullptr, nullptr);
    const auto begin = std::chrono::steady_clock::now();
    loaded.reset();
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(10));
}

/// The blocks of a page that are fenced as this language.
std::vector<std::string> blocksOf(const std::string& page, const std::string& language) {
    const std::string fence = "```" + language + "\n";
    std::vector<std::string> blocks;
    for (auto begin = page.find(fence); begin != std::string::npos; begin = page.find(fence, begin)) {
        begin += fence.size();
        blocks.push_back(page.substr(begin, page.find("```", begin) - begin));
    }
    return blocks;
}

TEST(ProviderPage, QuotesTheExampleAsItIs) {
    const std::string page = contentOf("docs/providers.md");
    const std::pair<const char*, const char*> sources[] = {{"cpp", "examples/provider/MemoryProvider.cpp"},
                                                           {"cmake", "examples/provider/CMakeLists.txt"}};
    for (const auto& [language, file] : sources) {
        const std::vector<std::string> blocks = blocksOf(page, language);
        EXPECT_FALSE(blocks.empty()) << language;
        for (const std::string& block : blocks) {
            EXPECT_NE(contentOf(file).find(block), std::string::npos) << "not in " << file << ":\n" << block;
        }
    }
}

}  // namespace
}  // namespace velm::test

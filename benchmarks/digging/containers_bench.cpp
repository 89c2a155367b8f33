#include "foundation/containers/ORVValMap.h"
#include "foundation/containers/ORVValSlist.h"
#include "foundation/handles/ORVSmrPtr.h"
#include "foundation/utilities/ORVReaderWriterLock.h"
#include "foundation/utilities/ORVString.h"

#include <memory>
#include <shared_mutex>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>
#include <boost/unordered/unordered_flat_map.hpp>
#include <fmt/format.h>

namespace {

using Map = ORVValMap<ORVString, ORVSmrPtr<int>>;

std::string keyText(std::size_t index) {
    return fmt::format("root/kob/talmora:CIM_DataFile.Id=\"/var/data/file-{:010}\"", index);
}

std::vector<ORVString> keys(std::size_t count) {
    std::vector<ORVString> result;
    for (std::size_t index = 0; index < count; ++index) {
        result.emplace_back(keyText(index));
    }
    return result;
}

void fill(Map& map, const std::vector<ORVString>& names) {
    const ORVSmrPtr<int> value(new int(0));
    for (const ORVString& name : names) {
        map.insert(name, value);
    }
}

/// Each key is looked up under a string of its own, whose hash is not known yet.
void findInMap(benchmark::State& state) {
    const auto count = static_cast<std::size_t>(state.range(0));
    Map map(&hashKeyORVStringToLower, 150);
    fill(map, keys(count));
    std::size_t next = 0;
    for (auto unused : state) {
        next = (next + 7919) % count;
        benchmark::DoNotOptimize(map.find(ORVString(keyText(next))));
    }
}
BENCHMARK(findInMap)->Arg(100)->Arg(10'000)->Arg(1'000'000);

void findInFlatMap(benchmark::State& state) {
    const auto count = static_cast<std::size_t>(state.range(0));
    boost::unordered_flat_map<std::string, int> map;
    for (std::size_t index = 0; index < count; ++index) {
        map.emplace(keyText(index), 0);
    }
    std::size_t next = 0;
    for (auto unused : state) {
        next = (next + 7919) % count;
        benchmark::DoNotOptimize(map.find(keyText(next)));
    }
}
BENCHMARK(findInFlatMap)->Arg(100)->Arg(10'000)->Arg(1'000'000);

void insertAndRemove(benchmark::State& state) {
    Map map(&hashKeyORVStringToLower, 150);
    fill(map, keys(static_cast<std::size_t>(state.range(0))));
    const ORVString key("one more");
    const ORVSmrPtr<int> value(new int(0));
    for (auto unused : state) {
        map.insert(key, value);
        map.remove(key);
    }
}
BENCHMARK(insertAndRemove)->Arg(100)->Arg(10'000)->Arg(1'000'000);

void appendToList(benchmark::State& state) {
    const ORVSmrPtr<int> value(new int(0));
    for (auto unused : state) {
        ORVValSlist<ORVSmrPtr<int>> list;
        for (int index = 0; index < 1000; ++index) {
            list.append(value);
        }
        benchmark::DoNotOptimize(list.entries());
    }
    state.SetItemsProcessed(state.iterations() * 1000);
}
BENCHMARK(appendToList);

void walkList(benchmark::State& state) {
    ORVValSlist<ORVSmrPtr<int>> list;
    for (int index = 0; index < 1000; ++index) {
        list.append(ORVSmrPtr<int>(new int(index)));
    }
    for (auto unused : state) {
        int sum = 0;
        for (const ORVSmrPtr<int>& value : list) {
            sum += *value;
        }
        benchmark::DoNotOptimize(sum);
    }
    state.SetItemsProcessed(state.iterations() * 1000);
}
BENCHMARK(walkList);

void copyHandle(benchmark::State& state) {
    const ORVSmrPtr<int> handle(new int(0));
    for (auto unused : state) {
        const ORVSmrPtr<int> copy = handle;
        benchmark::DoNotOptimize(&copy);
    }
}
BENCHMARK(copyHandle);

void copySharedPointer(benchmark::State& state) {
    const auto handle = std::make_shared<int>(0);
    for (auto unused : state) {
        const auto copy = handle;
        benchmark::DoNotOptimize(&copy);
    }
}
BENCHMARK(copySharedPointer);

void lockForReading(benchmark::State& state) {
    static ORVReaderWriterLock lock;
    for (auto unused : state) {
        lock.getReadLock();
        lock.releaseReadLock();
    }
}
BENCHMARK(lockForReading)->ThreadRange(1, 2)->UseRealTime();

void lockSharedMutex(benchmark::State& state) {
    static std::shared_mutex lock;
    for (auto unused : state) {
        lock.lock_shared();
        lock.unlock_shared();
    }
}
BENCHMARK(lockSharedMutex)->ThreadRange(1, 2)->UseRealTime();

}  // namespace

BENCHMARK_MAIN();

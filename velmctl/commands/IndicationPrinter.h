#pragma once

#include "velmctl/client/ExportMessage.h"
#include "velmctl/commands/Ending.h"
#include "velmctl/commands/SubscriptionOptions.h"
#include "velmctl/output/Output.h"

#include <atomic>
#include <chrono>
#include <cstdint>
#include <string>

namespace CLI {
class App;
}

namespace velm {

/// How indications are shown, and how many.
struct PrintOptions {
    bool asDocument = false;
    bool withShortNames = false;
    /// 0: no end.
    std::uint64_t count = 0;

    void declare(CLI::App& command);
};

/// Prints indications as they arrive, and stops the command when enough have, or nobody reads any more.
///
/// Threads: print() on one, count() on any. All that the constructor is given must outlive it.
class IndicationPrinter {
public:
    IndicationPrinter(const PrintOptions& options, const SubscriptionOptions& subscriptions, Output& output,
                      Ending& ending)
        : _options(options), _subscriptions(subscriptions), _output(output), _ending(ending) {}

    void print(const ExportMessage& message);

    /// How many were printed.
    std::uint64_t count() const noexcept { return _count; }

private:
    const PrintOptions& _options;
    const SubscriptionOptions& _subscriptions;
    Output& _output;
    Ending& _ending;
    std::atomic<std::uint64_t> _count{0};
};

/// "0.412 s  Change  CIM_DataFile  root/kob/talmora:CIM_DataFile.Name=...  (FileSize)": how long ago it
/// happened at `now`, and what. One line; on a terminal that is too narrow for it, path and properties stand
/// in lines of their own below.
std::string indicationText(const ExportMessage& message, ExportMessage::Time now, const PrintOptions& options,
                           const Output& output);

/// The same as an object; with `options.asDocument` the document is in it.
Json indicationJson(const ExportMessage& message, ExportMessage::Time now, const PrintOptions& options);

}  // namespace velm

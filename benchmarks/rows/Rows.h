#pragma once

#include "benchmarks/harness/Session.h"
#include "benchmarks/world/InstanceWorld.h"

/// The rows of the table, by what they measure. Each adds its lines to the session, as far as they are
/// wanted.
namespace velm::bench {

void measureDeliveries(Session& session);                       // 1, 2
void measureChannel(Session& session);                          // 3
void measureRouting(Session& session, InstanceWorlds& worlds);  // 4, 5
void measureClassTree(Session& session);                        // 6
void measureTwoThreads(Session& session);                       // 7
void measureFanOut(Session& session);                           // 8
void measureAssociations(Session& session);                     // 9
void measureSubscribing(Session& session);                      // 10
void measureRemoval(Session& session, InstanceWorlds& worlds);  // 11
void measureMemory(Session& session, InstanceWorlds& worlds);   // 12
void measureRendering(Session& session);                        // 13
void measureAnswers(Session& session);                          // 14
void measureSchema(Session& session);                           // 15
void measureIdle(Session& session);                             // 16
void measureBurst(Session& session);                            // 17

}  // namespace velm::bench

#pragma once

#include "foundation/handles/ORVSmrPtr.h"
#include "foundation/object_model/IOrvoSubscriber.h"
#include "velmd/repository/Repository.h"

namespace velm {

/// What the repository reports as a provider of indications: the creation, change and destruction of every
/// instance in the namespace that the indication library mirrors. Association instances need nothing more:
/// the kinds of subscription about associations are matched against their creation and destruction.
///
/// `observer` is shared; what it refers to must outlive the repository's last write.
Repository::Observer repositoryReports(const ORVSmrPtr<IOrvoSubscriber>& observer);

}  // namespace velm

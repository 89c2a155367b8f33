#pragma once

/// The blocks that this thread has taken with operator new and not given back. The test binary replaces the
/// global operators to count them.
long liveBlocks() noexcept;

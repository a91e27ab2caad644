// The wiki's reading order: navigation section and type order, then plan order.
#pragma once

#include <span>
#include <vector>

#include "vantorel/workers/wiki/types/types.h"

namespace vantorel::workers::wiki {

// Every plan of `plans` exactly once, ordered by the navigation position of its page type
// (`nav_key(plan_type(plan))`), then by its position in `plans`. Whatever `plan_type` throws
// reaches the caller.
std::vector<PagePlan> reading_order(std::span<const PagePlan> plans);

namespace detail {

// The same order as positions into `plans`, for callers that need no copies.
std::vector<std::size_t> reading_positions(std::span<const PagePlan> plans);

}  // namespace detail

}  // namespace vantorel::workers::wiki

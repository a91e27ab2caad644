#include "vantorel/workers/wiki/finalize/reading_order.h"

#include <algorithm>
#include <utility>

namespace vantorel::workers::wiki {

namespace detail {

std::vector<std::size_t> reading_positions(std::span<const PagePlan> plans) {
  std::vector<std::pair<NavKey, std::size_t>> keys;
  keys.reserve(plans.size());
  for (std::size_t i = 0; i < plans.size(); ++i) keys.emplace_back(nav_key(plan_type(plans[i])), i);
  // Positions are unique, so keys never tie and the plans themselves are never compared.
  std::sort(keys.begin(), keys.end());
  std::vector<std::size_t> order;
  order.reserve(keys.size());
  for (const auto& key : keys) order.push_back(key.second);
  return order;
}

}  // namespace detail

std::vector<PagePlan> reading_order(std::span<const PagePlan> plans) {
  std::vector<PagePlan> out;
  out.reserve(plans.size());
  for (std::size_t i : detail::reading_positions(plans)) out.push_back(plans[i]);
  return out;
}

}  // namespace vantorel::workers::wiki

#include "vantorel/workers/wiki/finalize/batch.h"

#include <algorithm>
#include <atomic>
#include <exception>
#include <thread>
#include <unordered_map>
#include <unordered_set>
#include <utility>

#include "vantorel/workers/wiki/finalize/reading_order.h"
#include "vantorel/workers/wiki/finalize/steps.h"
#include "vantorel/workers/wiki/orchestrator/orchestrator.h"
#include "vantorel/workers/wiki/repo_facts/repo_facts.h"

namespace vantorel::workers::wiki {

namespace {

// The first two pages, in plan order, that claim a file: the owner of the file for every page but
// the first claimant itself, and the owner for that one.
struct Claimants {
  std::string_view first{};
  std::string_view second{};  // the first claimant whose id differs from `first`; empty when none
};

}  // namespace

// The wiki-wide parts of `_finalize`, computed once: what `_link_targets`, the reading order and
// the dependency ranking of `_related_targets` read from the generator.
struct FinalizeBatch::Wiki {
  explicit Wiki(const FinalizeMixin& generator);

  std::vector<LinkTarget> related(const PagePlan& plan) const;
  const LinkTarget& target(std::string_view page_id) const { return targets[last.at(page_id)]; }

  const FinalizeMixin& generator;
  std::vector<LinkTarget> targets;
  LinkIndex index;
  std::unordered_map<std::string_view, std::size_t> last;      // page id -> its last target: the one `by_id` keeps
  std::vector<std::string_view> order;                         // page ids in reading order
  std::unordered_map<std::string_view, std::size_t> position;  // page id -> its first place in `order`
  std::unordered_map<std::string_view, Claimants> claimants;   // file -> the pages that claim it first
  const DependentsMap& dependents;                             // file -> the files that depend on it
  // file -> the files it depends on: each file once per time it is listed as a dependent.
  std::unordered_map<std::string_view, std::vector<std::string_view>> dependencies;
};

FinalizeBatch::Wiki::Wiki(const FinalizeMixin& g)
    : generator(g), targets(g._link_targets()), index(targets), dependents(g._file_dependents_map()) {
  last.reserve(targets.size());
  for (std::size_t i = 0; i < targets.size(); ++i) last[targets[i].page_id] = i;

  order.reserve(g._plans.size());
  for (std::size_t i : detail::reading_positions(g._plans)) {
    const std::string_view id = g._plans[i].page_id;
    if (!last.contains(id)) continue;
    position.try_emplace(id, order.size());
    order.push_back(id);
  }

  for (const LinkTarget& target : targets) {
    for (const std::string& path : target.files) {
      Claimants& c = claimants[path];
      if (c.first.empty()) {
        c.first = target.page_id;
      } else if (c.second.empty() && target.page_id != c.first) {
        c.second = target.page_id;
      }
    }
  }
  for (const auto& [path, list] : dependents) {
    for (const std::string& dependent : list) dependencies[dependent].push_back(path);
  }
}

// What `_related_targets(plan, targets)` returns, reading only the plan's own files and their
// edges: the plan's related pages, then the unit pages most tied to its files.
std::vector<LinkTarget> FinalizeBatch::Wiki::related(const PagePlan& plan) const {
  std::vector<LinkTarget> out;
  std::unordered_set<std::string_view> shown;
  for (const std::string& id : plan.related_pages) {
    if (id == plan.page_id || !last.contains(id) || !shown.insert(target(id).page_id).second) continue;
    out.push_back(target(id));
  }

  std::set<std::string, std::less<>> mine;
  for (const std::string& path : plan.source_files) mine.insert(_norm(path));
  if (mine.empty()) return out;

  const auto owner = [&](std::string_view path) -> std::string_view {
    const auto it = claimants.find(path);
    if (it == claimants.end()) return {};
    return it->second.first != plan.page_id ? it->second.first : it->second.second;
  };
  std::unordered_map<std::string_view, std::size_t> ties;
  const auto tie = [&](std::string_view path) {
    if (const std::string_view o = owner(path); !o.empty()) ++ties[o];
  };
  for (const std::string& path : mine) {
    tie(path);
    if (const auto up = dependencies.find(path); up != dependencies.end()) {
      for (const std::string_view depended : up->second) tie(depended);
    }
    if (const auto down = dependents.find(path); down != dependents.end()) {
      for (const std::string& dependent : down->second) tie(dependent);
    }
  }

  detail::add_most_tied(out, ties, shown, targets, last);
  return out;
}

FinalizeBatch::FinalizeBatch(const FinalizeMixin& generator) : wiki_(std::make_unique<const Wiki>(generator)) {}
FinalizeBatch::~FinalizeBatch() = default;
FinalizeBatch::FinalizeBatch(FinalizeBatch&&) noexcept = default;
FinalizeBatch& FinalizeBatch::operator=(FinalizeBatch&&) noexcept = default;

const FinalizeMixin& FinalizeBatch::generator() const noexcept { return wiki_->generator; }
std::span<const LinkTarget> FinalizeBatch::link_targets() const noexcept { return wiki_->targets; }
const LinkIndex& FinalizeBatch::link_index() const noexcept { return wiki_->index; }

FinalizedPage FinalizeBatch::finalize(const PagePlan& plan, std::string_view text, std::span<const Diagram> diagrams,
                                      std::string_view grounding, const FinalizeOptions& options) const {
  const Wiki& wiki = *wiki_;
  const PageType& page_type = plan_type(plan);
  detail::AuthoredPart part = detail::authored_part(wiki.generator, plan, text, options);

  PageFrame frame = detail::page_frame(plan, page_type, part, diagrams);
  frame.related = wiki.related(plan);
  if (const auto found = wiki.position.find(plan.page_id); found != wiki.position.end()) {
    const std::size_t at = found->second;
    if (at > 0) frame.previous = wiki.target(wiki.order[at - 1]);
    if (at + 1 < wiki.order.size()) frame.next = wiki.target(wiki.order[at + 1]);
  }
  frame.index = wiki.generator._catch_all_index(plan);
  return detail::finished_page(std::move(part), frame, wiki.index, grounding);
}

FinalizedPage FinalizeBatch::finalize(const PageInput& page) const {
  return finalize(*page.plan, page.text, page.diagrams, page.grounding, page.options);
}

namespace {

// `one(batch, page)` for each of `pages` on up to `threads` threads (0: one per processor), result i
// for page i; the first failure in page order is rethrown once every thread has stopped.
template <class Result, class One>
std::vector<Result> for_each_page(const FinalizeBatch& batch, std::span<const PageInput> pages, unsigned threads, One one) {
  if (threads == 0) threads = std::max(1u, std::thread::hardware_concurrency());
  std::vector<Result> out(pages.size());
  std::vector<std::exception_ptr> failures(pages.size());
  std::atomic<std::size_t> next{0};
  const auto work = [&] {
    for (std::size_t i; (i = next++) < pages.size();) {
      try {
        out[i] = one(batch, pages[i]);
      } catch (...) {
        failures[i] = std::current_exception();
      }
    }
  };
  {
    std::vector<std::jthread> pool;
    for (std::size_t t = 1; t < std::min<std::size_t>(threads, pages.size()); ++t) pool.emplace_back(work);
    work();
  }
  for (const std::exception_ptr& failure : failures) {
    if (failure) std::rethrow_exception(failure);
  }
  return out;
}

}  // namespace

std::vector<FinalizedPage> WikiGenerator::finalize_pages(std::span<const PageInput> pages, unsigned threads) const {
  return for_each_page<FinalizedPage>(FinalizeBatch(*this), pages, threads,
                                      [](const FinalizeBatch& batch, const PageInput& page) { return batch.finalize(page); });
}

std::vector<PageRun> WikiGenerator::run_pages(std::span<const PageInput> pages, unsigned threads) const {
  return for_each_page<PageRun>(FinalizeBatch(*this), pages, threads,
                                [](const FinalizeBatch& batch, const PageInput& page) { return run_page(batch, page); });
}

}  // namespace vantorel::workers::wiki

// FinalizeBatch: `_finalize` for many pages against one state of the generator.
//
//   const FinalizeBatch batch(generator);  // link targets, reading order, file owners: once
//   for (const PagePlan& plan : generator._plans) write(plan, batch.finalize(plan, text_of(plan), {}, grounding_of(plan)));
//
// `_finalize` recomputes the wiki-wide parts of a page (every page's link target, the reading
// order, which page owns which file) on every call, as it must: the generator's state may change
// between two pages. Finalizing a whole wiki that way costs time proportional to the square of its
// size. A batch computes those parts once, when it is built, and then finalizes each page in time
// that depends on the page and its own files only. For every page it returns exactly what
// `_finalize` returns with the generator in the state the batch was built from, calling the
// generator's verification operations the same way.
//
// The generator must outlive the batch and must not change while the batch is in use. `finalize`
// is const and keeps no state, so several threads may finalize pages of one batch at once, as far
// as the generator's own operations allow it (those of `WikiGenerator` do).
#pragma once

#include <memory>
#include <span>
#include <string_view>
#include <vector>

#include "vantorel/workers/wiki/finalize/mixin.h"
#include "vantorel/workers/wiki/link_text/link_text.h"

namespace vantorel::workers::wiki {

// One page to finalize: the arguments of one `_finalize` call. Views into the caller's data.
struct PageInput {
  const PagePlan* plan = nullptr;      // the page
  std::string_view text{};             // what the author wrote
  std::span<const Diagram> diagrams{};  // the diagrams code places
  std::string_view grounding{};        // the page's grounding
  FinalizeOptions options{};           // seeds and fill_citations
};

class FinalizeBatch {
 public:
  // Computes the wiki-wide parts from `generator`'s current state. Whatever the generator's
  // operations throw (an unknown page type, say) reaches the caller.
  explicit FinalizeBatch(const FinalizeMixin& generator);
  ~FinalizeBatch();
  FinalizeBatch(FinalizeBatch&&) noexcept;
  FinalizeBatch& operator=(FinalizeBatch&&) noexcept;

  // What `generator._finalize(plan, text, diagrams, grounding, options)` returns.
  FinalizedPage finalize(const PagePlan& plan, std::string_view text, std::span<const Diagram> diagrams, std::string_view grounding,
                         const FinalizeOptions& options = {}) const;
  FinalizedPage finalize(const PageInput& page) const;

  // The generator the batch was built from.
  const FinalizeMixin& generator() const noexcept;

  // What `generator._link_targets()` returns, and the same targets prepared for linking.
  std::span<const LinkTarget> link_targets() const noexcept;
  const LinkIndex& link_index() const noexcept;

 private:
  struct Wiki;
  std::unique_ptr<const Wiki> wiki_;
};

}  // namespace vantorel::workers::wiki

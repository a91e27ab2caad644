// The page-local steps of finalizing a page, shared by `FinalizeMixin::_finalize` and
// `FinalizeBatch`, which differ only in how they find the wiki-wide parts (link targets, reading
// order, related pages).
#pragma once

#include <span>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "vantorel/workers/wiki/finalize/mixin.h"
#include "vantorel/workers/wiki/finalize/page.h"

namespace vantorel::workers::wiki::detail {

// Appends to `related` the targets of up to RELATED_BY_GRAPH pages of `ties` (page id -> how tied
// it is to the page), most ties first, then in plan order, leaving out the pages `shown`. `last`
// maps a page id to its last target in `targets`, the one a lookup by id finds.
void add_most_tied(std::vector<LinkTarget>& related, const std::unordered_map<std::string_view, std::size_t>& ties,
                   const std::unordered_set<std::string_view>& shown, std::span<const LinkTarget> targets,
                   const std::unordered_map<std::string_view, std::size_t>& last);

// The author's part of a page and its citations.
struct AuthoredPart {
  Authored authored{};               // split from the text, inline citations scrubbed
  std::vector<Citation> own{};       // the valid citations of the body alone
  std::vector<Citation> citations{};  // the citations stored with the page
};

// Splits `text`, scrubs its inline citations and validates them (with the seeds, and topped up
// when asked), through the generator's verification operations.
AuthoredPart authored_part(const FinalizeMixin& generator, const PagePlan& plan, std::string_view text, const FinalizeOptions& options);

// The frame's fields that depend on the page alone: id, title, summary, type, sources, diagrams.
PageFrame page_frame(const PagePlan& plan, const PageType& page_type, const AuthoredPart& part, std::span<const Diagram> diagrams);

// The finished record: the page written from `frame` (its body linked through `links`), the
// outline `grounding` offers, and the authored part.
FinalizedPage finished_page(AuthoredPart part, const PageFrame& frame, const LinkIndex& links, std::string_view grounding);

}  // namespace vantorel::workers::wiki::detail

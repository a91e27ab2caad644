// What the wiki-finalize program tells a user about the generated blocks of a page besides whether
// the page changed: which blocks the run writes anew with other lines than the page held, and
// whether someone edited them (their edit is lost) or the plan changed what they show.
//
//   const std::vector<std::string> digests = block_digests(finished);  // kept in the manifest
//   for (const wiki::Finding& f : changed_blocks(before, origin, digests, targets, &digests_from_last_run)) report(f);
#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "vantorel/workers/wiki/findings/findings.h"
#include "vantorel/workers/wiki/link_text/link_text.h"

namespace vantorel::tools {

namespace wiki = vantorel::workers::wiki;

// One digest per block of `page` whose part is "sources", "diagram", "index" or "footer", in page
// order: the part, ":", and 16 hex digits of a hash of the block's lines. The manifest keeps them
// for the next run.
std::vector<std::string> block_digests(std::string_view page);

// Findings about the blocks of `before` (a page's text as the run's repair left it; `origin` gives,
// per line, its 1-based line in the page file, 0 for an added line) that the page the run writes
// (given by its `block_digests`, `after`) holds with other lines, among "sources", "diagram", "index" and "footer" blocks, each
// paired with the block of the same part at the same position among those. A block only one of
// the pages has is not reported, nor one whose only change is a link that showed a page of
// `targets` by a former title.
//
// A changed block is `block-edited` (a warning: the edit is lost) when someone changed it since a
// run wrote it: its digest is not among `stored` (the digests the last run kept for the page), or,
// without stored digests, its lines are not what the page writer writes for that part. Otherwise
// it is `block-regenerated` (a note): the plan, the imports or the page's citations changed what
// it shows. Each finding points at the block's opening marker.
std::vector<wiki::Finding> changed_blocks(std::string_view before, std::span<const std::size_t> origin, std::span<const std::string> after,
                                          const wiki::LinkIndex& targets, const std::vector<std::string>* stored);

}  // namespace vantorel::tools

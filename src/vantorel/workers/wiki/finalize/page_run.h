// The page run: what `wiki-finalize` does with each page, for a generator to call as well. It
// repairs the author's text (repair.h), finalizes it, and finalizes the finished page once more to
// see that nothing changes; it reports every repair, and every removal the finalize step makes by
// design when what it removed is not on the finished page.
//
//   const FinalizeBatch batch(generator);
//   const PageRun run = run_page(batch, {.plan = &plan, .text = text, .diagrams = diagrams, .grounding = grounding});
//   write(plan.page_id + ".md", run.page.markdown);
//   for (const Finding& f : in_file(run.findings, "wiki/" + plan.page_id + ".md")) std::cerr << to_text(f) << '\n';
//
// Settling: finalizing the page a run returns, through another run, gives the same page, for a
// plan whose page ids hold no "[" or "]" (a link carries the page id into its destination, where
// the next run would take bracketed text for an inline citation; `wiki-finalize` refuses them).
// Where the finalize step still changes a page it has just written (a case the repair does not
// foresee, such as a section left holding nothing but links once a copy of a diagram was taken
// out, or a blockquote opening the prose that holds no text, which the split drops one per pass
// where it looks for the summary), the run finalizes it again, up to MAX_PASSES times and past
// that for as long as each pass makes the page shorter, and reports the extra passes.
//
// Removals by design that are reported (as notes), each only when the removed text is not what
// the page now shows: front-matter other than the summary, a first-line H1 that differs from the
// page's title, a "## Sources" or "## Related" section of links that the page no longer has, a
// section holding only a Mermaid diagram that differs from the diagrams code draws, and link texts
// that showed a page's former title. An authored copy of a diagram code places, and the generated
// blocks themselves, are replaced by what they copy and are not reported.
//
// Findings are placed in the text as given, line endings normalized; findings of a second or later
// pass are about the page the run wrote and have no place.
#pragma once

#include <cstddef>
#include <span>
#include <string_view>
#include <vector>

#include "vantorel/workers/wiki/finalize/batch.h"
#include "vantorel/workers/wiki/finalize/mixin.h"
#include "vantorel/workers/wiki/finalize/repair.h"
#include "vantorel/workers/wiki/findings/findings.h"

namespace vantorel::workers::wiki {

// One page after a page run.
struct PageRun {
  FinalizedPage page{};             // the finished page and what is stored with it
  std::vector<Finding> findings{};  // what was repaired or removed by design; no file set
  RepairedText repaired{};          // the text as the first pass repaired it (its findings are in `findings` too)
  std::size_t passes = 1;           // repair-and-finalize passes the page took; 1 for every page the repair foresees
  bool settled = true;              // a further pass gives the same page; false only when the passes did not reach one

  bool operator==(const PageRun&) const = default;
};

// The most repair-and-finalize passes a run makes.
inline constexpr std::size_t MAX_PASSES = 4;

// The page run of one page against the wiki-wide parts of `batch`.
PageRun run_page(const FinalizeBatch& batch, const PageInput& page);

// The page run of one page through `generator._finalize`.
PageRun run_page(const FinalizeMixin& generator, const PagePlan& plan, std::string_view text, std::span<const Diagram> diagrams,
                 std::string_view grounding, const FinalizeOptions& options = {});

}  // namespace vantorel::workers::wiki

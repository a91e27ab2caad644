// The repair step of a page run: what a page text needs before the finalize step sees it, so that
// the page settles in one run whatever the author handed in, and no word the author wrote is lost.
//
//   const RepairedText repaired = repair_page_text(text, {.citations = &generator, .plan_summary = plan.description});
//   const FinalizedPage page = generator._finalize(plan, repaired.text, diagrams, grounding);
//   for (const Finding& f : repaired.findings) report(in_file({f}, "wiki/cli.md"));
//
// The finalize step itself takes a page apart and writes it anew; on text a model or a person
// wrote it can still meet what it was never meant to read: a code fence left open (a model cut off
// mid-block), a generated block whose closing or opening marker is gone, an inline citation that
// names no file. Finalizing such a page can swallow the blocks written after the prose, grow the
// page on every run, or drop the author's words. The repair step reads the text the way the split
// will, and changes only this:
//
// 1. A code fence that never closes gets a closing fence line (its own run of backticks or
//    tildes): before the first generated block that follows it, or after the last line that is
//    not blank when none follows.
// 2. An opening marker whose block never closes, or whose block would end at the closing marker
//    of a later block (a marker line inside a block is never what the page writer writes), and a
//    closing marker with no block: when the lines after the opening marker, or right before the
//    closing one, have the shape the page writer gives that part, they are taken as the block and
//    the missing marker is added; otherwise the marker line is removed and the lines stay as prose.
// 3. Inline citations ("[src/a.c]", "[src/a.c:3]", "[src/a.c:3-9]", outside code, as
//    `VerifyMixin::_scrub_inline_citations` finds them): one whose file exists and whose lines are
//    within it becomes the link the citation checks count, "[src/a.c:3-9](../src/a.c#L3-L9)";
//    one that resolves to nothing, and one inside a "## Sources" or "## Related" section (which the
//    split drops when it holds nothing but links), is escaped as "\[src/a.c]", which reads the same.
//
// 4. Blockquotes holding no text (lines of ">" alone) that open the prose and have another
//    blockquote after them, where the split looks for the summary there (the author gave none, or
//    the plan's own): the split drops one per run without taking it, so they are removed.
//
// Every other byte is kept, in order; line endings are made "\n" first. Each repair is reported as
// one finding placed in the text with its line endings normalized (lone "\r" counts as a line
// break). Repairing a repaired text changes nothing and reports nothing. Never fails on odd text.
// The finalize functions are left as they are: they are only given a text they can settle.
#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "vantorel/workers/wiki/findings/findings.h"
#include "vantorel/workers/wiki/verify/verify_mixin.h"

namespace vantorel::workers::wiki {

// What the repair step needs to know about the page besides its text.
struct RepairContext {
  const VerifyMixin* citations = nullptr;  // resolves inline citations; none leaves them to the scrub
  std::string_view plan_summary{};         // the plan's description: a summary equal to it counts as none
};

// A repaired page text and what was repaired.
struct RepairedText {
  std::string text{};                // the text to finalize, "\n" line endings
  std::vector<Finding> findings{};   // one per repair; no file set
  std::vector<std::size_t> origin{};  // per line of `text`: its 1-based line in the input, 0 for a line the repair added

  bool operator==(const RepairedText&) const = default;
};

RepairedText repair_page_text(std::string_view text, const RepairContext& context);

namespace detail {

// How many lines from `lines[at]` on, and before `end`, the page writer writes as the lines of a
// block of `part` (between its markers); 0 when they do not have that shape or `part` is not one
// the writer emits.
std::size_t writer_shape_length(std::string_view part, std::span<const std::string_view> lines, std::size_t at, std::size_t end);

// The number of leading lines of `text` that its front-matter takes, as the split finds it
// (`FRONT_MATTER_RE` and a block `_front_matter` accepts); 0 when it has none.
std::size_t front_matter_lines(std::string_view text);

// Whether splitting `text` (whose first `front` lines are its front-matter, `lines` its lines)
// finds the author's summary before it looks at a blockquote opening the prose: a summary in the
// front-matter, or the text of the first summary block that is not the plan's. Only then does the
// split keep such a blockquote in the body.
bool summary_before_blockquote(std::string_view text, std::span<const std::string_view> lines, std::size_t front);

}  // namespace detail

}  // namespace vantorel::workers::wiki

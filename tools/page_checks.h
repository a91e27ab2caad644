// What the wiki-finalize program tells a user about one page besides whether it changed: why a
// page may not settle, and which generated blocks were edited by hand.
//
//   unsettled_cause("Intro.\n\n```sh\nmake\n", "Guide", "")
//     == "a code fence in the body is never closed (\"```sh\")"
//   edited_blocks(on_disk, finished, targets) == {"footer"}  // someone added a line to the footer
#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "vantorel/workers/wiki/link_text/link_text.h"

namespace vantorel::tools {

namespace wiki = vantorel::workers::wiki;

// Whether `line` (one line, no "\n") is a generated-block marker line, opening or closing, as the
// finalize step recognises one.
bool is_marker_line(std::string_view line);

// The likely reason why finalizing the page finalized from `text` (an author's text with "\n"
// line endings) again gives a different page, as a phrase: an unclosed code fence in the body, a
// marker line outside code fences in the body, a body that opens with a blockquote where no
// summary was given, a title that is not one line; else a general phrase. `title` and
// `description` are the plan's.
std::string unsettled_cause(std::string_view text, std::string_view title, std::string_view description);

// The names of the generated blocks that `on_disk` (a page file as read, "\n" line endings) holds
// with other lines than `finished` (the page this run writes) holds there, among "sources",
// "diagram", "index" and "footer", in that order, each at most once. Blocks are paired by their
// position among the blocks of the same name; a block only one of the pages has is no edit.
// Links that name a page of `targets` by one of its former titles count as unchanged, and a
// source list counts as edited only when its lines are not a list the page writer writes.
std::vector<std::string> edited_blocks(std::string_view on_disk, std::string_view finished, const wiki::LinkIndex& targets);

}  // namespace vantorel::tools

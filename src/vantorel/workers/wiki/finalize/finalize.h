// The finalize step of the wiki generator: turns the prose an author wrote for one page into the
// finished Markdown page, and writes everything code puts around that prose.
//
// This header declares the component's public surface; include it rather than the headers of
// its families of functions:
//
//   generated blocks and segments   blocks.h     (_block, _segments, strip_generated)
//   the authored split              authored.h   (Authored, split_authored)
//   the page writer                 page.h       (PageFrame, finalize_page)
//   diagram placement               placement.h  (place_diagrams)
//   source list and file table      sources.h    (source_list, other_code_index)
//   page queries                    queries.h    (searchable_text, mermaid_blocks, section_headings)
//   reading order                   reading_order.h
//   the coordinator                 mixin.h      (FinalizeMixin, FinalizedPage)
#pragma once

#include "vantorel/workers/wiki/finalize/authored.h"
#include "vantorel/workers/wiki/finalize/blocks.h"
#include "vantorel/workers/wiki/finalize/mixin.h"
#include "vantorel/workers/wiki/finalize/page.h"
#include "vantorel/workers/wiki/finalize/placement.h"
#include "vantorel/workers/wiki/finalize/queries.h"
#include "vantorel/workers/wiki/finalize/reading_order.h"
#include "vantorel/workers/wiki/finalize/sources.h"

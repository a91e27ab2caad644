// When a text or a finished page settles: the conditions under which stripping the generated
// blocks, or splitting a page and writing it again, gives back the same text. The property tests
// and the fuzz targets check idempotence only on inputs these predicates accept; outside them the
// functions must still never throw, but may change the text again.
#pragma once

#include <string>
#include <string_view>

#include "vantorel/text/text.h"
#include "vantorel/workers/wiki/finalize/authored.h"
#include "vantorel/workers/wiki/finalize/blocks.h"
#include "vantorel/workers/wiki/finalize/normalize.h"
#include "vantorel/workers/wiki/finalize/page.h"
#include "vantorel/workers/wiki/finalize/placement.h"
#include "vantorel/workers/wiki/link_text/link_text.h"
#include "vantorel/workers/wiki/verify/verify.h"

namespace vantorel::test_support {

// Whether `line`, trimmed, is an opening or closing marker of a generated block.
inline bool is_marker_line(std::string_view line) {
  namespace wiki = workers::wiki;
  const std::string_view t = text::trim(line);
  return wiki::detail::OPEN_RE().full_match(t) || wiki::detail::CLOSE_RE().full_match(t);
}

// Whether a marker line stands outside fenced code somewhere in `text`.
inline bool has_marker_outside_fences(std::string_view text) {
  bool in_fence = false;
  for (std::string_view line : text::Lines(text)) {
    if (!in_fence && is_marker_line(line)) return true;
    if (workers::wiki::is_fence_line(line)) in_fence = !in_fence;
  }
  return false;
}

// Whether a single-line field holds a line break.
inline bool has_line_break(std::string_view field) { return field.find('\n') != std::string_view::npos; }

// Whether the lines the writer copies into a generated block keep the block whole: no line is a
// fence line or, once trimmed, a marker line.
inline bool block_lines_safe(std::string_view lines) {
  for (std::string_view line : text::Lines(lines))
    if (workers::wiki::is_fence_line(line) || is_marker_line(line)) return false;
  return true;
}

inline bool target_safe(const workers::wiki::LinkTarget& target) { return !has_line_break(target.title) && !has_line_break(target.href); }

// Whether `finalize_page(authored, frame, ...)`, split with the plan's description and written
// again with the same frame, gives the same page: the frame's single-line fields hold no line
// break and its block lines keep their blocks whole, the title is one line that starts with a
// character other than white space, and the body as the writer holds it before placing the
// diagrams (authored copies of placed diagrams dropped, links made) has every fence closed, no
// marker line outside fences, is left as it is by the split's normalization and, without an
// author's summary, does not begin with a blockquote the next split would take for the summary.
inline bool settles(const workers::wiki::Authored& authored, const workers::wiki::PageFrame& frame) {
  namespace wiki = workers::wiki;
  if (frame.title.empty() || has_line_break(frame.title) || text::space_at(frame.title, 0) != 0) return false;
  if (has_line_break(frame.summary)) return false;
  for (const std::string& path : frame.sources)
    if (has_line_break(path)) return false;
  for (const wiki::Diagram& diagram : frame.diagrams) {
    if (has_line_break(diagram.heading) || !block_lines_safe(diagram.heading)) return false;
    if (text::is_blank(diagram.mermaid) || !block_lines_safe(diagram.mermaid)) return false;
  }
  for (const std::string& line : frame.index)
    if (has_line_break(line) || !block_lines_safe(line)) return false;
  for (const auto* list : {&frame.links, &frame.related})
    for (const wiki::LinkTarget& target : *list)
      if (!target_safe(target)) return false;
  for (const auto* neighbour : {&frame.previous, &frame.next})
    if (*neighbour && !target_safe(**neighbour)) return false;

  std::string body = wiki::_drop_duplicate_diagrams(authored.body, frame.diagrams);
  body = wiki::autolink(wiki::refresh_link_texts(body, frame.links), frame.links, frame.page_id);
  bool in_fence = false;
  for (std::string_view line : text::Lines(body)) {
    if (!in_fence && is_marker_line(line)) return false;
    in_fence ^= wiki::is_fence_line(line);
  }
  return !in_fence && wiki::_normalize_body(wiki::_drop_legacy_sections(body)) == body &&
         !(authored.summary.empty() && body.starts_with('>'));
}

}  // namespace vantorel::test_support

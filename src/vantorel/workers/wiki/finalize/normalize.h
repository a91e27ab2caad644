// Body normalization: the canonical form of an author's prose.
//
// An older page writer appended "## Sources" and "## Related" link lists and diagram-only sections
// to the prose; code writes those parts itself now, so the old copies go. Every heading outside
// fenced code then stands after one empty line, so a body reads the same however it was spaced:
//
//   _drop_legacy_sections("Text.\n\n## Sources\n- [a](x)") == "Text."
//   _normalize_body("Intro\n## A\ntext") == "Intro\n\n## A\ntext"
//
// Both end by collapsing blank runs and trimming, and both give back their own output unchanged
// (`_drop_legacy_sections` when its input was trimmed), which re-finalizing a finished page needs.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "vantorel/text/pattern.h"

namespace vantorel::workers::wiki {

namespace detail {

// "^#{1,6}[ \t]+\S": a heading of any level, matched at the start of one line.
const text::Pattern& HEADING_RE();

// "^\s*[-*]\s+\[[^\]]*\]\([^)]*\)": a list item that begins with a link "[text](target)".
const text::Pattern& LIST_LINK_RE();

// Group 1 of "^##[ \t]+(\S.*?)[ \t#]*$" matched at the start of `line` (one line, no "\n"): the
// text of a level-2 heading without trailing blanks, tabs and closing "#", or nullopt when the
// line is not one. A direct scan in linear time; the pattern itself backtracks quadratically on
// long runs of blanks. Points into `line`.
std::optional<std::string_view> h2_title(std::string_view line) noexcept;

// Whether `title` is one of the link-list sections an older page writer appended.
bool is_legacy_section(std::string_view title) noexcept;

// Whether `title` is the heading of a diagram kind that code builds (every kind but "sequence").
bool is_legacy_diagram(std::string_view title) noexcept;

}  // namespace detail

// `body` without the legacy "## Sources"/"## Related" link lists and the level-2 sections under a
// code-built diagram's heading that hold nothing but one Mermaid block; blank runs collapsed,
// trimmed. A section runs from its heading to the next heading of any level.
std::string _drop_legacy_sections(std::string_view body);

// `body` with one empty line before every heading outside fenced code (never before the first
// line), blank runs collapsed, trimmed.
std::string _normalize_body(std::string_view body);

}  // namespace vantorel::workers::wiki

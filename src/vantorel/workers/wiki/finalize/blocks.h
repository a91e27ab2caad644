// Generated blocks: the parts of a page that code writes, each between two marker lines.
//
// A finished page interleaves what an author wrote with what code writes around it. Every part
// code writes sits between an opening and a closing marker, each on a line of its own, so the
// next run can find it again, take it out and write it anew:
//
//   _block(SUMMARY, {"> Parses the configuration."}, " plan")
//     == "<!-- wiki:summary plan -->\n> Parses the configuration.\n<!-- /wiki:summary -->"
//   _segments("a\n<!-- wiki:footer -->\nx\n<!-- /wiki:footer -->\nb")
//     == {{"", "", {"a"}}, {"footer", "", {"x"}}, {"", "", {"b"}}}
//   strip_generated("a\n<!-- wiki:footer -->\nx\n<!-- /wiki:footer -->\nb") == "a\n\nb"
//
// A marker is recognised on a line once the line is trimmed, and only outside fenced code of the
// authored text, so a page may quote one. A block ends at its own closing marker; a block whose
// closing marker is gone gives its lines back to the authored text; a closing marker with no
// block is dropped. None of these functions fails on any text.
#pragma once

#include <concepts>
#include <initializer_list>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "vantorel/text/pattern.h"

namespace vantorel::workers::wiki {

// Part names of the blocks the page writer emits.
inline constexpr std::string_view SUMMARY = "summary";  // the summary line under the H1
inline constexpr std::string_view SOURCES = "sources";  // the collapsible list of source files
inline constexpr std::string_view DIAGRAM = "diagram";  // one diagram that code places
inline constexpr std::string_view INDEX = "index";      // the catch-all page's file table
inline constexpr std::string_view FOOTER = "footer";    // related pages and previous/next links

namespace detail {

// "<!-- wiki:([a-z-]+)(?: ([a-z-]+))? -->": an opening marker, full-matched against a trimmed
// line. Group 1 is the part name, group 2 the attribute (absent when there is none).
const text::Pattern& OPEN_RE();

// "<!-- /wiki:([a-z-]+) -->": a closing marker, full-matched against a trimmed line. Group 1 is
// the part name.
const text::Pattern& CLOSE_RE();

// `lines` joined with "\n", runs of blank lines outside fences collapsed, ends trimmed: how every
// text function of the component hands back the text it rebuilt.
std::string collapse_and_trim(std::span<const std::string_view> lines);


}  // namespace detail

// One run of a page: authored text (`part` empty) or one generated block. Every view points into
// the text given to `_segments`.
struct Segment {
  std::string_view part{};                // "" for authored text, else the block's part name
  std::string_view attribute{};           // the opening marker's attribute word, or ""
  std::vector<std::string_view> lines{};  // the lines, without "\n"; for a block, those between its markers, untrimmed

  bool operator==(const Segment&) const = default;
};

// One generated block: "<!-- wiki:" + part + attribute + " -->", each of `lines`, then
// "<!-- /wiki:" + part + " -->", joined with "\n", with no line break at the end. `attribute` is
// empty or a blank followed by the attribute word (" plan"); nothing is validated or escaped.
std::string _block(std::string_view part, std::span<const std::string> lines, std::string_view attribute = "");
std::string _block(std::string_view part, std::span<const std::string_view> lines, std::string_view attribute = "");
std::string _block(std::string_view part, std::initializer_list<std::string_view> lines, std::string_view attribute = "");

// The page `markdown` cut into segments, in page order. The list is never empty, begins and ends
// with an authored segment, and has an authored segment (possibly with no lines) right before
// every block. Two authored segments follow each other only at the end, when the last block never
// closed: its lines come back as the last segment, without its opening marker. Marker lines are
// in no segment; every other line of the page is in exactly one. The views point into `markdown`,
// which must outlive the result.
std::vector<Segment> _segments(std::string_view markdown);
// A temporary string would leave the result pointing into freed memory.
template <class T>
requires std::same_as<T, std::string> std::vector<Segment> _segments(T&&)
= delete;

// The page without the blocks code generated; blocks whose part is in `keep` stay, without their
// marker lines. The kept segments are joined with an empty line between them, runs of blank lines
// outside fences collapse to one, and the ends are trimmed: the result has no trailing line break.
std::string strip_generated(std::string_view markdown, std::initializer_list<std::string_view> keep = {});
std::string strip_generated(std::string_view markdown, std::span<const std::string_view> keep);

namespace detail {

// `strip_generated` of the page whose segments are `segments`; `size` is the page's size.
std::string strip_segments(std::span<const Segment> segments, std::span<const std::string_view> keep, std::size_t size);

}  // namespace detail

}  // namespace vantorel::workers::wiki

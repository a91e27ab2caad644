#include "vantorel/workers/wiki/finalize/blocks.h"

#include <algorithm>
#include <optional>

#include "vantorel/text/text.h"
#include "vantorel/workers/wiki/verify/verify.h"

namespace vantorel::workers::wiki {

namespace detail {

const text::Pattern& OPEN_RE() {
  static const text::Pattern pattern("<!-- wiki:([a-z-]+)(?: ([a-z-]+))? -->");
  return pattern;
}

const text::Pattern& CLOSE_RE() {
  static const text::Pattern pattern("<!-- /wiki:([a-z-]+) -->");
  return pattern;
}

}  // namespace detail

namespace {

constexpr std::string_view OPEN_HEAD = "<!-- wiki:";
constexpr std::string_view CLOSE_HEAD = "<!-- /wiki:";
constexpr std::string_view TAIL = " -->";

// The shortest trimmed line either marker can be: "<!-- wiki:" or "<!-- /wiki:", one letter,
// " -->". Lines that fail this cheap test never reach a pattern.
bool may_be_marker(std::string_view trimmed, std::string_view head) {
  return trimmed.size() > head.size() + TAIL.size() && trimmed.starts_with(head) && trimmed.ends_with(TAIL);
}

text::Match open_marker(std::string_view line) {
  const std::string_view t = text::trim(line);
  if (!may_be_marker(t, OPEN_HEAD)) return {};
  return detail::OPEN_RE().full_match(t);
}

// The part name of the closing marker `line` is, or nullopt.
std::optional<std::string_view> close_marker(std::string_view line) {
  const std::string_view t = text::trim(line);
  if (!may_be_marker(t, CLOSE_HEAD)) return std::nullopt;
  if (text::Match m = detail::CLOSE_RE().full_match(t)) return m[1];
  return std::nullopt;
}

template <class Line>
std::string block_of(std::string_view part, std::span<const Line> lines, std::string_view attribute) {
  std::size_t size = OPEN_HEAD.size() + CLOSE_HEAD.size() + 2 * (part.size() + TAIL.size()) + attribute.size() + lines.size() + 1;
  for (const Line& line : lines) size += std::string_view(line).size();
  std::string out;
  out.reserve(size);
  out.append(OPEN_HEAD).append(part).append(attribute).append(TAIL);
  for (const Line& line : lines) {
    out += '\n';
    out.append(line);
  }
  out += '\n';
  out.append(CLOSE_HEAD).append(part).append(TAIL);
  return out;
}

}  // namespace

std::string _block(std::string_view part, std::span<const std::string> lines, std::string_view attribute) {
  return block_of(part, lines, attribute);
}

std::string _block(std::string_view part, std::span<const std::string_view> lines, std::string_view attribute) {
  return block_of(part, lines, attribute);
}

std::string _block(std::string_view part, std::initializer_list<std::string_view> lines, std::string_view attribute) {
  return block_of(part, std::span<const std::string_view>(lines.begin(), lines.size()), attribute);
}

std::vector<Segment> _segments(std::string_view markdown) {
  std::vector<Segment> out;
  Segment current;  // the block being read (part not empty) or the authored text since the last block
  bool in_fence = false;
  for (std::string_view line : text::Lines(markdown)) {
    if (!current.part.empty()) {
      // Inside a block only its own closing marker counts; fences and other markers are content.
      if (std::optional<std::string_view> name = close_marker(line); name && *name == current.part) {
        out.push_back(std::move(current));
        current = Segment{};
      } else {
        current.lines.push_back(line);
      }
      continue;
    }
    if (!in_fence) {
      if (text::Match m = open_marker(line)) {
        out.push_back(Segment{.part = {}, .attribute = {}, .lines = std::move(current.lines)});
        current = Segment{.part = m[1], .attribute = m[2], .lines = {}};
        continue;
      }
      if (close_marker(line)) continue;  // a closing marker without a block
    }
    if (is_fence_line(line)) in_fence = !in_fence;
    current.lines.push_back(line);
  }
  // A block still open gives its lines back as authored text.
  out.push_back(Segment{.part = {}, .attribute = {}, .lines = std::move(current.lines)});
  return out;
}

std::string strip_generated(std::string_view markdown, std::initializer_list<std::string_view> keep) {
  return strip_generated(markdown, std::span<const std::string_view>(keep.begin(), keep.size()));
}

std::string strip_generated(std::string_view markdown, std::span<const std::string_view> keep) {
  return detail::strip_segments(_segments(markdown), keep, markdown.size());
}

std::string detail::strip_segments(std::span<const Segment> segments, std::span<const std::string_view> keep, std::size_t size) {
  // The kept segments' lines with one empty line between segments (a segment without lines counts
  // as one empty line), collapsed and trimmed.
  BlankRunCollapser collapser(size + 2 * segments.size());
  bool first = true;
  for (const Segment& segment : segments) {
    if (!segment.part.empty() && std::find(keep.begin(), keep.end(), segment.part) == keep.end()) continue;
    if (!first) collapser.add({});
    first = false;
    if (segment.lines.empty()) collapser.add({});
    for (std::string_view line : segment.lines) collapser.add(line);
  }
  std::string out = std::move(collapser).finish();
  text::trim_in_place(out);
  return out;
}

namespace detail {

std::string collapse_and_trim(std::span<const std::string_view> lines) {
  std::size_t size = lines.size();
  for (std::string_view line : lines) size += line.size();
  BlankRunCollapser collapser(size);
  // An entry may hold several lines (a diagram block): each counts on its own.
  for (std::string_view entry : lines) {
    for (std::string_view line : text::Lines(entry)) collapser.add(line);
  }
  std::string out = std::move(collapser).finish();
  text::trim_in_place(out);
  return out;
}

}  // namespace detail

}  // namespace vantorel::workers::wiki

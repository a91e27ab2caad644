#include "vantorel/workers/wiki/finalize/normalize.h"

#include <span>
#include <vector>

#include "vantorel/text/text.h"
#include "vantorel/workers/wiki/finalize/blocks.h"
#include "vantorel/workers/wiki/verify/verify.h"
#include "vantorel/workers/wiki_types/wiki_types.h"

namespace vantorel::workers::wiki {

namespace detail {

const text::Pattern& HEADING_RE() {
  static const text::Pattern pattern(R"(^#{1,6}[ \t]+\S)");
  return pattern;
}

const text::Pattern& LIST_LINK_RE() {
  // Possessive where the classes around a repeat are disjoint: same matches, nothing kept per
  // character, so a long line cannot exhaust the matcher's stack.
  static const text::Pattern pattern(R"(^\s*+[-*]\s++\[[^\]]*+\]\([^)]*+\))");
  return pattern;
}

std::optional<std::string_view> h2_title(std::string_view line) noexcept {
  if (!line.starts_with("##") || line.size() < 3 || (line[2] != ' ' && line[2] != '\t')) return std::nullopt;
  std::size_t start = 3;
  while (start < line.size() && (line[start] == ' ' || line[start] == '\t')) ++start;
  // The title starts with a character that is not white space (and not a line break).
  if (start == line.size() || text::space_at(line, start) != 0) return std::nullopt;
  std::size_t end = line.size();
  while (end > start + 1 && (line[end - 1] == ' ' || line[end - 1] == '\t' || line[end - 1] == '#')) --end;
  return line.substr(start, end - start);
}

bool is_legacy_section(std::string_view title) noexcept { return title == "Related" || title == "Sources"; }

bool is_legacy_diagram(std::string_view title) noexcept {
  for (const auto& [kind, heading] : DIAGRAM_HEADINGS) {
    if (kind != "sequence" && heading == title) return true;
  }
  return false;
}

}  // namespace detail

namespace {

bool is_heading(std::string_view line) {
  // Cheap test first: a heading starts with "#".
  return !line.empty() && line[0] == '#' && detail::HEADING_RE().match(line);
}

bool is_list_link(std::string_view line) {
  const std::string_view rest = text::ltrim(line);
  return !rest.empty() && (rest[0] == '-' || rest[0] == '*') && detail::LIST_LINK_RE().match(line);
}

// Whether the section under a level-2 heading titled `title`, made of `lines`, is one an older
// page writer appended: a list of links under "Sources" or "Related", or a lone Mermaid block
// under a code-built diagram's heading. A section with no non-blank line never is.
bool is_legacy(std::string_view title, std::span<const std::string_view> lines) {
  const bool links = detail::is_legacy_section(title);
  const bool diagram = detail::is_legacy_diagram(title);
  if (!links && !diagram) return false;
  std::size_t content = 0;
  std::size_t fences = 0;
  bool all_links = true;
  std::string_view first, last;
  for (std::string_view line : lines) {
    if (text::is_blank(line)) continue;
    if (content++ == 0) first = line;
    last = line;
    if (links && all_links && !is_list_link(line)) all_links = false;
    if (diagram && is_fence_line(line)) ++fences;
  }
  if (content == 0) return false;
  if (links && all_links) return true;
  return diagram && text::trim(first).starts_with("```mermaid") && text::trim(last) == "```" && fences == 2;
}

}  // namespace

std::string _drop_legacy_sections(std::string_view body) {
  const std::vector<std::string_view> lines = text::split_lines(body);
  std::vector<std::string_view> out;
  out.reserve(lines.size());
  std::size_t index = 0;
  while (index < lines.size()) {
    if (std::optional<std::string_view> title = detail::h2_title(lines[index])) {
      // The section ends at the next heading of any level; fences are not tracked here.
      std::size_t end = index + 1;
      while (end < lines.size() && !is_heading(lines[end])) ++end;
      if (is_legacy(*title, std::span(lines).subspan(index + 1, end - index - 1))) {
        index = end;
        continue;
      }
    }
    out.push_back(lines[index]);
    ++index;
  }
  return detail::collapse_and_trim(out);
}

std::string _normalize_body(std::string_view body) {
  std::vector<std::string_view> out;
  out.reserve(text::count_lines(body) + 16);
  bool in_fence = false;
  for (std::string_view line : text::Lines(body)) {
    if (is_fence_line(line)) {
      in_fence = !in_fence;
    } else if (!in_fence && is_heading(line) && !out.empty() && !text::is_blank(out.back())) {
      out.emplace_back();
    }
    out.push_back(line);
  }
  return detail::collapse_and_trim(out);
}

}  // namespace vantorel::workers::wiki

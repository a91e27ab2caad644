#include "page_checks.h"

#include <optional>

#include "vantorel/text/text.h"
#include "vantorel/workers/wiki/finalize/finalize.h"
#include "vantorel/workers/wiki/repo_facts/repo_facts.h"
#include "vantorel/workers/wiki/verify/verify.h"

namespace vantorel::tools {

namespace {

namespace wiki = vantorel::workers::wiki;

std::string in_quotes(std::string_view line) {
  std::string out = "\"";
  out.append(text::trim(line)).append("\"");
  return out;
}

// The line of `lines` that opens a code fence never closed, or nullopt when every fence closes.
std::optional<std::string_view> unclosed_fence(std::span<const std::string_view> lines) {
  std::optional<std::string_view> open;
  for (std::string_view line : lines) {
    if (!wiki::is_fence_line(line)) continue;
    open = open ? std::nullopt : std::optional(line);
  }
  return open;
}

// The first marker line of `lines` outside code fences, or nullopt.
std::optional<std::string_view> stray_marker(std::span<const std::string_view> lines) {
  bool fenced = false;
  for (std::string_view line : lines) {
    if (wiki::is_fence_line(line)) {
      fenced = !fenced;
    } else if (!fenced && is_marker_line(line)) {
      return line;
    }
  }
  return std::nullopt;
}

// The blocks named `part` of a page cut into `segments`, each as its lines joined with "\n".
std::vector<std::string> blocks_named(std::span<const wiki::Segment> segments, std::string_view part) {
  std::vector<std::string> blocks;
  for (const wiki::Segment& segment : segments) {
    if (segment.part == part) blocks.push_back(text::join(segment.lines, "\n"));
  }
  return blocks;
}

// Whether `line` is an item of a source list as the page writer writes it: "- [path](link)" with
// the link the page writer gives that path.
bool is_source_item(std::string_view line) {
  if (!line.starts_with("- [") || !line.ends_with(")")) return false;
  const std::string_view item = line.substr(3, line.size() - 4);
  for (std::size_t split = item.find("]("); split != std::string_view::npos; split = item.find("](", split + 1)) {
    if (wiki::_repo_rel_link(item.substr(0, split)) == item.substr(split + 2)) return true;
  }
  return false;
}

// Whether the lines of a sources block are a list the page writer writes: the collapsible frame
// around one or more items.
bool is_written_source_list(std::string_view block) {
  const std::vector<std::string_view> lines = text::split_lines(block);
  constexpr std::string_view HEAD[] = {"<details>", "<summary>Relevant source files</summary>", ""};
  constexpr std::string_view TAIL[] = {"", "</details>"};
  if (lines.size() < std::size(HEAD) + std::size(TAIL) + 1) return false;
  for (std::size_t i = 0; i < std::size(HEAD); ++i) {
    if (lines[i] != HEAD[i]) return false;
  }
  for (std::size_t i = 0; i < std::size(TAIL); ++i) {
    if (lines[lines.size() - std::size(TAIL) + i] != TAIL[i]) return false;
  }
  for (std::size_t i = std::size(HEAD); i < lines.size() - std::size(TAIL); ++i) {
    if (!is_source_item(lines[i])) return false;
  }
  return true;
}

}  // namespace

bool is_marker_line(std::string_view line) {
  if (line.find("<!--") == std::string_view::npos) return false;
  // Alone, a marker line leaves no line in any segment: an opening marker's block has no lines and
  // never closes, a closing marker without a block is dropped.
  std::size_t lines = 0;
  for (const wiki::Segment& segment : wiki::_segments(line)) lines += segment.lines.size();
  return lines == 0;
}

std::string unsettled_cause(std::string_view text, std::string_view title, std::string_view description) {
  const wiki::Authored authored = wiki::split_authored(wiki::lf(text), description);
  const std::vector<std::string_view> lines = text::split_lines(authored.body);
  if (const auto fence = unclosed_fence(lines)) {
    std::string cause = "a code fence in the body is never closed (";
    cause.append(in_quotes(*fence)).append(")");
    return cause;
  }
  if (const auto marker = stray_marker(lines)) {
    std::string cause = "a marker line outside code fences in the body (";
    cause.append(in_quotes(*marker)).append("), left over from a block whose closing marker is gone");
    return cause;
  }
  if (authored.summary.empty() && text::ltrim(authored.body).starts_with(">")) {
    return "the body opens with a blockquote and no summary was given, so the next run takes it for the summary";
  }
  if (title.find_first_of("\r\n") != std::string_view::npos || text::ltrim(title).size() != title.size()) {
    return "the title is not one line starting with a character other than white space";
  }
  return "other (the page's text or plan is outside what a second run keeps as it is)";
}

std::vector<std::string> edited_blocks(std::string_view on_disk, std::string_view finished, const wiki::LinkIndex& targets) {
  const std::vector<wiki::Segment> before = wiki::_segments(on_disk);
  const std::vector<wiki::Segment> after = wiki::_segments(finished);
  std::vector<std::string> edited;
  for (std::string_view part : {wiki::SOURCES, wiki::DIAGRAM, wiki::INDEX, wiki::FOOTER}) {
    const std::vector<std::string> old_blocks = blocks_named(before, part);
    const std::vector<std::string> new_blocks = blocks_named(after, part);
    const std::size_t paired = std::min(old_blocks.size(), new_blocks.size());
    for (std::size_t i = 0; i < paired; ++i) {
      const bool changed = part == wiki::SOURCES ? !is_written_source_list(old_blocks[i])
                                                 : targets.refresh_link_texts(old_blocks[i]) != new_blocks[i];
      if (changed) {
        edited.emplace_back(part);
        break;
      }
    }
  }
  return edited;
}

}  // namespace vantorel::tools

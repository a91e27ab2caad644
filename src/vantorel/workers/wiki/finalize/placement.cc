#include "vantorel/workers/wiki/finalize/placement.h"

#include <algorithm>
#include <map>
#include <optional>
#include <unordered_set>
#include <vector>

#include "vantorel/text/text.h"
#include "vantorel/workers/wiki/finalize/blocks.h"
#include "vantorel/workers/wiki/finalize/normalize.h"
#include "vantorel/workers/wiki/verify/verify.h"

namespace vantorel::workers::wiki {

namespace {

constexpr std::string_view MERMAID_OPEN = "```mermaid";
constexpr std::string_view FENCE_CLOSE = "```";

// A section start: a level-2 heading outside fences, by line number.
struct SectionStart {
  std::size_t line = 0;
  std::string_view heading{};
};

}  // namespace

std::string _diagram_block(std::string_view heading, std::string_view mermaid) {
  return _block(DIAGRAM, {heading, "", MERMAID_OPEN, text::trim(mermaid), FENCE_CLOSE});
}

std::string place_diagrams(std::string_view body, std::span<const Diagram> diagrams, const PageType& page_type) {
  if (diagrams.empty()) return std::string(body);
  const std::vector<std::string_view> lines = body.empty() ? std::vector<std::string_view>() : text::split_lines(body);

  std::vector<SectionStart> starts;
  bool in_fence = false;
  for (std::size_t i = 0; i < lines.size(); ++i) {
    if (is_fence_line(lines[i])) {
      in_fence = !in_fence;
    } else if (!in_fence) {
      if (std::optional<std::string_view> heading = detail::h2_title(lines[i])) starts.push_back({i, *heading});
    }
  }

  std::vector<std::string> blocks;  // every block, in the order of `diagrams`
  blocks.reserve(diagrams.size());
  std::map<std::size_t, std::vector<std::size_t>> inserts;  // line number -> blocks written before it
  std::vector<std::size_t> trailing;
  for (const Diagram& diagram : diagrams) {
    std::optional<std::size_t> at;
    if (const SectionSpec* spec = diagram_slot(page_type, diagram.heading)) {
      for (std::size_t s = 0; s < starts.size(); ++s) {
        if (heading_matches(*spec, starts[s].heading)) {
          at = s + 1 < starts.size() ? starts[s + 1].line : lines.size();
          break;
        }
      }
    }
    std::string heading_line(at ? "### " : "## ");
    heading_line.append(diagram.heading);
    blocks.push_back(_diagram_block(heading_line, diagram.mermaid));
    if (at) {
      inserts[*at].push_back(blocks.size() - 1);
    } else {
      trailing.push_back(blocks.size() - 1);
    }
  }

  std::vector<std::string_view> out;
  out.reserve(lines.size() + 3 * blocks.size());
  auto put_block = [&](std::size_t block) {
    out.emplace_back();
    out.push_back(blocks[block]);
    out.emplace_back();
  };
  for (std::size_t index = 0; index <= lines.size(); ++index) {
    if (auto found = inserts.find(index); found != inserts.end()) {
      for (std::size_t block : found->second) put_block(block);
    }
    if (index < lines.size()) out.push_back(lines[index]);
  }
  for (std::size_t block : trailing) put_block(block);
  return detail::collapse_and_trim(out);
}

std::string _drop_duplicate_diagrams(std::string_view body, std::span<const Diagram> diagrams) {
  if (diagrams.empty()) return std::string(body);
  std::unordered_set<std::string_view> placed;
  std::unordered_set<std::string_view> headings;
  for (const Diagram& diagram : diagrams) {
    placed.insert(text::trim(diagram.mermaid));
    headings.insert(diagram.heading);
  }

  const std::vector<std::string_view> lines = text::split_lines(body);
  std::vector<std::string_view> out;
  out.reserve(lines.size());
  std::size_t index = 0;
  while (index < lines.size()) {
    const std::string_view line = lines[index];
    if (text::trim(line).starts_with(MERMAID_OPEN)) {
      std::size_t end = index + 1;
      while (end < lines.size() && !is_fence_line(lines[end])) ++end;
      // The lines strictly between the opening line and `end`, joined, are one stretch of `body`.
      std::string_view content;
      if (end > index + 1) {
        const char* first = lines[index + 1].data();
        content = std::string_view(first, static_cast<std::size_t>(lines[end - 1].data() + lines[end - 1].size() - first));
      }
      if (placed.contains(text::trim(content))) {
        while (!out.empty() && text::is_blank(out.back())) out.pop_back();
        if (!out.empty()) {
          // The nearest line above, less a leading run of "#" and the white space after it.
          std::string_view above = out.back();
          const std::size_t marks = std::min(above.find_first_not_of('#'), above.size());
          if (marks > 0) above = text::ltrim(above.substr(marks));
          if (headings.contains(text::trim(above))) out.pop_back();
        }
        index = end + 1;
        continue;
      }
    }
    out.push_back(line);
    ++index;
  }
  return detail::collapse_and_trim(out);
}

}  // namespace vantorel::workers::wiki

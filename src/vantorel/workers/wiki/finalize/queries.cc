#include "vantorel/workers/wiki/finalize/queries.h"

#include <optional>

#include "vantorel/text/text.h"
#include "vantorel/workers/wiki/finalize/blocks.h"
#include "vantorel/workers/wiki/finalize/normalize.h"
#include "vantorel/workers/wiki/verify/verify.h"

namespace vantorel::workers::wiki {

std::string searchable_text(std::string_view markdown) {
  std::string out = strip_generated(markdown, {SUMMARY, INDEX});
  out += '\n';
  return out;
}

std::vector<std::string> mermaid_blocks(std::string_view markdown) {
  std::vector<std::string> blocks;
  std::optional<std::vector<std::string_view>> current;
  bool in_fence = false;
  for (std::string_view line : text::Lines(markdown)) {
    if (is_fence_line(line)) {
      if (!in_fence && text::trim(line).starts_with("```mermaid")) {
        current.emplace();
      } else if (in_fence && current) {
        blocks.push_back(text::join(*current, "\n"));
        current.reset();
      }
      in_fence = !in_fence;
      continue;
    }
    if (current) current->push_back(line);
  }
  return blocks;
}

std::vector<std::string> section_headings(std::string_view markdown, std::initializer_list<std::string_view> keep) {
  return section_headings(markdown, std::span<const std::string_view>(keep.begin(), keep.size()));
}

std::vector<std::string> section_headings(std::string_view markdown, std::span<const std::string_view> keep) {
  std::vector<std::string> out;
  const std::string text = strip_generated(markdown, keep);
  bool in_fence = false;
  for (std::string_view line : text::Lines(text)) {
    if (is_fence_line(line)) {
      in_fence = !in_fence;
    } else if (!in_fence) {
      if (std::optional<std::string_view> title = detail::h2_title(line)) out.emplace_back(*title);
    }
  }
  return out;
}

}  // namespace vantorel::workers::wiki

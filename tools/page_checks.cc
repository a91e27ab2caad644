#include "page_checks.h"

#include <algorithm>
#include <cstdint>

#include "vantorel/text/text.h"
#include "vantorel/workers/wiki/finalize/finalize.h"
#include "vantorel/workers/wiki/finalize/repair.h"

namespace vantorel::tools {

namespace {

constexpr std::string_view CHECKED[] = {wiki::SOURCES, wiki::DIAGRAM, wiki::INDEX, wiki::FOOTER};

bool checked(std::string_view part) { return std::find(std::begin(CHECKED), std::end(CHECKED), part) != std::end(CHECKED); }

// A block of a page: its part, its lines joined, and the line of its opening marker (0-based).
struct Block {
  std::string_view part;
  std::string text;
  std::size_t marker_line = 0;
  std::size_t lines = 0;
};

// The checked blocks of `page`, in page order.
std::vector<Block> blocks_of(std::string_view page) {
  std::vector<Block> out;
  for (const wiki::Segment& segment : wiki::_segments(page)) {
    if (!checked(segment.part)) continue;
    Block block{.part = segment.part, .text = text::join(segment.lines, "\n"), .lines = segment.lines.size()};
    // The opening marker stands right above the block's first line; an empty block has no place.
    if (!segment.lines.empty()) {
      const std::string_view before = page.substr(0, static_cast<std::size_t>(segment.lines.front().data() - page.data()));
      block.marker_line = static_cast<std::size_t>(std::count(before.begin(), before.end(), '\n')) - 1;
    }
    out.push_back(std::move(block));
  }
  return out;
}

std::string digest(std::string_view part, std::string_view text) {
  std::uint64_t hash = 0xcbf29ce484222325ull;  // FNV-1a
  for (const char c : text) hash = (hash ^ static_cast<unsigned char>(c)) * 0x100000001b3ull;
  static constexpr char HEX[] = "0123456789abcdef";
  std::string out(part);
  out += ':';
  for (int shift = 60; shift >= 0; shift -= 4) out += HEX[(hash >> shift) & 0xF];
  return out;
}

}  // namespace

std::vector<std::string> block_digests(std::string_view page) {
  std::vector<std::string> out;
  for (const Block& block : blocks_of(page)) out.push_back(digest(block.part, block.text));
  return out;
}

std::vector<wiki::Finding> changed_blocks(std::string_view before, std::span<const std::size_t> origin, std::span<const std::string> after,
                                          const wiki::LinkIndex& targets, const std::vector<std::string>* stored) {
  const std::vector<Block> old_blocks = blocks_of(before);
  // A digest starts with its block's part and ":".
  const auto of_part = [](std::string_view digest, std::string_view part) { return digest.starts_with(part) && digest.substr(part.size()).starts_with(':'); };
  std::vector<wiki::Finding> out;
  for (const std::string_view part : CHECKED) {
    std::size_t k = 0;
    for (const Block& old : old_blocks) {
      if (old.part != part) continue;
      while (k < after.size() && !of_part(after[k], part)) ++k;
      if (k == after.size()) break;
      if (digest(part, targets.refresh_link_texts(old.text)) == after[k++]) continue;
      bool edited;
      if (stored != nullptr) {
        edited = std::find(stored->begin(), stored->end(), digest(old.part, old.text)) == stored->end();
      } else {
        const std::vector<std::string_view> lines = text::split_lines(old.text);
        edited = old.lines == 0 || wiki::detail::writer_shape_length(part, lines, 0, lines.size()) != lines.size();
      }
      wiki::Finding f{.severity = edited ? wiki::Severity::WARNING : wiki::Severity::NOTE,
                      .kind = edited ? "block-edited" : "block-regenerated"};
      // A diagram block is named by its heading, the only thing that tells two apart.
      std::string name = "the ";
      if (part == wiki::DIAGRAM && old.lines > 0) {
        const std::string_view heading = std::string_view(old.text).substr(0, std::min(old.text.find('\n'), old.text.size()));
        name.append("'").append(text::trim(heading.substr(std::min(heading.find_first_not_of('#'), heading.size())))).append("' ");
      }
      name.append(part).append(" block");
      f.message = edited ? name + " was edited by hand; code writes it anew from the plan, so the edit is lost"
                         : name + " is written anew: the plan, the imports or the page's citations changed what it shows";
      if (old.lines > 0 && old.marker_line < origin.size() && origin[old.marker_line] != 0) {
        f.line = origin[old.marker_line];
        f.column = 1;
      }
      out.push_back(std::move(f));
    }
  }
  std::stable_sort(out.begin(), out.end(), [](const wiki::Finding& a, const wiki::Finding& b) { return a.line < b.line; });
  return out;
}

}  // namespace vantorel::tools

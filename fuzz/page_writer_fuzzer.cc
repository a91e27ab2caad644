// The page writer over arbitrary bytes cut into an author text, a plan description, a title and
// the other fields of a page frame.
//
// Input: fields separated by 0x1F bytes, in this order (missing fields are empty):
//   0 author text   1 plan description   2 title   3 page id
//   4 page type: the first byte picks a type of the catalogue (none: an empty type)
//   5 sources      items separated by 0x1E
//   6 diagrams     items separated by 0x1E, each "heading 0x1D mermaid"
//   7 link targets items separated by 0x1E, each "id 0x1D title 0x1D files 0x1D former titles",
//                  files and former titles separated by 0x1C
//   8 related pages, targets as in 7
//   9 previous and next page: the first two targets as in 7 (an empty item is none)
//  10 index lines  items separated by 0x1E
// The frame is built as the generator builds it: its summary is the split's summary, else the
// description. The target splits the author text, writes the page, splits that page and writes it
// again; the two pages, and the author's summary and the one read back, must be equal whenever the
// input meets the conditions under which a page settles (test_support::settles). Nothing may throw, inside those conditions or outside them, and
// every page ends in exactly one "\n" and starts with its H1.
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "fuzz_check.h"
#include "support/settle.h"
#include "vantorel/text/text.h"
#include "vantorel/workers/wiki/finalize/authored.h"
#include "vantorel/workers/wiki/finalize/page.h"
#include "vantorel/workers/wiki/repo_facts/repo_facts.h"
#include "vantorel/workers/wiki_types/wiki_types.h"

namespace vantorel::fuzz {
namespace {

namespace wiki = workers::wiki;

constexpr char FIELD = '\x1F', ITEM = '\x1E', PART = '\x1D', ENTRY = '\x1C';

std::vector<std::string> items(std::string_view field_text, char separator) {
  std::vector<std::string> out;
  if (field_text.empty()) return out;
  for (std::string_view item : fields(field_text, separator)) out.emplace_back(item);
  return out;
}

std::vector<wiki::LinkTarget> targets(std::string_view field_text) {
  std::vector<wiki::LinkTarget> out;
  if (field_text.empty()) return out;
  for (std::string_view item : fields(field_text, ITEM)) {
    const std::vector<std::string_view> parts = fields(item, PART);
    out.emplace_back(std::string(field(parts, 0)), std::string(field(parts, 1)), items(field(parts, 2), ENTRY),
                     items(field(parts, 3), ENTRY));
  }
  return out;
}

// Every page ends in exactly one "\n"; with a one-line title that starts with a character other
// than white space, it starts with its H1 line.
void check_page(std::string_view page, std::string_view title, std::string_view input) {
  check(page.ends_with('\n') && !page.ends_with("\n\n"), "the page does not end in exactly one line break", {{"page", page}, {"input", input}});
  if (title.empty() || test_support::has_line_break(title) || text::space_at(title, 0) != 0) return;
  std::string h1 = "# ";
  h1.append(text::rtrim(title));  // a page holding nothing but its H1 is trimmed
  check(page.starts_with(h1), "the page does not start with its H1", {{"page", page}, {"input", input}});
}

void check_one(std::string_view data) {
  const std::vector<std::string_view> in = fields(data, FIELD);
  const std::string_view x = field(in, 0), description = field(in, 1);

  const wiki::Authored authored = wiki::split_authored(x, description);
  wiki::PageFrame frame{.page_id = std::string(field(in, 3)),
                        .title = std::string(field(in, 2)),
                        .summary = authored.summary.empty() ? std::string(description) : authored.summary,
                        .page_type = {},
                        .summary_from_plan = authored.summary.empty(),
                        .sources = items(field(in, 5), ITEM),
                        .diagrams = {},
                        .links = targets(field(in, 7)),
                        .related = targets(field(in, 8)),
                        .previous = {},
                        .next = {},
                        .index = items(field(in, 10), ITEM)};
  if (const std::string_view type = field(in, 4); !type.empty()) {
    const auto catalogue = workers::page_types();
    frame.page_type = catalogue[static_cast<unsigned char>(type[0]) % catalogue.size()];
  }
  for (const std::string& item : items(field(in, 6), ITEM)) {
    const std::size_t cut = item.find(PART);
    frame.diagrams.push_back({.heading = item.substr(0, cut), .mermaid = cut == std::string::npos ? "" : item.substr(cut + 1)});
  }
  const std::vector<std::string_view> neighbours = fields(field(in, 9), ITEM);
  for (std::size_t i = 0; i < 2 && i < neighbours.size(); ++i) {
    if (neighbours[i].empty()) continue;
    (i == 0 ? frame.previous : frame.next) = targets(neighbours[i]).front();
  }

  const std::string page = wiki::finalize_page(authored, frame, wiki::_repo_rel_link);
  const wiki::Authored read_back = wiki::split_authored(page, description);
  const std::string again = wiki::finalize_page(read_back, frame, wiki::_repo_rel_link);
  check_page(page, frame.title, data);
  check_page(again, frame.title, data);
  if (!test_support::settles(authored, frame)) return;
  check(again == page, "a page that settles changed when written again",
        {{"input", data}, {"page", page}, {"again", again}, {"body read back", read_back.body}, {"summary read back", read_back.summary}});
  // The next run builds its frame from the summary it reads back, so that must be the same too.
  check(read_back.summary == authored.summary, "the summary read back from a page that settles differs",
        {{"input", data}, {"page", page}, {"summary", authored.summary}, {"summary read back", read_back.summary}});
}

}  // namespace
}  // namespace vantorel::fuzz

VANTOREL_FUZZ_TARGET(vantorel::fuzz::check_one)

// The page queries and autolink over arbitrary bytes.
//
// Input: a page (or body), then after a 0x1F byte link targets (items separated by 0x1E, each
// "id 0x1D title 0x1D files", files separated by 0x1C), then after another 0x1F byte the id of the
// page being linked. The level-2 headings of the page are link targets too, so prose that repeats
// a heading gets linked. Checks:
//   - searchable_text ends in exactly one "\n" with no other white space at its ends, and gives
//     the same text again when its result holds no marker line outside fences;
//   - each Mermaid block is a run of lines of the page holding no fence line, the blocks in page
//     order;
//   - each section heading is a title `h2_title` can give: one line of the page, starting with a
//     character other than white space, not ending in a blank, tab or "#" unless one character long;
//   - autolink keeps every byte of the body in order, links each target at most once and never
//     the page's own, gives its own result back unchanged, and agrees with a LinkIndex built from
//     the same targets; with no targets it changes nothing. refresh_link_texts never throws.
#include <algorithm>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "fuzz_check.h"
#include "support/settle.h"
#include "vantorel/text/text.h"
#include "vantorel/workers/wiki/finalize/blocks.h"
#include "vantorel/workers/wiki/finalize/queries.h"
#include "vantorel/workers/wiki/link_text/link_text.h"
#include "vantorel/workers/wiki/verify/verify.h"

namespace vantorel::fuzz {
namespace {

namespace wiki = workers::wiki;

constexpr char FIELD = '\x1F', ITEM = '\x1E', PART = '\x1D', ENTRY = '\x1C';
constexpr std::size_t MAX_HEADING_TARGETS = 8;

void check_queries(std::string_view page) {
  const std::string search = wiki::searchable_text(page);
  const std::string_view content = std::string_view(search).substr(0, search.size() - 1);
  check(search.ends_with('\n') && text::trim(content) == content, "searchable_text does not end in exactly one line break",
        {{"page", page}, {"searchable text", search}});
  if (!test_support::has_marker_outside_fences(content))
    check(wiki::searchable_text(search) == search, "searchable_text of its own result changed it", {{"page", page}, {"searchable text", search}});

  std::size_t from = 0;
  for (const std::string& block : wiki::mermaid_blocks(page)) {
    const std::size_t at = page.find(block, from);
    check(at != std::string_view::npos, "a Mermaid block that is not the page's text, in order", {{"page", page}, {"block", block}});
    for (std::string_view line : text::Lines(block))
      check(!wiki::is_fence_line(line), "a Mermaid block holds a fence line", {{"page", page}, {"block", block}});
    from = at + block.size();
  }

  for (const auto& keep : {std::vector<std::string_view>{}, std::vector<std::string_view>{wiki::INDEX}}) {
    for (const std::string& title : wiki::section_headings(page, keep)) {
      const bool shape = !title.empty() && !test_support::has_line_break(title) && text::space_at(title, 0) == 0 &&
                         (title.size() == 1 || (title.back() != ' ' && title.back() != '\t' && title.back() != '#'));
      check(shape && page.find(title) != std::string_view::npos, "a section heading that no level-2 heading line gives",
            {{"page", page}, {"heading", title}});
    }
  }
}

// Whether `sub` is a subsequence of `text`.
bool is_subsequence(std::string_view sub, std::string_view text) {
  std::size_t i = 0;
  for (char c : text) i += i < sub.size() && sub[i] == c;
  return i == sub.size();
}

std::size_t count(std::string_view text, std::string_view what) {
  std::size_t n = 0;
  for (std::size_t at = text.find(what); at != std::string_view::npos; at = text.find(what, at + what.size())) ++n;
  return n;
}

void check_autolink(std::string_view body, const std::vector<wiki::LinkTarget>& links, std::string_view page_id) {
  const std::string linked = wiki::autolink(body, links, page_id);
  check(wiki::autolink(body, {}, page_id) == body, "autolink without targets changed the body", {{"body", body}});
  check(is_subsequence(body, linked), "autolink dropped or changed bytes of the body", {{"body", body}, {"linked", linked}});
  const std::string again = wiki::autolink(linked, links, page_id);
  check(again == linked, "autolink of its own result changed it", {{"body", body}, {"linked", linked}, {"again", again}});
  check(wiki::LinkIndex(links).autolink(body, page_id) == linked, "LinkIndex::autolink differs from autolink", {{"body", body}});
  (void)wiki::refresh_link_texts(body, links);

  // Links made per href: at most one per target with that href, none for the page itself. An href
  // with white space or a parenthesis is never written, and "](" + href + ")" holding it in the body
  // is prose, not a link, so a mention inside it may be linked.
  std::map<std::string, std::size_t> targets_per_href;
  for (const wiki::LinkTarget& target : links) targets_per_href[target.href] += target.page_id != page_id;
  for (const auto& [href, allowed] : targets_per_href) {
    bool one_token = href.find_first_of("()") == std::string::npos;
    for (std::size_t i = 0; one_token && i < href.size(); ++i) one_token = text::space_at(href, i) == 0;
    if (!one_token) continue;
    std::string link = "](";
    link.append(href).append(")");
    const std::size_t before = count(body, link), after = count(linked, link);
    check(before <= after && after <= before + allowed, "autolink broke a link, linked a target twice or linked the page itself",
          {{"body", body}, {"linked", linked}, {"href", href}});
  }
}

void check_one(std::string_view data) {
  const std::vector<std::string_view> in = fields(data, FIELD);
  const std::string_view page = field(in, 0), page_id = field(in, 2);
  check_queries(page);

  std::vector<wiki::LinkTarget> links;
  if (const std::string_view spec = field(in, 1); !spec.empty()) {
    for (std::string_view item : fields(spec, ITEM)) {
      const std::vector<std::string_view> parts = fields(item, PART);
      std::vector<std::string> files;
      if (!field(parts, 2).empty())
        for (std::string_view file : fields(field(parts, 2), ENTRY)) files.emplace_back(file);
      links.emplace_back(std::string(field(parts, 0)), std::string(field(parts, 1)), std::move(files), std::vector<std::string>{});
    }
  }
  const std::vector<std::string> headings = wiki::section_headings(page);
  for (std::size_t i = 0; i < headings.size() && i < MAX_HEADING_TARGETS; ++i)
    links.emplace_back(std::string("h").append(std::to_string(i)), headings[i], std::vector<std::string>{}, std::vector<std::string>{});
  check_autolink(page, links, page_id);
}

}  // namespace
}  // namespace vantorel::fuzz

VANTOREL_FUZZ_TARGET(vantorel::fuzz::check_one)

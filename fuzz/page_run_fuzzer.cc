// The page run (repair, then finalize) over arbitrary page text in a small wiki whose plan keeps
// the rules the program enforces: a page settles in one run, and keeps every word of its author.
//
// Input: fields separated by 0x1F bytes, in this order (missing fields are empty):
//   0 the page's text     1 its title           2 its description
//   3 its page type: the first byte picks a type of the catalogue
//   4 its source files, separated by 0x1E
//   5 the other pages: items separated by 0x1E, each "id 0x1D title 0x1D source files 0x1D former
//     titles", files and former titles separated by 0x1C; a page with former titles gets a stored
//     row showing the first of them
//   6 diagrams code places: items separated by 0x1E, each "heading 0x1D mermaid"
// Titles, page ids and paths are made to keep the plan's rules (one line; a title starts and ends
// with a character other than white space; a page id holds no "[" or "]"), and diagrams the rules of what code draws (a one-line
// heading, Mermaid that is not blank and holds no fence or marker line). The repository holds
// src/a.c (10 lines), lib/x.js (100 lines), README.md (3 lines) and "docs/a b.md" (2 lines).
//
// Checked for every input: nothing throws; the run says it settled, and repairing and finalizing
// the finished page (what the next run does) gives it back byte for byte; repairing the repaired
// text changes nothing; and
// every word of the page text is still on the finished page, except what a pass removes by design
// (test_support::removable_words, over each pass the run made).
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>
#include <unistd.h>
#include <vector>

#include "fuzz_check.h"
#include "support/author_words.h"
#include "vantorel/workers/wiki/finalize/page_run.h"
#include "vantorel/workers/wiki/orchestrator/orchestrator.h"
#include "vantorel/workers/wiki/repo_facts/repo_facts.h"
#include "vantorel/workers/wiki/verify/verify.h"
#include "vantorel/workers/wiki_types/wiki_types.h"

namespace vantorel::fuzz {
namespace {

namespace wiki = workers::wiki;

constexpr char FIELD = '\x1F', ITEM = '\x1E', PART = '\x1D', ENTRY = '\x1C';

// A repository folder made once per process, removed when it ends.
const std::filesystem::path& repository() {
  static const struct Repository {
    Repository() {
      std::string pattern = (std::filesystem::temp_directory_path() / "vantorel-page-run-XXXXXX").string();
      if (::mkdtemp(pattern.data()) == nullptr) std::abort();
      root = pattern;
      const auto write = [&](std::string_view path, int lines) {
        std::filesystem::create_directories((root / path).parent_path());
        std::ofstream out(root / path, std::ios::binary);
        for (int i = 1; i <= lines; ++i) out << "line " << i << '\n';
      };
      write("src/a.c", 10);
      write("lib/x.js", 100);
      write("README.md", 3);
      write("docs/a b.md", 2);
    }
    ~Repository() {
      std::error_code ignored;
      std::filesystem::remove_all(root, ignored);
    }
    std::filesystem::path root;
  } repo;
  return repo.root;
}

std::vector<std::string_view> items(std::string_view text, char separator) {
  if (text.empty()) return {};
  return fields(text, separator);
}

// One line: every "\n" and "\r" made a blank.
std::string one_line(std::string_view s) {
  std::string out(s);
  for (char& c : out) {
    if (c == '\n' || c == '\r') c = ' ';
  }
  return out;
}

std::string title_of(std::string_view s) {
  std::string out(text::trim(one_line(s)));
  return out.empty() ? std::string("Page") : out;
}

// A plain page id, as wiki-finalize takes it: not empty, no "/", "\", NUL, line break, "..", "[" or "]".
std::string id_of(std::string_view s, std::size_t n) {
  std::string out;
  for (char c : s) {
    out += (c == '/' || c == '\\' || c == '\0' || c == '\n' || c == '\r' || c == '.' || c == '[' || c == ']') ? '_' : c;
  }
  return out + "-" + std::to_string(n);
}

std::vector<std::string> paths_of(std::string_view s, char separator) {
  std::vector<std::string> out;
  for (std::string_view path : items(s, separator)) out.push_back(one_line(path));
  return out;
}

bool keeps_block_whole(std::string_view line) {
  const std::string_view t = text::trim(line);
  return !wiki::is_fence_line(line) && !wiki::detail::OPEN_RE().full_match(t) && !wiki::detail::CLOSE_RE().full_match(t);
}

std::vector<wiki::Diagram> diagrams_of(std::string_view s) {
  std::vector<wiki::Diagram> out;
  for (std::string_view item : items(s, ITEM)) {
    const std::vector<std::string_view> parts = fields(item, PART);
    wiki::Diagram diagram{.heading = title_of(field(parts, 0)), .mermaid = std::string(field(parts, 1))};
    bool whole = keeps_block_whole(diagram.heading) && !text::is_blank(diagram.mermaid);
    for (std::string_view line : text::Lines(diagram.mermaid)) whole = whole && keeps_block_whole(line);
    if (whole) out.push_back(std::move(diagram));
  }
  return out;
}

void check_one(std::string_view data) {
  const std::vector<std::string_view> in = fields(data, FIELD);
  const std::string_view page_text = field(in, 0);

  std::vector<wiki::PagePlan> plans;
  std::unordered_map<std::string, wiki::StoredRow> existing;
  const auto catalogue = workers::page_types();
  const std::string_view type = field(in, 3);
  plans.push_back(wiki::PagePlan{.page_id = "page",
                                 .title = title_of(field(in, 1)),
                                 .description = std::string(field(in, 2)),
                                 .source_files = paths_of(field(in, 4), ITEM),
                                 .type_id = catalogue[type.empty() ? 0 : static_cast<unsigned char>(type[0]) % catalogue.size()].id});
  for (std::string_view item : items(field(in, 5), ITEM)) {
    const std::vector<std::string_view> parts = fields(item, PART);
    wiki::PagePlan plan{.page_id = id_of(field(parts, 0), plans.size()),
                        .title = title_of(field(parts, 1)),
                        .source_files = paths_of(field(parts, 2), ENTRY),
                        .type_id = catalogue[plans.size() % catalogue.size()].id};
    std::vector<std::string> former;
    for (std::string_view title : items(field(parts, 3), ENTRY)) former.push_back(title_of(title));
    if (!former.empty()) existing[plan.page_id] = wiki::StoredRow{{"title", former.front()}, {"former_titles", former}};
    plans.push_back(std::move(plan));
  }
  const std::vector<wiki::Diagram> diagrams = diagrams_of(field(in, 6));
  const wiki::WikiGenerator generator(wiki::WikiSetup{.plans = plans, .repository = repository(), .existing = existing});
  const wiki::FinalizeBatch batch(generator);
  const wiki::PagePlan& plan = generator._plans.front();
  const wiki::FinalizeOptions options{.fill_citations = true};
  const auto run = [&](std::string_view text) {
    return wiki::run_page(batch, {.plan = &plan, .text = text, .diagrams = diagrams, .grounding = "", .options = options});
  };
  const auto finalize = [&](std::string_view text) { return batch.finalize(plan, text, diagrams, "", options).markdown; };

  const wiki::PageRun first = run(page_text);
  const std::string& page = first.page.markdown;
  check(first.settled, "the run did not settle", {{"input", data}, {"page", page}});
  const wiki::RepairedText again = wiki::repair_page_text(first.repaired.text, {.citations = &generator, .plan_summary = plan.description});
  std::string again_findings;
  for (const wiki::Finding& finding : again.findings) again_findings.append(wiki::to_text(finding)).append("\n");
  check(again.text == first.repaired.text && again.findings.empty(), "repairing the repaired text changed it",
        {{"input", data}, {"repaired", first.repaired.text}, {"again", again.text}, {"findings", again_findings}});
  // What the next run does with the finished page: repair it, finalize it.
  const std::string next = finalize(wiki::repair_page_text(page, {.citations = &generator, .plan_summary = plan.description}).text);
  check(next == page, "a second run changed the page", {{"input", data}, {"page", page}, {"second", next}, {"repaired", first.repaired.text}});

  // Every pass the run made may remove by design what its input held.
  test_support::Words removable = test_support::marker_words(wiki::lf(page_text));
  std::string repaired = first.repaired.text;
  for (std::size_t pass = 0; pass < first.passes; ++pass) {
    if (pass > 0) repaired = wiki::repair_page_text(finalize(repaired), {.citations = &generator, .plan_summary = plan.description}).text;
    test_support::add(removable, test_support::removable_words(repaired, plan.description, diagrams, batch.link_index()));
  }
  const std::vector<std::string> hrefs = test_support::linkable_hrefs(batch.link_index().links());
  const std::vector<std::string> lost = test_support::lost_words(wiki::lf(page_text), page, removable, hrefs);
  if (!lost.empty()) {
    std::string words;
    for (const std::string& word : lost) words.append(words.empty() ? "" : " | ").append(word);
    fail("words of the author are not on the page", {{"lost", words}, {"input", data}, {"page", page}, {"repaired", first.repaired.text}});
  }
}

}  // namespace
}  // namespace vantorel::fuzz

VANTOREL_FUZZ_TARGET(vantorel::fuzz::check_one)

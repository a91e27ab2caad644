// vantorel_cutoff_check [--repair] INPUTS REPO: the words an author wrote that a wiki-finalize run
// lost. For each page of REPO/wiki/wiki.json, in plan order, it compares the text the author
// handed in (INPUTS/<page_id>.md, kept aside before the run) with the finished page
// (REPO/wiki/<page_id>.md) and lists the words of the former that the latter no longer holds,
// beyond what the finalize step removes by design (test_support::lost_words).
//
//   vantorel_cutoff_check inputs/ before/repo            # a program without the repair step
//   vantorel_cutoff_check --repair inputs/ after/repo    # a program that runs the page run
//
// Removed by design: the marker words of the input and what one finalize pass removes from it
// (test_support::removable_words). With --repair also what each pass of the page run removes from
// the text it repaired, as the program's page run makes them; the inline-citation scrub is never
// a removal by design. Diagrams are those the generator builds from wiki.json's imports, link
// targets those of every page's plan. With --repair the checker also runs the page run itself and
// counts the finished pages that differ from what it gives (0 unless REPO was not finalized by
// the program built with this library).
//
// Prints one line per page that loses words ("lost PAGE_ID N: word | word ..."), then a summary
// line. Exit status: 0 when no page loses a word, 1 when some page does, 2 on bad input.
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "errors.h"
#include "support/author_words.h"
#include "vantorel/workers/wiki/finalize/page_run.h"
#include "vantorel/workers/wiki/orchestrator/orchestrator.h"
#include "vantorel/workers/wiki/repo_facts/repo_facts.h"
#include "wiki_folder.h"

namespace {

namespace fs = std::filesystem;
namespace wiki = vantorel::workers::wiki;
namespace tools = vantorel::tools;
namespace support = vantorel::test_support;

// The most lost words printed for one page, and the most bytes of each.
constexpr std::size_t SHOWN_WORDS = 5;
constexpr std::size_t SHOWN_BYTES = 40;

// The file's bytes; nullopt when it cannot be read.
std::optional<std::string> read_file(const fs::path& path) {
  std::ifstream in(path, std::ios::binary);
  if (!in) return std::nullopt;
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

// `word` cut to SHOWN_BYTES bytes, line breaks and control bytes shown as "?".
std::string shown(std::string_view word) {
  std::string out(word.substr(0, SHOWN_BYTES));
  for (char& c : out) {
    if (static_cast<unsigned char>(c) < 0x20) c = '?';
  }
  if (word.size() > SHOWN_BYTES) out.append("...");
  return out;
}

struct Totals {
  std::size_t pages = 0;           // pages in the plan
  std::size_t losing = 0;          // pages that lose at least one word
  std::size_t lost = 0;            // distinct lost words, summed over the pages
  std::size_t several_passes = 0;  // --repair: pages whose run took more than one pass
  std::size_t differing = 0;       // --repair: finished pages unlike the checker's own page run
};

int check(const fs::path& inputs, const fs::path& repo, bool repair) {
  const fs::path folder = repo / "wiki";
  const std::optional<std::string> json = read_file(folder / "wiki.json");
  if (!json) {
    std::cerr << "vantorel_cutoff_check: cannot read " << (folder / "wiki.json").string() << '\n';
    return 2;
  }
  const tools::WikiFile file = tools::parse_wiki_json(*json, (folder / "wiki.json").string());
  std::vector<wiki::PagePlan> plans;
  plans.reserve(file.pages.size());
  for (const tools::PageEntry& entry : file.pages) plans.push_back(entry.plan);
  // No stored rows: the first run of the program, which this checks, had no manifest.
  const wiki::WikiGenerator generator(
      wiki::WikiSetup{.plans = std::move(plans), .repository = repo, .config = file.config, .imports = file.imports});
  const wiki::FinalizeBatch batch(generator);
  const wiki::LinkIndex& links = batch.link_index();
  const std::vector<std::string> hrefs = support::linkable_hrefs(links.links());

  Totals totals;
  for (std::size_t i = 0; i < file.pages.size(); ++i) {
    const tools::PageEntry& entry = file.pages[i];
    const wiki::PagePlan& plan = generator._plans[i];
    const std::string input = wiki::lf(read_file(inputs / (plan.page_id + ".md")).value_or(""));
    const std::optional<std::string> finished = read_file(folder / (plan.page_id + ".md"));
    if (!finished) {
      std::cerr << "vantorel_cutoff_check: cannot read the finished page " << plan.page_id << ".md\n";
      return 2;
    }
    const std::string page = wiki::lf(*finished);
    const std::vector<wiki::Diagram> diagrams = generator.wiki_config().diagrams ? generator._build_diagrams(plan) : std::vector<wiki::Diagram>();
    const wiki::FinalizeOptions options{.seeds = entry.seeds, .fill_citations = true};

    support::Words removable = support::marker_words(input);
    support::add(removable, support::removable_words(input, plan.description, diagrams, links));
    if (repair) {
      const wiki::PageRun run =
          wiki::run_page(batch, {.plan = &plan, .text = input, .diagrams = diagrams, .grounding = entry.grounding, .options = options});
      if (run.page.markdown != page) ++totals.differing;
      if (run.passes > 1) ++totals.several_passes;
      std::string text = input;
      for (std::size_t pass = 0; pass < run.passes; ++pass) {
        const wiki::RepairedText repaired = wiki::repair_page_text(text, {.citations = &generator, .plan_summary = plan.description});
        support::add(removable, support::removable_words(repaired.text, plan.description, diagrams, links));
        text = batch.finalize(plan, repaired.text, diagrams, entry.grounding, options).markdown;
      }
    }

    ++totals.pages;
    const std::vector<std::string> lost = support::lost_words(input, page, removable, hrefs);
    if (lost.empty()) continue;
    ++totals.losing;
    totals.lost += lost.size();
    std::string line = "lost " + plan.page_id + " " + std::to_string(lost.size()) + ":";
    for (std::size_t w = 0; w < lost.size() && w < SHOWN_WORDS; ++w) line.append(w == 0 ? " " : " | ").append(shown(lost[w]));
    if (lost.size() > SHOWN_WORDS) line.append(" | ...");
    std::cout << line << '\n';
  }
  std::cout << "cutoff_check: " << totals.pages << " pages, " << totals.losing << " lose author words (" << totals.lost
            << " distinct words lost)";
  if (repair) {
    std::cout << "; " << totals.several_passes << " took more than one pass; " << totals.differing
              << " unlike the checker's own page run";
  }
  std::cout << '\n';
  return totals.losing == 0 ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
  std::vector<std::string_view> args(argv + 1, argv + argc);
  bool repair = false;
  if (!args.empty() && args.front() == "--repair") {
    repair = true;
    args.erase(args.begin());
  }
  if (args.size() != 2) {
    std::fprintf(stderr, "usage: vantorel_cutoff_check [--repair] INPUTS REPO\n");
    return 2;
  }
  try {
    return check(fs::path(args[0]), fs::path(args[1]), repair);
  } catch (const tools::InputError& e) {
    std::cerr << e.what() << '\n';
  } catch (const std::exception& e) {
    std::cerr << "vantorel_cutoff_check: " << e.what() << '\n';
  }
  return 2;
}

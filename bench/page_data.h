// Generated wiki pages for the benchmarks: prose with headings, lists, fenced code, tables, Mermaid
// blocks, links, repository paths and mentions of other pages, all drawn from fixed seeds, so every
// run on every machine times the same text.
//
//   const SamplePage& page = sample_page(20);  // about 20 KiB of prose, split, framed and finished
//   finalize_page(split_authored(page.finished), page.frame, repo_link());
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <span>
#include <string>
#include <vector>

#include "vantorel/workers/wiki/finalize/finalize.h"
#include "vantorel/workers/wiki/orchestrator/orchestrator.h"

namespace vantorel::bench {

namespace wiki = vantorel::workers::wiki;

// xorshift64*: small, fast, and the same sequence on every platform for a given seed.
class Rng {
 public:
  explicit Rng(std::uint64_t seed) : state_(seed == 0 ? 0x9e3779b97f4a7c15ULL : seed) {}

  std::uint64_t next() {
    state_ ^= state_ >> 12;
    state_ ^= state_ << 25;
    state_ ^= state_ >> 27;
    return state_ * 0x2545f4914f6cdd1dULL;
  }
  // A number in [0, n); n > 0.
  std::size_t below(std::size_t n) { return static_cast<std::size_t>(next() % n); }
  // A number in [lo, hi].
  std::size_t between(std::size_t lo, std::size_t hi) { return lo + below(hi - lo + 1); }
  // True `percent` times in a hundred.
  bool chance(unsigned percent) { return below(100) < percent; }

 private:
  std::uint64_t state_;
};

// The title of page `i` of a generated wiki, distinct for every i: "Storage engine", then after
// the list of base titles runs out "Storage engine 2", "Index builder 17", ...
std::string page_title(std::size_t i);

// The id of page `i`: its title in lower case with "-" between words ("index-builder-17").
std::string page_id(std::size_t i);

// Two to six distinct repository paths under src/ for page `i` ("src/index/part3/reader.c").
std::vector<std::string> page_files(std::size_t i);

// Pages 0 .. count-1 as link targets, each with its files; every tenth page also has a former
// title, so link texts can be refreshed.
std::vector<wiki::LinkTarget> link_targets(std::size_t count);

// About `bytes` bytes of Markdown an author could have written, mentioning the titles, linking the
// pages and naming the files of `others`. With `front_matter` it opens with a summary block.
std::string authored_text(std::size_t bytes, std::span<const wiki::LinkTarget> others, bool front_matter, Rng& rng);

// A "Dependencies" flowchart over `files`, shaped like the ones code builds.
wiki::Diagram dependencies_diagram(std::span<const std::string> files);

// One page in the forms a finalize run meets.
struct SamplePage {
  std::string authored{};   // what the author wrote: front-matter, headings, prose, blocks
  wiki::Authored split{};   // split_authored(authored)
  wiki::PageFrame frame{};  // everything code writes around it, `links` holding sample_targets()
  std::string finished{};   // finalize_page(split, frame): what a re-finalize reads back
};

// The link targets every sample page's frame holds: 1,000 pages with realistic, distinct titles.
std::span<const wiki::LinkTarget> sample_targets();

// sample_targets() prepared once for linking, as a batch prepares a wiki's targets.
const wiki::LinkIndex& sample_index();

// The sample page of about `kib` KiB of authored text (2, 20, 200, 700, ...), built on first use
// and kept for the rest of the run.
const SamplePage& sample_page(std::size_t kib);

// The sample page of about `kib` KiB that mentions `neighbours` other pages. `sample_page(kib)`
// has more neighbours the longer it is, like a real page (21 at 2 KiB, 30 at 20 KiB, 370 at
// 700 KiB); a long page with the neighbours of a short one has the short page's mix of text.
const SamplePage& sample_page(std::size_t kib, std::size_t neighbours);
std::size_t sample_page_neighbours(std::size_t kib);

// A generated wiki of `pages` pages: plans with realistic titles, files, children, related pages
// and stored rows, an import graph between the files of nearby pages, and each page's author text
// (2 to 4 KiB mentioning the titles and paths of the forty pages around it). The repository is not
// set; the catch-all page (the last) lists files that `write_catch_all_files` creates.
struct GeneratedWiki {
  wiki::WikiSetup setup{};
  std::vector<std::string> texts{};  // what each page's author wrote, in plan order
};
GeneratedWiki generated_wiki(std::size_t pages);

// Creates under `root` the files the catch-all page of a generated wiki lists.
void write_catch_all_files(const std::filesystem::path& root);

// The page writer's repository link, `_repo_rel_link`, as the RepoLink the writer takes.
const wiki::RepoLink& repo_link();

}  // namespace vantorel::bench

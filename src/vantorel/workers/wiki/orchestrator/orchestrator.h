// WikiGenerator: the generator's orchestrator, as far as the finalize step needs one. It holds the
// wiki's plan, the rows stored for pages built before, the repository (a folder), the
// configuration and the file dependency graph, and mixes in FinalizeMixin.
//
//   WikiGenerator generator({.plans = plans, .repository = "repo", .imports = {{"src/a.c", {"src/b.h"}}}});
//   const FinalizedPage page = generator._finalize(generator._plans[0], text, {}, grounding);
#pragma once

#include <filesystem>
#include <map>
#include <span>
#include <string>
#include <unordered_map>
#include <vector>

#include "vantorel/workers/wiki/finalize/batch.h"
#include "vantorel/workers/wiki/finalize/mixin.h"
#include "vantorel/workers/wiki/finalize/page_run.h"

namespace vantorel::workers::wiki {

// Repository path -> the paths it imports (depends on), as the repository's scanner found them.
using ImportMap = std::map<std::string, std::vector<std::string>, std::less<>>;

// What a generator is built from.
struct WikiSetup {
  std::vector<PagePlan> plans{};                          // every page, in plan order
  std::filesystem::path repository{};                     // the repository's root folder
  WikiConfig config{};                                    // diagrams / sequence_diagrams
  ImportMap imports{};                                    // file -> the files it imports
  std::unordered_map<std::string, StoredRow> existing{};  // stored rows of pages built before
};

class WikiGenerator : public FinalizeMixin {
 public:
  explicit WikiGenerator(WikiSetup setup);

  const std::filesystem::path& repository() const override { return repository_; }
  const WikiConfig& wiki_config() const override { return config_; }

  // Path -> the paths that depend on it: the import graph inverted, every path normalized, each
  // list sorted and without repeats.
  const DependentsMap& _file_dependents_map() const override { return dependents_; }

  // The diagrams `DiagramMixin::_build_diagrams` builds, found through the graph indexed both ways
  // rather than by reading all of it, so that building them for every page stays linear.
  std::vector<Diagram> _build_diagrams(const PagePlan& plan) const override;

  // Finalizes `pages` on up to `threads` threads (0: as many as the machine has), result i for
  // page i whatever the number of threads: for each page what `_finalize` returns when called for
  // the pages one after another with the generator unchanged, with the wiki-wide parts computed
  // once (see FinalizeBatch). When pages fail, the first failure in page order is thrown once
  // every thread has stopped.
  std::vector<FinalizedPage> finalize_pages(std::span<const PageInput> pages, unsigned threads = 1) const;

  // The page run (`run_page`, page_run.h: repair, finalize, confirm) of each of `pages`, on up to
  // `threads` threads as `finalize_pages` does: what `wiki-finalize` does with a wiki's pages.
  std::vector<PageRun> run_pages(std::span<const PageInput> pages, unsigned threads = 1) const;

 private:
  std::filesystem::path repository_;
  WikiConfig config_;
  DependentsMap dependents_;
  DependentsMap dependencies_;  // path -> the paths it depends on: `dependents_` read backwards
};

}  // namespace vantorel::workers::wiki

// Whole wikis of 100, 1,000 and 10,000 generated pages finalized through a real WikiGenerator,
// reported as time per page (the "per_page" column, e.g. "476us"):
//
//   Wiki/ByPage/N   `_finalize` called page after page. Every call gathers the wiki-wide parts
//                   (link targets, reading order, file owners) again, so a whole wiki costs time
//                   proportional to the square of its size; for 1,000 and 10,000 pages a fixed
//                   sample of 100 pages spread over the plan is finalized and reported per page.
//   Wiki/Batch/N    `finalize_pages` over every page on one thread: the wiki-wide parts once.
//
// A wiki has one overview and one architecture page, then runs of a module with three submodules
// (its children) and a guide or a reference, and the catch-all page last. Each page's author text
// is 2 to 4 KiB mentioning the titles and paths of the pages around it. The repository folder on
// disk holds only the files of the catch-all page, whose table reads them; the citations pages make
// into src/ therefore name missing files.
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <mutex>
#include <span>
#include <string>
#include <system_error>
#include <vector>

#include "page_data.h"
#include "vantorel/workers/wiki/orchestrator/orchestrator.h"

namespace vantorel::bench {
namespace {

namespace fs = std::filesystem;

constexpr std::size_t SAMPLE = 100;  // pages finalized one by one in the larger wikis

struct Wiki {
  fs::path repository;
  std::unique_ptr<wiki::WikiGenerator> generator;
  std::vector<std::string> texts;                    // what each page's author wrote, in plan order
  std::vector<std::vector<wiki::Diagram>> diagrams;  // the diagrams code builds for each page
  std::string grounding = "facts: config, cli";

  Wiki() = default;
  Wiki(const Wiki&) = delete;
  Wiki& operator=(const Wiki&) = delete;
  ~Wiki() {
    std::error_code ignored;
    fs::remove_all(repository, ignored);
  }
};

std::unique_ptr<Wiki> make_wiki(std::size_t pages) {
  GeneratedWiki generated = generated_wiki(pages);
  auto w = std::make_unique<Wiki>();
  std::string name("vantorel-bench-");
  name.append(std::to_string(::getpid())).append("-").append(std::to_string(pages));
  w->repository = fs::temp_directory_path() / name;
  write_catch_all_files(w->repository);
  generated.setup.repository = w->repository;
  w->generator = std::make_unique<wiki::WikiGenerator>(std::move(generated.setup));
  w->texts = std::move(generated.texts);
  for (const wiki::PagePlan& plan : w->generator->_plans) w->diagrams.push_back(w->generator->_build_diagrams(plan));
  return w;
}

const Wiki& wiki_of(std::size_t pages) {
  static std::mutex mutex;
  static std::map<std::size_t, std::unique_ptr<Wiki>> wikis;
  const std::lock_guard lock(mutex);
  std::unique_ptr<Wiki>& slot = wikis[pages];
  if (!slot) slot = make_wiki(pages);
  return *slot;
}

void set_per_page(benchmark::State& state, std::size_t pages) {
  // An inverted rate: the time per page, shown in seconds with an SI prefix ("476us").
  state.counters["per_page"] =
      benchmark::Counter(static_cast<double>(pages), benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

void by_page(benchmark::State& state, std::size_t pages) {
  const Wiki& w = wiki_of(pages);
  const wiki::WikiGenerator& generator = *w.generator;
  std::vector<std::size_t> sample;
  for (std::size_t i = 0; i < pages && sample.size() < SAMPLE; i += std::max<std::size_t>(1, pages / SAMPLE)) sample.push_back(i);
  for (auto _ : state) {
    for (const std::size_t i : sample) {
      benchmark::DoNotOptimize(generator._finalize(generator._plans[i], w.texts[i], w.diagrams[i], w.grounding, {}));
    }
  }
  set_per_page(state, sample.size());
}

void batch(benchmark::State& state, std::size_t pages) {
  const Wiki& w = wiki_of(pages);
  std::vector<wiki::PageInput> inputs;
  for (std::size_t i = 0; i < pages; ++i) {
    inputs.push_back({.plan = &w.generator->_plans[i], .text = w.texts[i], .diagrams = w.diagrams[i], .grounding = w.grounding});
  }
  for (auto _ : state) benchmark::DoNotOptimize(w.generator->finalize_pages(inputs, 1));
  set_per_page(state, pages);
}

BENCHMARK_CAPTURE(by_page, 100, 100)->Name("Wiki/ByPage/100")->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(by_page, 1000, 1000)->Name("Wiki/ByPage/1000")->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(by_page, 10000, 10000)->Name("Wiki/ByPage/10000")->Unit(benchmark::kMillisecond)->Iterations(1);
BENCHMARK_CAPTURE(batch, 100, 100)->Name("Wiki/Batch/100")->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(batch, 1000, 1000)->Name("Wiki/Batch/1000")->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(batch, 10000, 10000)->Name("Wiki/Batch/10000")->Unit(benchmark::kMillisecond)->Iterations(1);

}  // namespace
}  // namespace vantorel::bench

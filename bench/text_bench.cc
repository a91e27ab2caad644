// The text functions of the finalize step, one at a time, on generated pages of about 2, 20 and
// 200 KiB, in bytes per second of the text each reads. Functions that read a finished page get the
// sample page as `finalize_page` wrote it; those that work on the author's prose get its body.
// Linking runs against the sample's 1,000 link targets: the plain functions take them as a list and
// prepare them on every call; the LinkIndex ones use them prepared once (Text/LinkIndexBuild times
// that preparation).
#include <benchmark/benchmark.h>

#include <cstdint>
#include <string>
#include <string_view>

#include "page_data.h"
#include "vantorel/workers/wiki/finalize/normalize.h"

namespace vantorel::bench {
namespace {

// Which text of the sample page a function reads, and so how many bytes it processes.
enum class Input { finished, authored, body };

struct TextCase {
  const char* name;
  Input input;
  void (*run)(const SamplePage&);
};

std::string_view input_of(const SamplePage& page, Input input) {
  switch (input) {
    case Input::finished:
      return page.finished;
    case Input::authored:
      return page.authored;
    case Input::body:
      break;
  }
  return page.split.body;
}

const TextCase CASES[] = {
    {"Segments", Input::finished, [](const SamplePage& p) { benchmark::DoNotOptimize(wiki::_segments(std::string_view(p.finished))); }},
    {"StripGenerated", Input::finished, [](const SamplePage& p) { benchmark::DoNotOptimize(wiki::strip_generated(p.finished)); }},
    {"SplitAuthored", Input::finished, [](const SamplePage& p) { benchmark::DoNotOptimize(wiki::split_authored(p.finished)); }},
    {"SplitAuthoredRaw", Input::authored, [](const SamplePage& p) { benchmark::DoNotOptimize(wiki::split_authored(p.authored)); }},
    {"NormalizeBody", Input::body, [](const SamplePage& p) { benchmark::DoNotOptimize(wiki::_normalize_body(p.split.body)); }},
    {"DropLegacySections", Input::body, [](const SamplePage& p) { benchmark::DoNotOptimize(wiki::_drop_legacy_sections(p.split.body)); }},
    {"SearchableText", Input::finished, [](const SamplePage& p) { benchmark::DoNotOptimize(wiki::searchable_text(p.finished)); }},
    {"MermaidBlocks", Input::finished, [](const SamplePage& p) { benchmark::DoNotOptimize(wiki::mermaid_blocks(p.finished)); }},
    {"SectionHeadings", Input::finished, [](const SamplePage& p) { benchmark::DoNotOptimize(wiki::section_headings(p.finished)); }},
    {"PlaceDiagrams", Input::body,
     [](const SamplePage& p) { benchmark::DoNotOptimize(wiki::place_diagrams(p.split.body, p.frame.diagrams, p.frame.page_type)); }},
    {"DropDuplicateDiagrams", Input::body,
     [](const SamplePage& p) { benchmark::DoNotOptimize(wiki::_drop_duplicate_diagrams(p.split.body, p.frame.diagrams)); }},
    {"Autolink", Input::body,
     [](const SamplePage& p) { benchmark::DoNotOptimize(wiki::autolink(p.split.body, p.frame.links, p.frame.page_id)); }},
    {"RefreshLinkTexts", Input::body,
     [](const SamplePage& p) { benchmark::DoNotOptimize(wiki::refresh_link_texts(p.split.body, p.frame.links)); }},
    {"LinkIndexAutolink", Input::body,
     [](const SamplePage& p) { benchmark::DoNotOptimize(sample_index().autolink(p.split.body, p.frame.page_id)); }},
    {"LinkIndexRefresh", Input::body,
     [](const SamplePage& p) { benchmark::DoNotOptimize(sample_index().refresh_link_texts(p.split.body)); }},
    // Bytes of the page written, the H1, blocks and links included.
    {"FinalizePage", Input::finished,
     [](const SamplePage& p) { benchmark::DoNotOptimize(wiki::finalize_page(p.split, p.frame, repo_link())); }},
};

const bool registered = [] {
  for (const TextCase& c : CASES) {
    for (const std::size_t kib : {2, 20, 200}) {
      std::string name("Text/");
      name.append(c.name).append("/").append(std::to_string(kib)).append("KB");
      benchmark::RegisterBenchmark(name.c_str(), [c, kib](benchmark::State& state) {
        const SamplePage& page = sample_page(kib);
        for (auto _ : state) c.run(page);
        state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * input_of(page, c.input).size()));
      })->Unit(benchmark::kMicrosecond);
    }
  }
  return true;
}();

void link_index_build(benchmark::State& state) {
  for (auto _ : state) benchmark::DoNotOptimize(wiki::LinkIndex(sample_targets()));
  state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * sample_targets().size()));
}
BENCHMARK(link_index_build)->Name("Text/LinkIndexBuild/1000targets")->Unit(benchmark::kMicrosecond);

}  // namespace
}  // namespace vantorel::bench

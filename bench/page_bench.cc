// A whole re-finalize of one finished page (split it, write it again with a frame holding 1,000
// link targets; "FinalizeIndexed" with those targets prepared once in a LinkIndex) next to two reference Markdown parsers reading the same
// page: cmark parsing and rendering it to HTML, and md4c parsing it with callbacks that do nothing. The parsers do far less (no linking, no
// generated blocks); they show the order of magnitude a pass over Markdown costs. cmark here is the CommonMark core without table support;
// md4c runs with its GitHub dialect.
#include <benchmark/benchmark.h>
#include <cmark.h>
#include <md4c.h>

#include <cstdint>
#include <cstdlib>
#include <string>

#include "page_data.h"

namespace vantorel::bench {
namespace {

void set_bytes(benchmark::State& state, const std::string& page) {
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * page.size()));
}

void finalize_page_of(benchmark::State& state, const SamplePage& page) {
  for (auto _ : state) {
    const wiki::Authored authored = wiki::split_authored(page.finished);
    benchmark::DoNotOptimize(wiki::finalize_page(authored, page.frame, repo_link()));
  }
  set_bytes(state, page.finished);
}

void finalize(benchmark::State& state, std::size_t kib) { finalize_page_of(state, sample_page(kib)); }

// A long page with the 20 KiB page's mix of text (its 30 neighbours): per byte the same work, so
// its throughput shows whether the cost stays linear in the page's length.
void finalize_20kb_mix(benchmark::State& state, std::size_t kib) { finalize_page_of(state, sample_page(kib, sample_page_neighbours(20))); }

// The same with the frame's link targets prepared once beforehand, as a batch over a wiki does.
void finalize_indexed(benchmark::State& state, std::size_t kib) {
  const SamplePage& page = sample_page(kib);
  const wiki::LinkIndex& index = sample_index();
  for (auto _ : state) {
    const wiki::Authored authored = wiki::split_authored(page.finished);
    benchmark::DoNotOptimize(wiki::detail::finalize_page(authored, page.frame, index, repo_link()));
  }
  set_bytes(state, page.finished);
}

void cmark(benchmark::State& state, std::size_t kib) {
  const SamplePage& page = sample_page(kib);
  for (auto _ : state) {
    char* html = cmark_markdown_to_html(page.finished.data(), page.finished.size(), CMARK_OPT_DEFAULT);
    benchmark::DoNotOptimize(html);
    std::free(html);
  }
  set_bytes(state, page.finished);
}

int on_block(MD_BLOCKTYPE, void*, void*) { return 0; }
int on_span(MD_SPANTYPE, void*, void*) { return 0; }
int on_text(MD_TEXTTYPE, const MD_CHAR*, MD_SIZE, void*) { return 0; }

void md4c(benchmark::State& state, std::size_t kib) {
  const SamplePage& page = sample_page(kib);
  MD_PARSER parser{};
  parser.abi_version = 0;
  parser.flags = MD_DIALECT_GITHUB;
  parser.enter_block = on_block;
  parser.leave_block = on_block;
  parser.enter_span = on_span;
  parser.leave_span = on_span;
  parser.text = on_text;
  for (auto _ : state) {
    benchmark::DoNotOptimize(md_parse(page.finished.data(), static_cast<MD_SIZE>(page.finished.size()), &parser, nullptr));
  }
  set_bytes(state, page.finished);
}

BENCHMARK_CAPTURE(finalize, 20KB, 20)->Name("Page/Finalize/20KB")->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(finalize_indexed, 20KB, 20)->Name("Page/FinalizeIndexed/20KB")->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(cmark, 20KB, 20)->Name("Page/Cmark/20KB")->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(md4c, 20KB, 20)->Name("Page/Md4c/20KB")->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(finalize, 700KB, 700)->Name("Page/Finalize/700KB")->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(finalize_20kb_mix, 700KB, 700)->Name("Page/Finalize/700KB-20KB-mix")->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(finalize_indexed, 700KB, 700)->Name("Page/FinalizeIndexed/700KB")->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(cmark, 700KB, 700)->Name("Page/Cmark/700KB")->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(md4c, 700KB, 700)->Name("Page/Md4c/700KB")->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace vantorel::bench

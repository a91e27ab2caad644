// Writing a page, splitting it and writing it again gives the same file, over many generated
// bodies and frames, whenever the page is one that settles: every fence of the body closed, no
// marker line outside fences, a body the split's normalization leaves as it is, and no leading
// blockquote standing in for a missing summary.
#include <gtest/gtest.h>

#include <random>

#include "support/settle.h"
#include "vantorel/workers/wiki/finalize/page.h"
#include "vantorel/workers/wiki/repo_facts/repo_facts.h"

namespace vantorel::workers::wiki {
namespace {

const std::vector<LinkTarget> kTargets = {
    // pages with files, a former title, a title that is a prefix of another
    LinkTarget("config", "Config", {"src/config.c"}, {}), LinkTarget("parser", "Parser", {"src/parser.c"}, {"Old Parser"}),
    LinkTarget("cli", "Command line", {"src/cli.rs"}, {}), LinkTarget("cafe", "Caf\u00e9 \u00dcber", {}, {}),
    LinkTarget("parser-api", "Parser API", {"src/parser_api.h"}, {})};

const Diagram kArch{.heading = "Architecture", .mermaid = "flowchart TD\n  a --> b"};
const Diagram kDeps{.heading = "Dependencies", .mermaid = "flowchart LR\n  x --> y"};

const PageType kType{.sections = {{.key = "design", .heading = "Design", .aliases = {"Overview"}}},
                     .diagram_slots = {{"Architecture", "design"}}};

const std::vector<std::string> kBodyPieces = {
    // prose naming pages, files and former titles; sections, legacy ones included
    "The Parser reads tokens.", "See `src/parser.c` and `src/cli` for details.", "Use the Command line to run the Parser API.",
    "Caf\u00e9 \u00dcber works; Caf\u00e9 \u00dcberall does not.", "Already [Parser](parser.md) linked.",
    "Old link to [Old Parser](parser.md#top).", "- item with `inline` code", "> quoted in the middle", "", "",
    "Text \xFF with an invalid byte.", "<b>Parser</b> in HTML", "## Design", "## overview", "## Usage", "### Notes",
    "## Sources\n- [a](../a.c)\n- [b](../b.c)",
    // diagrams, copies of placed ones included, and code quoting a marker
    "### Architecture\n\n```mermaid\nflowchart TD\n  a --> b\n```", "```mermaid\nflowchart LR\n  x --> y\n```",
    "## Architecture\n\n```mermaid\nflowchart TD\n  old\n```", "## Sequence diagram\n```mermaid\nsequenceDiagram\n  a->>b: go\n```",
    "```\ncode with Parser and <!-- wiki:index -->\n```"};

const std::vector<std::string> kDescriptions = {"Reads the configuration.", "", "The Parser.", "yes"};

// How an author text begins: front-matter, a page finalized before, a leading quote, or the body.
const char* const kHeads[] = {"---\nsummary: Loads the config of the Parser.\n---\n\n",
                              "# Config\n<!-- wiki:summary -->\n> An agent's summary.\n<!-- /wiki:summary -->\n\n",
                              "> A quoted summary.\n\n", ""};

PageFrame random_frame(std::mt19937& rng, const Authored& authored, const std::string& description) {
  PageFrame frame{.page_id = "config",
                  .title = rng() % 2 ? "Config" : "Config [v2] \u00e9",
                  .summary = authored.summary.empty() ? description : authored.summary,
                  .page_type = kType,
                  .summary_from_plan = authored.summary.empty(),
                  .links = kTargets};
  if (rng() % 2) frame.sources = {"src/config.c", "src/a (b).c"};
  if (rng() % 2) frame.diagrams.push_back(kArch);
  if (rng() % 2) frame.diagrams.push_back(kDeps);
  if (rng() % 2) frame.related = {kTargets[1], kTargets[2]};
  if (rng() % 2) frame.previous = kTargets[3];
  if (rng() % 2) frame.next = kTargets[4];
  if (rng() % 3 == 0) frame.index = {"## Files", "", "| File | Symbols | Lines |", "| --- | --- | --- |", "| [a.c](../a.c) | 1 | 2 |"};
  return frame;
}

TEST(FinalizePageProperty, WritingASplitPageAgainChangesNothing) {
  std::mt19937 rng(314159);
  int checked = 0;
  for (int i = 0; i < 4000; ++i) {
    std::string x = kHeads[rng() % 4];
    for (int n = static_cast<int>(rng() % 12); n > 0; --n) x.append(kBodyPieces[rng() % kBodyPieces.size()]).append("\n");
    const std::string& d = kDescriptions[rng() % kDescriptions.size()];
    const Authored authored = split_authored(x, d);
    const PageFrame frame = random_frame(rng, authored, d);
    const std::string page = finalize_page(authored, frame, _repo_rel_link);
    if (!test_support::settles(authored, frame)) continue;
    ++checked;
    ASSERT_EQ(finalize_page(split_authored(page, d), frame, _repo_rel_link), page) << "author text: [" << x << "], description: " << d;
  }
  EXPECT_GT(checked, 2000);
}

TEST(FinalizePageProperty, OddFramesAndBodiesAreWritten) {
  const PageFrame frames[] = {{.title = "", .summary = "", .summary_from_plan = true},
                              {.title = "T", .sources = {"a]b)c.c", "(x)"}, .links = kTargets},
                              {.title = "T", .diagrams = {Diagram{}, kArch}, .related = {LinkTarget("", "", {}, {})}}};
  for (const PageFrame& frame : frames) {
    for (const char* body : {"", "```\nunclosed", "<!-- wiki:footer -->\nopen block", "\xFF\xFE\n\n\n"})
      EXPECT_NO_THROW(finalize_page(Authored{.body = body}, frame, _repo_rel_link)) << body;
  }
}

}  // namespace
}  // namespace vantorel::workers::wiki

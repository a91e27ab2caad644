// The page run (repair, finalize, confirm) through a real generator over a scratch repository:
// what it keeps of the author's text, what it reports, and that it settles where the finalize step
// alone would need another run.
#include "vantorel/workers/wiki/finalize/page_run.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/temp_repository.h"
#include "vantorel/workers/wiki/orchestrator/orchestrator.h"

namespace vantorel::workers::wiki {
namespace {

class PageRunTest : public ::testing::Test {
 protected:
  PageRunTest() {
    repo_.write("lib/commands/audit.js", std::string(60, '\n'));  // 60 lines
    repo_.write("README.md", "# R\n");
    plans_ = {PagePlan{.page_id = "audit", .title = "Audit command", .description = "How audit works.", .type_id = "module"},
              PagePlan{.page_id = "store", .title = "Storage engine", .description = "Keeps data.", .type_id = "module"}};
  }

  // The page run of the first plan's page, finalized once more through another run.
  PageRun run(std::string_view text, std::vector<Diagram> diagrams = {}, std::unordered_map<std::string, StoredRow> rows = {}) {
    const WikiGenerator generator({.plans = plans_, .repository = repo_.root(), .existing = std::move(rows)});
    const FinalizeBatch batch(generator);
    const auto once = [&](std::string_view t) { return run_page(batch, {.plan = &generator._plans[0], .text = t, .diagrams = diagrams}); };
    PageRun first = once(text);
    EXPECT_EQ(once(first.page.markdown).page.markdown, first.page.markdown) << "a second run changed the page";
    // The run of a plain generator gives the same.
    EXPECT_EQ(run_page(generator, generator._plans[0], text, diagrams, "").page, first.page);
    return first;
  }

  static std::vector<std::string> kinds(const PageRun& r) {
    std::vector<std::string> out;
    for (const Finding& f : r.findings) out.push_back(f.kind + "@" + std::to_string(f.line));
    return out;
  }

  test_support::TempRepository repo_;
  std::vector<PagePlan> plans_;
};

// Bracketed path-like prose used to vanish with the inline-citation scrub.
TEST_F(PageRunTest, BracketedPathsInProseAreKept) {
  const PageRun r = run("The handler lives in [lib/commands/audit.js:1-60] and [README.md]; [foo.bar], [x/y] and files[\"src/a.js\"] too.");
  EXPECT_NE(r.page.markdown.find("The handler lives in [lib/commands/audit.js:1-60](../lib/commands/audit.js#L1-L60) and "
                                 "[README.md](../README.md); \\[foo.bar], \\[x/y] and files[\"src/a.js\"] too."),
            std::string::npos)
      << r.page.markdown;
  EXPECT_EQ(r.page.own_citations.size(), 2u);
  EXPECT_EQ(kinds(r), (std::vector<std::string>{"citation-linked@1", "citation-linked@1", "citation-unresolved@1", "citation-unresolved@1"}));
}

// A page a model stopped writing inside a code fence used to grow on every run.
TEST_F(PageRunTest, ACutOffFenceSettlesInOneRun) {
  const std::vector<Diagram> diagrams = {{.heading = "Dependencies", .mermaid = "flowchart LR\n  n0[\"src/a.c\"] --> n1[\"src/b.h\"]"}};
  const PageRun r = run("---\nsummary: Cut off.\n---\n\n## Overview\n\n```python\nimport x\n", diagrams);
  EXPECT_TRUE(r.page.markdown.find("import x\n```\n") != std::string::npos) << r.page.markdown;
  EXPECT_NE(r.page.markdown.find("n0[\"src/a.c\"]"), std::string::npos);
  EXPECT_EQ(kinds(r), std::vector<std::string>{"unclosed-fence@7"});
  EXPECT_EQ(r.passes, 1u);
}

// A hand-deleted closing marker used to leave the old source list in the prose for good.
TEST_F(PageRunTest, ADeletedClosingMarkerLeavesNoSecondSourceList) {
  const PageRun written = run("Body with [README.md].");
  std::string edited = written.page.markdown;
  edited.erase(edited.find("<!-- /wiki:sources -->\n"), 23);
  const PageRun r = run(edited);
  EXPECT_EQ(r.page.markdown, written.page.markdown);
  EXPECT_EQ(kinds(r), std::vector<std::string>{"unclosed-block@7"});
  EXPECT_NE(r.findings[0].message.find("the 'sources' block has no closing marker"), std::string::npos) << r.findings[0].message;
}

TEST_F(PageRunTest, RemovalsByDesignAreReportedWhenThePageDoesNotShowThem) {
  const PageRun r = run(
      "---\nsummary: Audits.\ntags: [a]\n---\n\n# My own title\n\nSee the [Old store](store.md).\n\n## Sources\n\n- [gone](../gone.c)\n\n"
      "## Architecture\n\n```mermaid\nflowchart TD\n  a --> b\n```\n",
      {}, {{"store", StoredRow{{"title", "Old store"}}}});
  EXPECT_EQ(kinds(r), (std::vector<std::string>{"front-matter-dropped@1", "h1-replaced@6", "link-list-dropped@10", "diagram-section-dropped@14",
                                                "link-text-refreshed@8"}));
  EXPECT_NE(r.page.markdown.find("See the [Storage engine](store.md)."), std::string::npos);
  // Nothing to report when the page shows what was taken out.
  EXPECT_EQ(kinds(run("# Audit command\n\nText.\n\n## Related\n\n- [Storage engine](store.md)")), std::vector<std::string>{});
}

// Taking out a copy of a placed diagram leaves a section the next split would drop: the run makes
// that second pass itself.
TEST_F(PageRunTest, AChangeOnlyASecondPassSeesIsMadeInTheSameRun) {
  const std::vector<Diagram> diagrams = {{.heading = "Dependencies", .mermaid = "flowchart LR\n  a --> b"}};
  const PageRun r = run("Intro.\n\n## Sources\n\n- [README.md](../README.md)\n\n```mermaid\nflowchart LR\n  a --> b\n```\n", diagrams);
  EXPECT_EQ(r.passes, 2u);
  EXPECT_TRUE(r.settled);
  EXPECT_EQ(r.page.markdown.find("## Sources"), std::string::npos) << r.page.markdown;
}

// The split drops one blockquote that opens the prose and holds no text per run, where it looks
// for the summary (here the author's summary is the plan's, which counts as none): the repair
// takes them out, and the second pass takes the quote with text for the summary.
TEST_F(PageRunTest, EmptyQuotesOpeningTheProseSettleInOneRun) {
  std::string text = "---\nsummary: How audit works.\n---\n\n";
  for (int i = 0; i < 6; ++i) text += ">\n\n";
  text += "> The quote.\n\nBody.\n";
  const PageRun r = run(text);
  EXPECT_TRUE(r.settled);
  EXPECT_EQ(r.passes, 2u);
  EXPECT_EQ(kinds(r).front(), "empty-quote-removed@5");
  EXPECT_NE(r.page.markdown.find("<!-- wiki:summary -->\n> The quote.\n"), std::string::npos) << r.page.markdown;
}

// Outside the plan's rules (a title over two lines), a page may not settle; the run says so.
TEST_F(PageRunTest, APageThatDoesNotSettleIsReported) {
  plans_[0].title = "Two\nlines";
  const WikiGenerator generator({.plans = plans_, .repository = repo_.root()});
  const PageRun r = run_page(generator, generator._plans[0], "Text.", {}, "");
  EXPECT_FALSE(r.settled);
  EXPECT_EQ(r.passes, MAX_PASSES);
  EXPECT_EQ(r.findings.back().kind, "does-not-settle");
}

}  // namespace
}  // namespace vantorel::workers::wiki

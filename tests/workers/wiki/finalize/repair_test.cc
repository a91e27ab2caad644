#include "vantorel/workers/wiki/finalize/repair.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/temp_repository.h"
#include "vantorel/workers/wiki/finalize/authored.h"

namespace vantorel::workers::wiki {
namespace {

// The repair step with citations resolved against a scratch repository.
class Repair : public ::testing::Test, public VerifyMixin {
 protected:
  void SetUp() override {
    repo_.write("src/a.c", "1\n2\n3\n4\n5\n6\n7\n8\n9\n10\n");  // 10 lines
    repo_.write("README.md", "# R\n");
    repo_.write("odd#name.c", "x\n");
  }
  const std::filesystem::path& repository() const override { return repo_.root(); }

  RepairedText repair(std::string_view text) const { return repair_page_text(text, {.citations = this}); }

  // "kind@line:column" for each finding.
  static std::vector<std::string> kinds(const RepairedText& r) {
    std::vector<std::string> out;
    for (const Finding& f : r.findings) out.push_back(f.kind + "@" + std::to_string(f.line) + ":" + std::to_string(f.column));
    return out;
  }

  test_support::TempRepository repo_;
};

struct Case {
  std::string in;
  std::string out;
  std::vector<std::string> kinds;
};

const std::string SOURCES_LINES = "<details>\n<summary>Relevant source files</summary>\n\n- [src/a.c](../src/a.c)\n\n</details>";

TEST_F(Repair, FencesAndMarkersTheSplitCouldNotSettle) {
  const Case cases[] = {
      // A fence cut off at the end of the prose, then before the blocks written after the prose.
      {"Intro.\n\n```py\nx = 1\n\n", "Intro.\n\n```py\nx = 1\n```\n\n", {"unclosed-fence@3:1"}},
      {"  ~~~~ text\nx\n", "  ~~~~ text\nx\n~~~~\n", {"unclosed-fence@1:3"}},
      {"```\ncode\n\n<!-- wiki:footer -->\nx\n<!-- /wiki:footer -->",
       "```\ncode\n```\n\n<!-- wiki:footer -->\nx\n<!-- /wiki:footer -->", {"unclosed-fence@1:1"}},
      // A fence in the front-matter is not one of the prose's.
      {"---\nsummary: s\n```\n---\nBody.", "---\nsummary: s\n```\n---\nBody.", {}},
      // A block whose closing marker is gone: closed after its lines when they have the writer's
      // shape, else its marker goes and its lines stay as prose.
      {"<!-- wiki:sources -->\n" + SOURCES_LINES + "\n\nBody.", "<!-- wiki:sources -->\n" + SOURCES_LINES + "\n<!-- /wiki:sources -->\n\nBody.",
       {"unclosed-block@1:1"}},
      {"A\n<!-- wiki:summary -->\nnot a summary\n\nBody.", "A\nnot a summary\n\nBody.", {"stray-marker@2:1"}},
      // ... also when the block would run on to the closing marker of a later block of its part.
      {"<!-- wiki:diagram -->\n### D\n\n```mermaid\na\n```\n\nProse.\n\n<!-- wiki:diagram -->\n### E\n\n```mermaid\nb\n```\n<!-- /wiki:diagram -->",
       "<!-- wiki:diagram -->\n### D\n\n```mermaid\na\n```\n<!-- /wiki:diagram -->\n\nProse.\n\n<!-- wiki:diagram -->\n### E\n\n```mermaid\nb\n```\n<!-- /wiki:diagram -->",
       {"unclosed-block@1:1"}},
      // A closing marker without its block: the lines above are taken as the block when they have
      // its shape, else the marker line goes.
      {"Intro.\n\n" + SOURCES_LINES + "\n<!-- /wiki:sources -->\nBody.",
       "Intro.\n\n<!-- wiki:sources -->\n" + SOURCES_LINES + "\n<!-- /wiki:sources -->\nBody.", {"unopened-block@9:1"}},
      {"Intro.\n\n- [a](b)\n   <!-- /wiki:footer -->\nBody.", "Intro.\n\n- [a](b)\nBody.", {"stray-marker@4:4"}},
      // A marker line inside a block's lines: neither the opening nor the closing marker may take
      // lines past it as the block (the two would undo each other's repair).
      {"<!-- wiki:diagram -->\n### D\n\n```mermaid\na\n<!-- /wiki:summary -->\nb\n```\n<!-- /wiki:diagram -->",
       "### D\n\n```mermaid\na\n<!-- /wiki:summary -->\nb\n```", {"stray-marker@1:1", "stray-marker@9:1"}},
      // Markers inside a fence are text; a quoted page stays as it is.
      {"````md\n<!-- wiki:footer -->\n````\nEnd.", "````md\n<!-- wiki:footer -->\n````\nEnd.", {}},
  };
  for (const Case& c : cases) {
    const RepairedText r = repair(c.in);
    EXPECT_EQ(r.text, c.out) << c.in;
    EXPECT_EQ(kinds(r), c.kinds) << c.in;
    const RepairedText again = repair(r.text);
    EXPECT_EQ(again.text, r.text) << c.in;
    EXPECT_TRUE(again.findings.empty()) << c.in;
  }
}

TEST_F(Repair, InlineCitationsBecomeLinksOrStayAsText) {
  const Case cases[] = {
      {"See [src/a.c:2-4] and [README.md].", "See [src/a.c:2-4](../src/a.c#L2-L4) and [README.md](../README.md).",
       {"citation-linked@1:5", "citation-linked@1:23"}},
      {"One line [src/a.c:10].", "One line [src/a.c:10](../src/a.c#L10).", {"citation-linked@1:10"}},
      {"[src/a.c:1-60] [x/y] [foo.bar] [src/a.c:0] [src/a.c:5-2] [odd#name.c] [../a.c]",
       "\\[src/a.c:1-60] \\[x/y] \\[foo.bar] \\[src/a.c:0] \\[src/a.c:5-2] \\[odd#name.c] \\[../a.c]",
       {"citation-out-of-range@1:1", "citation-unresolved@1:16", "citation-unresolved@1:22", "citation-out-of-range@1:32",
        "citation-out-of-range@1:44", "citation-unresolved@1:58", "citation-unresolved@1:71"}},
      // Code-like brackets, code and links are not citations.
      {"files[\"src/a.js\"], x[src/a.c], f()[README.md], `[src/a.c]`, [src/a.c](../src/a.c)\n```\n[src/a.c]\n```",
       "files[\"src/a.js\"], x[src/a.c], f()[README.md], `[src/a.c]`, [src/a.c](../src/a.c)\n```\n[src/a.c]\n```", {}},
      // In a section the split drops when it holds only links, a citation stays as text.
      {"## Sources\n\n- [src/a.c](../src/a.c)\n- [src/a.c:1-2]\n\n### Notes\n\n[README.md]",
       "## Sources\n\n- [src/a.c](../src/a.c)\n- \\[src/a.c:1-2]\n\n### Notes\n\n[README.md](../README.md)",
       {"citation-in-link-list@4:3", "citation-linked@8:1"}},
      // The H1 and the blockquote the split takes for the summary are not prose.
      {"# Title [src/a.c]\n\n> Summary [src/a.c].\n\nBody [src/a.c].", "# Title [src/a.c]\n\n> Summary [src/a.c].\n\nBody [src/a.c](../src/a.c).",
       {"citation-linked@5:6"}},
      {"---\nsummary: s\n---\n> Quote [src/a.c].", "---\nsummary: s\n---\n> Quote [src/a.c](../src/a.c).", {"citation-linked@4:9"}},
      // The body's first line is read trimmed, so it is a link reference definition there.
      {"\n      [src/a.c]: x\n\n      [src/a.c]: y", "\n      [src/a.c]: x\n\n      [src/a.c](../src/a.c): y", {"citation-linked@4:7"}},
      // Line endings become "\n"; positions count lines as the text has them then.
      {"a\r\nb\rc [README.md]", "a\nb\nc [README.md](../README.md)", {"citation-linked@3:3"}},
  };
  for (const Case& c : cases) {
    const RepairedText r = repair(c.in);
    EXPECT_EQ(r.text, c.out) << c.in;
    EXPECT_EQ(kinds(r), c.kinds) << c.in;
    const std::string body = split_authored(r.text).body;
    EXPECT_EQ(_scrub_inline_citations(body), body) << "the scrub would still remove something: " << r.text;
    EXPECT_EQ(repair(r.text).text, r.text) << c.in;
  }
  // Converted citations are the citations the page makes.
  EXPECT_EQ(_validate_citations(repair("[src/a.c:2-4]").text, {}), (std::vector<Citation>{{{"path", "src/a.c"}, {"start", 2}, {"end", 4}}}));
  // Without a resolver, citations are left to the scrub.
  EXPECT_EQ(repair_page_text("[src/a.c]", {}).text, "[src/a.c]");
}

// Blockquotes of ">" alone opening the prose go where the split looks there for the summary: none
// given, or the plan's own; they stay below a summary of the author's.
TEST_F(Repair, EmptyQuotesOpeningTheProse) {
  const auto with_plan = [&](std::string_view text, std::string_view plan) {
    return repair_page_text(text, {.citations = this, .plan_summary = plan});
  };
  RepairedText r = with_plan("# T\n\n>\n\n >  \n>\n\n> Quote.\n\nBody.", "");
  EXPECT_EQ(r.text, "# T\n\n\n\n> Quote.\n\nBody.");
  EXPECT_EQ(kinds(r), (std::vector<std::string>{"empty-quote-removed@3:1", "empty-quote-removed@5:2"}));
  r = with_plan("---\nsummary: Plan.\n---\n>\n\n> Quote.", "Plan.");
  EXPECT_EQ(r.text, "---\nsummary: Plan.\n---\n\n> Quote.");
  // The last empty one before other text stays: removing it would make "# H" the first line.
  r = with_plan(">\n\n>\n\n# H\n\n> Quote.", "");
  EXPECT_EQ(r.text, "\n>\n\n# H\n\n> Quote.");
  for (const std::string_view kept : {"---\nsummary: Mine.\n---\n>\n\n> Quote.", "Intro.\n\n>\n\n> Quote.", ">\n> x", ">\n\n# H"}) {
    EXPECT_EQ(with_plan(kept, "Plan.").text, kept);
  }
}

TEST_F(Repair, OriginsPointIntoTheInput) {
  const RepairedText r = repair("```\nx\n<!-- /wiki:index -->\n");
  EXPECT_EQ(r.text, "```\nx\n<!-- /wiki:index -->\n```\n");
  EXPECT_EQ(r.origin, (std::vector<std::size_t>{1, 2, 3, 0, 4}));
}

}  // namespace
}  // namespace vantorel::workers::wiki

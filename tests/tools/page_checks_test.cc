#include "page_checks.h"

#include <gtest/gtest.h>

#include "vantorel/workers/wiki/finalize/finalize.h"

namespace vantorel::tools {
namespace {

namespace wiki = vantorel::workers::wiki;

TEST(PageChecks, UnsettledCauseNamesTheLikelyCause) {
  struct Case {
    std::string_view text, title, expected;
  };
  static const Case cases[] = {
      {"```\na\n```\n\n~~~\nb\n", "T", "a code fence in the body is never closed (\"~~~\")"},
      {"Text.\n\n<!-- wiki:footer -->\nA\n<!-- wiki:index -->\nB\n<!-- /wiki:index -->\n", "T",
       "a marker line outside code fences in the body (\"<!-- wiki:index -->\"), left over from a block whose closing marker is gone"},
      {"```\n<!-- wiki:index -->\n```\n", "Two\nlines", "the title is not one line starting with a character other than white space"},
      {"Text.", "T", "other (the page's text or plan is outside what a second run keeps as it is)"},
  };
  for (const Case& c : cases) EXPECT_EQ(unsettled_cause(c.text, c.title, ""), c.expected) << c.text;
}

// A finished page with a source list, a diagram and a footer, as the page writer lays one out.
std::string page(std::string_view sources_item, std::string_view diagram, std::string_view footer_item) {
  std::string out = "# T\n\n";
  out.append(wiki::_block(wiki::SOURCES, {"<details>", "<summary>Relevant source files</summary>", "", sources_item, "", "</details>"}));
  out.append("\n\nBody.\n\n").append(wiki::_block(wiki::DIAGRAM, {"```mermaid", diagram, "```"}));
  return out.append("\n\n").append(wiki::_block(wiki::FOOTER, {"## Related pages", "", footer_item})).append("\n");
}

TEST(PageChecks, EditedBlocksHoldOtherLinesThanTheRunWrites) {
  const std::string finished = page("- [a.c](../a.c)", "a --> b", "- [Log](log.md)");
  struct Case {
    std::string on_disk;
    std::vector<std::string> expected;
  };
  const Case cases[] = {
      {finished, {}},
      {page("- [my dir/b.c](../my%20dir/b.c)", "a --> b", "- [Log](log.md)"), {}},
      {page("- a.c, mostly", "a --> b", "- [Log](log.md)"), {"sources"}},
      {page("- [a.c](https://example.com/a.c)", "a --> b", "- [Log](log.md)"), {"sources"}},
      {page("- [a.c](../a.c)", "a --> c", "- [Notes](notes.md)"), {"diagram", "footer"}},
      {"# T\n\nBody.\n", {}},
      {page("- [a.c](../a.c)", "a --> b", "- [Journal](log.md)"), {}},  // a link under a former title
      {page("- [a.c](../a.c)", "a --> b", "- [Diary](log.md)"), {"footer"}},
  };
  const std::vector<wiki::LinkTarget> targets = {{"log", "Log", {}, {"Journal"}}};
  const wiki::LinkIndex index(targets);
  for (const Case& c : cases) EXPECT_EQ(edited_blocks(c.on_disk, finished, index), c.expected) << c.on_disk;
}

}  // namespace
}  // namespace vantorel::tools

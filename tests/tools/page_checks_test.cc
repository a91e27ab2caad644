#include "page_checks.h"

#include <gtest/gtest.h>

#include "vantorel/workers/wiki/finalize/finalize.h"

namespace vantorel::tools {
namespace {

namespace wiki = vantorel::workers::wiki;

TEST(IsMarkerLine, OpeningAndClosingMarkersOnly) {
  for (std::string_view line : {"<!-- wiki:footer -->", "  <!-- /wiki:index -->\t", "<!-- wiki:summary plan -->", "<!-- wiki:x-y -->"}) {
    EXPECT_TRUE(is_marker_line(line)) << line;
  }
  for (std::string_view line : {"", "text", "<!-- comment -->", "see <!-- wiki:footer -->", "<!-- wiki:Footer -->", "<!--wiki:footer-->",
                                "<!-- wiki:footer --> x"}) {
    EXPECT_FALSE(is_marker_line(line)) << line;
  }
}

TEST(UnsettledCause, NamesTheLikelyCause) {
  struct Case {
    std::string_view text, title, expected;
  };
  static const Case cases[] = {
      {"Intro.\n\n```sh\nmake\n", "T", "a code fence in the body is never closed (\"```sh\")"},
      {"```\na\n```\n\n~~~\nb\n", "T", "a code fence in the body is never closed (\"~~~\")"},
      {"Text.\n\n<!-- wiki:footer -->\nA\n<!-- wiki:index -->\nB\n<!-- /wiki:index -->\n", "T",
       "a marker line outside code fences in the body (\"<!-- wiki:index -->\"), left over from a block whose closing marker is gone"},
      {"Text.\n\n```\n<!-- wiki:index -->\n```\n", "Two\nlines",
       "the title is not one line starting with a character other than white space"},
      {"Text.", " T", "the title is not one line starting with a character other than white space"},
      {"Text.", "T", "other (the page's text or plan is outside what a second run keeps as it is)"},
  };
  for (const Case& c : cases) EXPECT_EQ(unsettled_cause(c.text, c.title, ""), c.expected) << c.text;
}

// A finished page put together from blocks, as the page writer lays one out.
std::string page(std::string_view sources_item, std::string_view diagram, std::string_view footer_item) {
  std::string out = "# T\n\n";
  out += wiki::_block(wiki::SOURCES, {"<details>", "<summary>Relevant source files</summary>", "", sources_item, "", "</details>"});
  out += "\n\nBody.\n\n";
  out += wiki::_block(wiki::DIAGRAM, {"### Dependencies", "", "```mermaid", diagram, "```"});
  out += "\n\n";
  out += wiki::_block(wiki::FOOTER, {"## Related pages", "", footer_item});
  out += "\n";
  return out;
}

TEST(EditedBlocks, BlocksWithOtherLinesThanTheRunWrites) {
  const std::vector<wiki::LinkTarget> targets = {{"log", "Write-ahead log", {}, {"Append-only log"}}};
  const std::string finished = page("- [a.c](../a.c)", "flowchart LR\n  a --> b", "- [Write-ahead log](log.md)");
  struct Case {
    std::string name;
    std::string on_disk;
    std::vector<std::string> expected;
  };
  const Case cases[] = {
      {"the same page", finished, {}},
      {"only the body changed", std::string(finished).replace(finished.find("Body."), 5, "Other prose."), {}},
      {"a link by a former title", page("- [a.c](../a.c)", "flowchart LR\n  a --> b", "- [Append-only log](log.md)"), {}},
      {"another source list", page("- [my dir/b.c](../my%20dir/b.c)", "flowchart LR\n  a --> b", "- [Write-ahead log](log.md)"), {}},
      {"a hand-made source item", page("- a.c, mostly", "flowchart LR\n  a --> b", "- [Write-ahead log](log.md)"), {"sources"}},
      {"a source link elsewhere",
       page("- [a.c](https://example.com/a.c)", "flowchart LR\n  a --> b", "- [Write-ahead log](log.md)"),
       {"sources"}},
      {"a diagram and a footer", page("- [a.c](../a.c)", "flowchart LR\n  a --> c", "- [Notes](notes.md)"), {"diagram", "footer"}},
      {"no generated blocks at all", "Body.\n", {}},
  };
  for (const Case& c : cases) EXPECT_EQ(edited_blocks(c.on_disk, finished, targets), c.expected) << c.name;
}

TEST(EditedBlocks, ABlockOnlyOnePageHasIsNoEdit) {
  const std::string with_footer = "# T\n\nBody.\n\n" + wiki::_block(wiki::FOOTER, {"Next: [B](b.md)"}) + "\n";
  EXPECT_TRUE(edited_blocks(with_footer, "# T\n\nBody.\n", {}).empty());
  EXPECT_TRUE(edited_blocks("# T\n\nBody.\n", with_footer, {}).empty());
  const std::string index = "# T\n\n" + wiki::_block(wiki::INDEX, {"## Files", "", "| [a.c](../a.c) | 1 | 10 |"}) + "\n";
  const std::string grown = "# T\n\n" + wiki::_block(wiki::INDEX, {"## Files", "", "| [a.c](../a.c) | 1 | 12 |"}) + "\n";
  EXPECT_EQ(edited_blocks(index, grown, {}), std::vector<std::string>{"index"});
}

}  // namespace
}  // namespace vantorel::tools

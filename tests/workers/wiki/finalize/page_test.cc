#include "vantorel/workers/wiki/finalize/page.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "vantorel/workers/wiki/repo_facts/repo_facts.h"

namespace vantorel::workers::wiki {
namespace {

const LinkTarget kPrev("intro", "Introduction", {}, {});
const LinkTarget kNext("cli", "Command line", {}, {});
const LinkTarget kRelated("parser", "Parser", {}, {});

TEST(FinalizePage, Minimal) {
  EXPECT_EQ(finalize_page(Authored{}, PageFrame{.title = "T"}, _repo_rel_link), "# T\n");
  EXPECT_EQ(finalize_page(Authored{.body = "\n\nBody.\n\n"}, PageFrame{.title = "T"}, _repo_rel_link), "# T\n\nBody.\n");
  EXPECT_EQ(finalize_page(Authored{}, PageFrame{.title = "T", .summary_from_plan = true}, _repo_rel_link), "# T\n");
}

TEST(FinalizePage, EveryPartInOrder) {
  const PageFrame frame{.page_id = "config",
                        .title = "Config [v2]",
                        .summary = "Reads\n the   configuration. ",
                        .summary_from_plan = true,
                        .sources = {"src/a (old).c", "src/b.c"},
                        .related = {kRelated},
                        .previous = kPrev,
                        .next = kNext,
                        .index = {"## Files", "", "| x |"}};
  const std::string expected =
      "# Config [v2]\n\n"
      "<!-- wiki:summary plan -->\n> Reads the configuration.\n<!-- /wiki:summary -->\n\n"
      "<!-- wiki:sources -->\n<details>\n<summary>Relevant source files</summary>\n\n"
      "- [src/a (old).c](../src/a%20%28old%29.c)\n- [src/b.c](../src/b.c)\n\n</details>\n<!-- /wiki:sources -->\n\n"
      "Body.\n\n"
      "<!-- wiki:index -->\n## Files\n\n| x |\n<!-- /wiki:index -->\n\n"
      "<!-- wiki:footer -->\n## Related pages\n\n- [Parser](parser.md)\n\n---\n\n"
      "Previous: [Introduction](intro.md) \u00b7 Next: [Command line](cli.md)\n<!-- /wiki:footer -->\n";
  EXPECT_EQ(finalize_page(Authored{.body = "Body."}, frame, _repo_rel_link), expected);
}

TEST(FinalizePage, SummaryBlock) {
  EXPECT_EQ(finalize_page(Authored{}, PageFrame{.title = "T", .summary = " \n "}, _repo_rel_link),
            "# T\n\n<!-- wiki:summary -->\n> \n<!-- /wiki:summary -->\n");
}

TEST(FinalizePage, RepoLinkOncePerSourceInOrder) {
  std::vector<std::string> calls;
  const RepoLink recording = [&](std::string_view path) {
    calls.emplace_back(path);
    return std::string("L");
  };
  finalize_page(Authored{}, PageFrame{.title = "T", .sources = {"b", "a", "b"}}, recording);
  EXPECT_EQ(calls, (std::vector<std::string>{"b", "a", "b"}));
  calls.clear();
  finalize_page(Authored{}, PageFrame{.title = "T"}, recording);
  EXPECT_TRUE(calls.empty());
  // What the link function throws reaches the caller.
  const RepoLink failing = [](std::string_view) -> std::string { throw std::runtime_error("no repository"); };
  EXPECT_THROW(finalize_page(Authored{}, PageFrame{.title = "T", .sources = {"a"}}, failing), std::runtime_error);
}

TEST(Footer, Lines) {
  EXPECT_TRUE(_footer(PageFrame{}).empty());
  EXPECT_EQ(_footer(PageFrame{.related = {kRelated}}), (std::vector<std::string>{"## Related pages", "", "- [Parser](parser.md)"}));
  EXPECT_EQ(_footer(PageFrame{.previous = kPrev, .next = kNext}),
            (std::vector<std::string>{"", "Previous: [Introduction](intro.md) \u00b7 Next: [Command line](cli.md)"}));
  EXPECT_EQ(_footer(PageFrame{.next = kNext}), (std::vector<std::string>{"", "Next: [Command line](cli.md)"}));
  EXPECT_EQ(_footer(PageFrame{.related = {kRelated, kNext}, .previous = kPrev}),
            (std::vector<std::string>{"## Related pages", "", "- [Parser](parser.md)", "- [Command line](cli.md)", "", "---", "",
                                      "Previous: [Introduction](intro.md)"}));
  // A footer of neighbours alone opens the block with an empty line.
  EXPECT_EQ(finalize_page(Authored{}, PageFrame{.title = "T", .next = kNext}, _repo_rel_link),
            "# T\n\n<!-- wiki:footer -->\n\nNext: [Command line](cli.md)\n<!-- /wiki:footer -->\n");
}

}  // namespace
}  // namespace vantorel::workers::wiki

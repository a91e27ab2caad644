#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "vantorel/workers/wiki/link_text/link_text.h"
#include "vantorel/workers/wiki/repo_facts/repo_facts.h"
#include "vantorel/workers/wiki/verify/verify.h"
#include "vantorel/workers/wiki_types/wiki_types.h"

namespace vantorel::workers::wiki {
namespace {

TEST(Lf, EveryLineEndingBecomesLineFeed) {
  struct Case {
    std::string in, out;
  } cases[] = {
      {"", ""}, {"a\r\nb", "a\nb"}, {"a\rb", "a\nb"}, {"\r\r\n", "\n\n"}, {"\n\r", "\n\n"}, {"a\r", "a\n"}, {"x\r\n\r\ny", "x\n\ny"},
  };
  for (const Case& c : cases) EXPECT_EQ(lf(c.in), c.out) << c.in;
}

TEST(Norm, Paths) {
  struct Case {
    std::string in, out;
  } cases[] = {
      {"src/parse.c", "src/parse.c"},
      {".\\src\\\\parse.c", "src/parse.c"},
      {"/src/", "src"},
      {"././a//b///", "a/b"},
      {"/./a", "a"},
      {"./", ""},
      {"Src/A.C", "Src/A.C"},
      {"../a", "../a"},
      {"a/./b", "a/./b"},
      {"", ""},
  };
  for (const Case& c : cases) EXPECT_EQ(_norm(c.in), c.out) << c.in;
}

TEST(Norm, NormalizingTwiceChangesNothing) {
  std::mt19937 rng(7);
  const std::string alphabet = "./\\a ";
  for (int i = 0; i < 20000; ++i) {
    std::string path;
    const int n = static_cast<int>(rng() % 9);
    for (int k = 0; k < n; ++k) path += alphabet[rng() % alphabet.size()];
    const std::string once = _norm(path);
    ASSERT_EQ(_norm(once), once) << "path: [" << path << "]";
    ASSERT_EQ(once.find('\\'), std::string::npos);
    ASSERT_EQ(once.find("//"), std::string::npos);
  }
}

TEST(RepoRelLink, OneMarkdownToken) {
  EXPECT_EQ(_repo_rel_link("src/parse.c"), "../src/parse.c");
  EXPECT_EQ(_repo_rel_link("docs/a (old) b.md"), "../docs/a%20%28old%29%20b.md");
  EXPECT_EQ(_repo_rel_link(""), "../");
}

TEST(FenceLine, WhatOpensOrClosesFencedCode) {
  for (std::string yes : {"```", "```mermaid", "~~~", "~~~~ text", "    ```", "\t```", "\u3000~~~", "````` x ```", "```\r"}) {
    EXPECT_TRUE(is_fence_line(yes)) << yes;
    EXPECT_TRUE(detail::FENCE_RE().match(yes)) << yes;
  }
  for (std::string no : {"", "``", "~~", "`~`", "x```", "``~", "> ```", "\xFF```", "\u200b```"}) {
    EXPECT_FALSE(is_fence_line(no)) << no;
    EXPECT_FALSE(detail::FENCE_RE().match(no)) << no;
  }
}

TEST(CollapseBlankRuns, Cases) {
  struct Case {
    std::string in, out;
  } cases[] = {
      {"", ""},
      {"a\nb", "a\nb"},
      {"a\n\nb", "a\n\nb"},
      {"a\n \nb", "a\n \nb"},  // one blank line stays as it is
      {"a\n\n\nb", "a\n\nb"},
      {"a\n \t\n\u3000\nb", "a\n\nb"},
      {"\n\n\na", "\na"},
      {"a\n", "a\n"},
      {"a\n\n", "a\n"},
      {"a\n\n\n", "a\n"},
      {"```\n\n\n\n```\n\n\nx", "```\n\n\n\n```\n\nx"},  // fenced code keeps its spacing
      {"~~~\n\n\n", "~~~\n\n\n"},                        // a fence that never closes
      {"  ```\n\n\n  ```\n\n\n", "  ```\n\n\n  ```\n"},
  };
  for (const Case& c : cases) EXPECT_EQ(_collapse_blank_runs(c.in), c.out) << c.in;
}

TEST(CollapseBlankRuns, Idempotent) {
  std::mt19937 rng(11);
  const std::vector<std::string> pieces = {"", " ", "\t", "text", "```", "~~~", "\u3000", "\r", "```mermaid", "  ~~~~"};
  for (int i = 0; i < 20000; ++i) {
    std::string text;
    const int n = static_cast<int>(rng() % 12);
    for (int k = 0; k < n; ++k) text += pieces[rng() % pieces.size()] + "\n";
    const std::string once = _collapse_blank_runs(text);
    ASSERT_EQ(_collapse_blank_runs(once), once) << "text: [" << text << "]";
  }
}

TEST(Records, LinkTargetDerivesItsHref) {
  const LinkTarget target("cli", "Command line", {"src/cli.c"}, {"CLI"});
  EXPECT_EQ(target.href, "cli.md");
  EXPECT_EQ(target, LinkTarget("cli", "Command line", {"src/cli.c"}, {"CLI"}));
  EXPECT_NE(target, LinkTarget("cli", "Command line", {}, {"CLI"}));
}

TEST(Records, PageTypeSectionLookup) {
  const PageType type{.id = "module",
                      .words = {400, 1200},
                      .unit = true,
                      .sections = {{.key = "api", .heading = "Public API"}, {.key = "flow", .heading = "Data flow"}}};
  ASSERT_NE(type.section("flow"), nullptr);
  EXPECT_EQ(type.section("flow")->heading, "Data flow");
  EXPECT_EQ(type.section("missing"), nullptr);
}

}  // namespace
}  // namespace vantorel::workers::wiki

#include <gtest/gtest.h>

#include <string>

#include "vantorel/workers/wiki/repo_facts/repo_facts.h"
#include "vantorel/workers/wiki/verify/verify.h"

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

TEST(FenceLine, WhatOpensOrClosesFencedCode) {
  for (std::string yes : {"```", "```mermaid", "~~~", "~~~~ text", "    ```", "\t```", "\u3000~~~", "````` x ```", "```\r"})
    EXPECT_TRUE(is_fence_line(yes)) << yes;
  for (std::string no : {"", "``", "~~", "`~`", "x```", "``~", "> ```", "\xFF```", "\u200b```"}) EXPECT_FALSE(is_fence_line(no)) << no;
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

}  // namespace
}  // namespace vantorel::workers::wiki

#include "vantorel/workers/wiki/finalize/sources.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "vantorel/workers/wiki/repo_facts/repo_facts.h"

namespace vantorel::workers::wiki {
namespace {

using Paths = std::vector<std::string>;

std::vector<Citation> cite(const Paths& paths) {
  std::vector<Citation> out;
  for (const std::string& p : paths) out.push_back(Citation{{"path", p}, {"start", 1}});
  return out;
}

TEST(SourceList, ChoosesAndOrders) {
  struct Case {
    std::string name;
    std::vector<Citation> citations;
    Paths plan, out;
  } cases[] = {
      {"no citations: own files, first occurrences, up to 5", {}, {"a", "b", "a", "c", "d", "e", "f"}, {"a", "b", "c", "d", "e"}},
      {"most cited first, own files fill", cite({"y", "x", "x"}), {"y", "z"}, {"x", "y", "z"}},
      {"ties by path", cite({"b", "a"}), {}, {"a", "b"}},
      {"five or more cited: no own files", cite({"f", "e", "d", "c", "b", "a"}), {"p", "q"}, {"a", "b", "c", "d", "e", "f"}},
      {"unusable paths do not count",
       {Citation{{"path", ""}}, Citation{{"line", 3}}, Citation{{"path", nullptr}}, Citation{{"path", 7}}, Citation("x")},
       {"a"},
       {"7", "a"}},
  };
  for (const Case& c : cases) EXPECT_EQ(source_list(c.citations, c.plan), c.out) << c.name;
}

TEST(SourceList, AtMostThirtyMostCited) {
  Paths cited;
  for (int i = 0; i < 40; ++i) {
    std::string path(1, 'f');
    path += std::to_string(100 + i);
    for (int k = 0; k <= i % 3; ++k) cited.push_back(path);  // counts 1, 2, 3, 1, 2, 3, ...
  }
  const Paths own = {"own"};
  const Paths out = source_list(cite(cited), own);
  ASSERT_EQ(out.size(), 30u);
  EXPECT_EQ(out.front(), "f102");  // the first path cited three times
  EXPECT_EQ(out[12], "f138");      // the last of the thirteen cited three times
  EXPECT_EQ(out[13], "f101");      // then the thirteen cited twice, by path
  EXPECT_EQ(out[29], "f109");      // and the first four cited once
}

TEST(OtherCodeIndex, Rows) {
  const std::vector<FileFacts> facts = {
      {.path = "b.c", .symbols = 1, .loc = 9}, {.path = "a.c", .symbols = 5, .loc = 5}, {.path = "z.c", .symbols = 0, .loc = 50}};
  EXPECT_EQ(other_code_index(facts, _repo_rel_link),
            (Paths{"## Files", "", "| File | Symbols | Lines |", "| --- | --- | --- |", "| [z.c](../z.c) | 0 | 50 |",
                   "| [a.c](../a.c) | 5 | 5 |", "| [b.c](../b.c) | 1 | 9 |"}));
  EXPECT_EQ(other_code_index({}, _repo_rel_link), (Paths{"## Files", "", "| File | Symbols | Lines |", "| --- | --- | --- |"}));
}

TEST(OtherCodeIndex, CountsWhatIsLeftOut) {
  std::vector<FileFacts> facts;
  for (int i = 0; i < 301; ++i) {
    std::string path(1, 'f');
    path += std::to_string(i);
    facts.push_back({.path = path, .symbols = 0, .loc = i});
  }
  const Paths all = other_code_index(facts, _repo_rel_link);
  ASSERT_EQ(all.size(), 4u + 300u + 2u);
  EXPECT_EQ(all[4], "| [f300](../f300) | 0 | 300 |");
  EXPECT_EQ(all.back(), "And 1 more files.");
  facts.pop_back();
  EXPECT_EQ(other_code_index(facts, _repo_rel_link).size(), 304u);
  EXPECT_EQ(other_code_index(facts, _repo_rel_link, 2).back(), "And 298 more files.");
}

}  // namespace
}  // namespace vantorel::workers::wiki

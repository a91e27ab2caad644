#include "vantorel/workers/wiki/finalize/sources.h"

#include <gtest/gtest.h>

#include "vantorel/workers/wiki/repo_facts/repo_facts.h"

namespace vantorel::workers::wiki {
namespace {

using Paths = std::vector<std::string>;

std::vector<Citation> cite(const Paths& paths) {
  std::vector<Citation> out;
  for (const std::string& p : paths) out.push_back(Citation{{"path", p}, {"start", 1}});
  return out;
}

TEST(SourceList, MostCitedFirstThenOwnFilesUpToTheLimit) {
  const std::vector<Citation> unusable = {Citation{{"path", ""}}, Citation{{"line", 3}}, Citation{{"path", nullptr}}, Citation{{"path", 7}},
                                          Citation("x")};
  const struct {
    std::vector<Citation> citations;
    Paths plan, out;
  } cases[] = {
      {{}, {"a", "b", "a", "c", "d", "e", "f"}, {"a", "b", "c", "d", "e"}},  // own files, first occurrences, up to 5
      {cite({"y", "x", "x", "w"}), {"y", "z"}, {"x", "w", "y", "z"}},        // ties by path; cited own files not repeated
      {cite({"f", "e", "d", "c", "b", "a"}), {"p", "q"}, {"a", "b", "c", "d", "e", "f"}},
      {unusable, {"a"}, {"7", "a"}},  // a number counts by its JSON text
  };
  for (const auto& c : cases) EXPECT_EQ(source_list(c.citations, c.plan), c.out);
  Paths cited;  // f100 to f139, cited 1, 2, 3, 1, 2, 3, ... times
  for (int i = 0; i < 40; ++i) cited.insert(cited.end(), 1 + i % 3, std::string("f").append(std::to_string(100 + i)));
  const Paths out = source_list(cite(cited), Paths{"own"});
  // At most 30: the thirteen cited three times, the thirteen cited twice, four cited once, each by path.
  EXPECT_EQ((Paths{out.at(0), out.at(12), out.at(13), out.at(29)}), (Paths{"f102", "f138", "f101", "f109"}));
  EXPECT_EQ(out.size(), 30u);
}

TEST(OtherCodeIndex, RowsByMassThenPathAndWhatIsLeftOut) {
  const std::vector<FileFacts> facts = {{"b.c", 1, 9}, {"a.c", 5, 5}, {"z.c", 0, 50}, {"c.c", 0, 1}};  // path, symbols, lines
  EXPECT_EQ(other_code_index(facts, _repo_rel_link, 3),
            (Paths{"## Files", "", "| File | Symbols | Lines |", "| --- | --- | --- |", "| [z.c](../z.c) | 0 | 50 |",
                   "| [a.c](../a.c) | 5 | 5 |", "| [b.c](../b.c) | 1 | 9 |", "", "And 1 more files."}));
  const std::vector<FileFacts> many(301, FileFacts{.path = "f", .symbols = 0, .loc = 1});
  EXPECT_EQ(other_code_index(many, _repo_rel_link).size(), 4u + 300u + 2u);  // at most 300 rows by default
  EXPECT_EQ(other_code_index(std::span(many).first(300), _repo_rel_link).size(), 304u);
}

}  // namespace
}  // namespace vantorel::workers::wiki

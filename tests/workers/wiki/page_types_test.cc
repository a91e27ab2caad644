#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <string>
#include <tuple>
#include <vector>

#include "vantorel/workers/wiki/page_rules/page_rules.h"
#include "vantorel/workers/wiki_types/wiki_types.h"

namespace vantorel::workers::wiki {
namespace {

TEST(PageTypes, CatalogueIsWellFormedAndInNavOrder) {
  std::set<std::string> ids;
  const PageType* previous = nullptr;
  for (const PageType& type : page_types()) {
    SCOPED_TRACE(type.id);
    EXPECT_TRUE(ids.insert(type.id).second) << "id used twice";
    EXPECT_EQ(find_page_type(type.id), &type);
    ASSERT_EQ(type.words.size(), 2u);
    EXPECT_LE(type.words[0], type.words[1]);
    std::set<std::string> keys;
    for (const SectionSpec& s : type.sections) EXPECT_TRUE(keys.insert(s.key).second) << "key used twice: " << s.key;
    for (const auto& [heading, key] : type.diagram_slots) {
      EXPECT_NE(type.section(key), nullptr) << key;
      EXPECT_TRUE(std::ranges::any_of(DIAGRAM_HEADINGS, [&](const auto& entry) { return entry.second == heading; })) << heading;
    }
    EXPECT_TRUE(previous == nullptr || nav_key(*previous) < nav_key(type)) << "comes after " << previous->id;
    previous = &type;
  }
  EXPECT_EQ(page_types().front().id, "overview");
  EXPECT_EQ(page_types().back().id, "other");
}

TEST(GroundingFacts, Forms) {
  const std::pair<std::string, GroundingFacts> cases[] = {
      {"facts: config, cli errors", {"config", "cli", "errors"}},
      {"facts:a,,b ,  c\t d,", {"a", "b", "c", "d"}},
      {"prose\r\nfacts: a\u00a0b\u3000c\r\nfacts: d", {"a", "b", "c", "d"}},  // any white space separates
      {"facts: caf\xff", {"caf\xff"}},                                        // an invalid byte is part of a name
      {"facts:  , \n facts: a\nFacts: b\nthe facts: c\nfact: d", {}},         // only "facts:" at a line's start
      {"Uses [fact:api] and [fact:x.y-z_1], [fact:[fact:b]].", {"api", "x.y-z_1", "b"}},
      {"[fact:] [fact: x] [fact:a b] [Fact:y] [fact:z", {}},
  };
  for (const auto& [grounding, facts] : cases) EXPECT_EQ(grounding_facts(grounding), facts) << "[" << grounding << "]";
}

TEST(OutlineFor, KeepsSectionsWhoseFactIsPresent) {
  const PageType type{.sections = {{.key = "a"}, {.key = "b", .fact = "x"}, {.key = "c", .fact = "y"}, {.key = "d"}}};
  const std::pair<GroundingFacts, std::vector<std::string>> cases[] = {
      {{}, {"a", "d"}}, {{"x"}, {"a", "b", "d"}}, {{"x", "y", "z"}, {"a", "b", "c", "d"}}, {{"X", "Y"}, {"a", "d"}}};
  for (const auto& [facts, keys] : cases) {
    std::vector<std::string> got;
    for (const SectionSpec& s : outline_for(type, facts)) got.push_back(s.key);
    EXPECT_EQ(got, keys) << facts.size();
  }
}

TEST(DiagramsFor, AuthoredSequenceByImportance) {
  const PageType with{.sections = {{.key = "purpose"}, {.key = "sequence", .heading = "Sequence diagram"}}};
  const std::tuple<std::string, bool, int> cases[] = {{"high", true, 8}, {"medium", false, 6}, {"", false, 6}, {"High", false, 6}};
  for (const auto& [importance, required, max_nodes] : cases) {
    EXPECT_EQ(diagrams_for(with, importance, AUTHORED),
              (std::vector<DiagramSpec>{{.kind = "sequence", .slot = "sequence", .required = required, .max_nodes = max_nodes}}))
        << importance;
  }
  EXPECT_TRUE(diagrams_for(PageType{.sections = {{.key = "purpose"}}}, "high", AUTHORED).empty());
  EXPECT_TRUE(diagrams_for(with, "high", "code").empty());
}

// The budget comes first, the required headings are named, the files close the list, at most 20.
TEST(SessionRules, BudgetFirstFilesLastAtMostTwenty) {
  const PageType type{.words = {123, 456}, .sections = {{.key = "purpose", .heading = "Intro", .required = true}}};
  const std::vector<std::string> few = {"src/a.c", ".\\src\\b.c", "src//a.c", " "};
  const std::vector<std::string> rules = session_rules(type, few);
  EXPECT_EQ(rules.front(), "Write between 123 and 456 words.");
  EXPECT_TRUE(std::ranges::any_of(rules, [](const std::string& rule) { return rule.find("\"Intro\"") != std::string::npos; }));
  EXPECT_EQ(rules.back(), "This page covers these source files: src/a.c, src/b.c.");
  std::vector<std::string> many;
  for (int i = 0; i < 25; ++i) many.push_back(std::string(i < 10 ? "f0" : "f").append(std::to_string(i)));
  many.push_back("./f00");
  EXPECT_TRUE(session_rules(type, many).back().ends_with("f18, f19, and 5 more.")) << session_rules(type, many).back();
  EXPECT_EQ(session_rules(type, std::vector<std::string>(many.begin(), many.begin() + 20)).back().find("more"), std::string::npos);
}

}  // namespace
}  // namespace vantorel::workers::wiki

#include "vantorel/workers/wiki_types/wiki_types.h"

#include <gtest/gtest.h>

#include "vantorel/text/text.h"

namespace vantorel::workers {
namespace {

TEST(FoldCase, SimpleCaseFolding) {
  struct Case {
    std::string in, out;
  } cases[] = {
      {"Data FLOW", "data flow"},
      {"\u00c9T\u00c9", "\u00e9t\u00e9"},
      {"\u1e9e", "\u00df"},              // capital sharp s folds to one character
      {"\u212a", "k"},                   // Kelvin sign
      {"\u03a3\u03c2", "\u03c3\u03c3"},  // final sigma
      {"\u00df", "\u00df"},              // no full folding to "ss"
      {"\xFF\xC3"
       "A",
       "\xFF\xC3"
       "a"},                         // invalid bytes stay
      {"\U0001041C", "\U00010444"},  // Deseret, beyond the BMP
  };
  for (const Case& c : cases) EXPECT_EQ(text::fold_case(c.in), c.out) << c.in;
}

TEST(HeadingMatches, NormalizedCaseless) {
  const SectionSpec spec{.key = "flow", .heading = "Data  flow", .aliases = {"How data moves"}};
  for (std::string yes : {"Data flow", " data\tFLOW ", "DATA\u00a0FLOW", "how DATA moves"}) EXPECT_TRUE(heading_matches(spec, yes)) << yes;
  for (std::string no : {"Dataflow", "Data flows", "Data-flow", ""}) EXPECT_FALSE(heading_matches(spec, no)) << no;
}

}  // namespace
}  // namespace vantorel::workers

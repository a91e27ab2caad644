#include "vantorel/workers/wiki/diagrams/diagrams.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "vantorel/text/text.h"

namespace vantorel::workers::wiki {
namespace {

// The diagram builder over a dependency graph the test supplies.
class Builder : public DiagramMixin {
 public:
  explicit Builder(DependentsMap graph) : graph_(std::move(graph)) {}
  const DependentsMap& _file_dependents_map() const override { return graph_; }

 private:
  DependentsMap graph_;
};

PagePlan plan_of(std::vector<std::string> files) { return PagePlan{.page_id = "p", .title = "P", .source_files = std::move(files)}; }

// `prefix`, `i` in two digits and ".c": numbered("d", 7) == "d07.c".
std::string numbered(std::string_view prefix, int i) {
  std::string s(prefix);
  if (i < 10) s += '0';
  s.append(std::to_string(i)).append(".c");
  return s;
}

TEST(BuildDiagrams, EdgesInBothDirections) {
  // a depends on b (a page file), b depends on c; x -> c and y -> z touch no page file.
  const Builder builder({
      {"src/b.c", {"src/a.c"}},
      {"src/c.h", {"src/x.c", "src/b.c"}},
      {"src/z.h", {"src/y.c"}},
  });
  const std::vector<Diagram> out = builder._build_diagrams(plan_of({"./src\\b.c"}));
  ASSERT_EQ(out.size(), 1u);
  EXPECT_EQ(out[0].heading, "Dependencies");
  EXPECT_EQ(out[0].mermaid,
            "flowchart LR\n"
            "  n0[\"src/a.c\"]\n"
            "  n1[\"src/b.c\"]\n"
            "  n2[\"src/c.h\"]\n"
            "  n0 --> n1\n"
            "  n1 --> n2");
}

TEST(BuildDiagrams, NodeIdsFollowSortedEdges) {
  // Two page files; edges sorted by (from, to) name their nodes in that order. A dependent listed
  // twice gives one edge.
  const Builder builder({
      {"m.c", {"z.c", "b.c", "b.c"}},
      {"k.h", {"m.c", "a.c"}},
  });
  const std::vector<Diagram> out = builder._build_diagrams(plan_of({"m.c", "a.c"}));
  ASSERT_EQ(out.size(), 1u);
  // Edges: a.c -> k.h, b.c -> m.c, m.c -> k.h, z.c -> m.c.
  EXPECT_EQ(out[0].mermaid,
            "flowchart LR\n"
            "  n0[\"a.c\"]\n"
            "  n1[\"k.h\"]\n"
            "  n2[\"b.c\"]\n"
            "  n3[\"m.c\"]\n"
            "  n4[\"z.c\"]\n"
            "  n0 --> n1\n"
            "  n2 --> n3\n"
            "  n3 --> n1\n"
            "  n4 --> n3");
}

TEST(BuildDiagrams, NoEdgesGivesNothing) {
  struct Case {
    std::string name;
    DependentsMap graph;
    std::vector<std::string> files;
  } cases[] = {
      {"empty graph", {}, {"a.c"}},
      {"no page files", {{"a.c", {"b.c"}}}, {}},
      {"page files normalize to nothing", {{"a.c", {"b.c"}}}, {"./", "/"}},
      {"page file not in the graph", {{"a.c", {"b.c"}}}, {"c.c"}},
      {"no dependents", {{"a.c", {}}}, {"a.c"}},
      {"only a file depending on itself", {{"a.c", {"a.c"}}}, {"a.c"}},
  };
  for (const Case& c : cases) EXPECT_TRUE(Builder(c.graph)._build_diagrams(plan_of(c.files)).empty()) << c.name;
}

TEST(BuildDiagrams, SizeBound) {
  for (const int dependents : {30, 31, 45}) {
    DependentsMap graph;
    // Listed in reverse so that the order drawn comes from sorting, not from the map.
    for (int i = dependents - 1; i >= 0; --i) graph["hub.c"].push_back(numbered("d", i));
    const std::vector<Diagram> out = Builder(graph)._build_diagrams(plan_of({"hub.c"}));
    ASSERT_EQ(out.size(), 1u) << dependents;
    const std::vector<std::string_view> lines = text::split_lines(out[0].mermaid);
    int edges = 0;
    for (std::string_view line : lines) edges += line.find(" --> ") != std::string_view::npos;
    EXPECT_EQ(edges, static_cast<int>(DiagramMixin::MAX_DIAGRAM_EDGES)) << dependents;
    // The first 30 by path are drawn: d00 ... d29, and the hub is the second node.
    EXPECT_NE(out[0].mermaid.find("n0[\"d00.c\"]"), std::string::npos);
    EXPECT_NE(out[0].mermaid.find("[\"d29.c\"]"), std::string::npos);
    EXPECT_EQ(out[0].mermaid.find("[\"d30.c\"]"), std::string::npos);
    EXPECT_NE(out[0].mermaid.find("n0 --> n1\n"), std::string::npos);
    const std::string_view last = text::trim(lines.back());
    if (dependents == 30) {
      EXPECT_EQ(last.find("%%"), std::string_view::npos);
    } else {
      std::string comment = "%% ";
      comment.append(std::to_string(dependents - 30)).append(" more edges not shown");
      EXPECT_EQ(last, comment);
    }
  }
}

TEST(BuildDiagrams, LabelsAreQuoted) {
  const Builder builder({
      {"src/say \"hi\".c", {"a#b<c>.c"}},
      {"x.c", {"src/say \"hi\".c"}},
      {"fence\n```\n<!-- wiki:summary -->\r", {"src/say \"hi\".c"}},
      {"tick`.c", {"src/say \"hi\".c"}},
  });
  const std::vector<Diagram> out = builder._build_diagrams(plan_of({"src/say \"hi\".c"}));
  ASSERT_EQ(out.size(), 1u);
  const std::string& m = out[0].mermaid;
  EXPECT_NE(m.find("[\"src/say #quot;hi#quot;.c\"]"), std::string::npos) << m;
  EXPECT_NE(m.find("[\"a#35;b#lt;c#gt;.c\"]"), std::string::npos) << m;
  EXPECT_NE(m.find("[\"fence#10;#96;#96;#96;#10;#lt;!-- wiki:summary --#gt;#13;\"]"), std::string::npos) << m;
  EXPECT_NE(m.find("[\"tick#96;.c\"]"), std::string::npos) << m;
  const std::vector<std::string_view> lines = text::split_lines(m);
  EXPECT_EQ(lines.size(), 1u + 5u + 4u) << m;  // keyword, five nodes, four edges
  for (std::string_view line : lines) {
    const std::string_view t = text::ltrim(line);
    EXPECT_FALSE(t.empty()) << m;
    EXPECT_FALSE(t.starts_with("```") || t.starts_with("~~~") || t.starts_with("<!--")) << line;
    // Every label is one quoted string: two quotes per node line, none elsewhere.
    const auto quotes = std::count(line.begin(), line.end(), '"');
    EXPECT_TRUE(quotes == 0 || (quotes == 2 && line.ends_with("\"]"))) << line;
  }
}

TEST(BuildDiagrams, Deterministic) {
  DependentsMap graph;
  for (int i = 0; i < 20; ++i) {
    graph[numbered("f", i)] = {numbered("f", (i * 7) % 20), numbered("f", (i * 3 + 1) % 20)};
  }
  const PagePlan plan = plan_of({"f03.c", "f11.c", "f17.c"});
  const Builder builder(graph);
  const std::vector<Diagram> first = builder._build_diagrams(plan);
  ASSERT_EQ(first.size(), 1u);
  // The same graph with every dependents list reversed draws the same diagram.
  for (auto& [path, dependents] : graph) std::reverse(dependents.begin(), dependents.end());
  EXPECT_EQ(Builder(graph)._build_diagrams(plan), first);
  EXPECT_EQ(builder._build_diagrams(plan_of({"f17.c", "./f03.c", "f11.c", "f03.c"})), first);
}

}  // namespace
}  // namespace vantorel::workers::wiki

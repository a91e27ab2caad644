#include "vantorel/workers/wiki/diagrams/diagrams.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace vantorel::workers::wiki {

void PrintTo(const Diagram& d, std::ostream* os) { *os << d.heading << ":\n" << d.mermaid; }

namespace {

// The diagram builder over a dependency graph the test supplies.
class Builder : public DiagramMixin {
 public:
  explicit Builder(DependentsMap graph) : graph_(std::move(graph)) {}
  const DependentsMap& _file_dependents_map() const override { return graph_; }

 private:
  DependentsMap graph_;
};

std::vector<Diagram> build(DependentsMap graph, std::vector<std::string> files) {
  return Builder(std::move(graph))._build_diagrams(PagePlan{.page_id = "p", .title = "P", .source_files = std::move(files)});
}

TEST(BuildDiagrams, EdgesInBothDirectionsSortedOnce) {
  // x depends on the page file b, b on c; b's own and duplicate listings and x -> c and y -> z,
  // which touch no page file, draw nothing.
  const DependentsMap graph = {
      {"src/b.c", {"src/x.c", "src/b.c"}}, {"src/c.h", {"src/x.c", "src/b.c", "src/b.c"}}, {"src/z.h", {"src/y.c"}}};
  EXPECT_EQ(build(graph, {"./src\\b.c"}),
            (std::vector<Diagram>{
                {.heading = "Dependencies",
                 .mermaid = "flowchart LR\n  n0[\"src/b.c\"]\n  n1[\"src/c.h\"]\n  n2[\"src/x.c\"]\n  n0 --> n1\n  n2 --> n0"}}));
}

TEST(BuildDiagrams, AtMostMaxEdgesThenACommentLine) {
  for (const int dependents : {30, 31, 45}) {
    DependentsMap graph;
    // Listed in reverse, so that the edges drawn are the first by path: d100 ... d129.
    for (int i = dependents - 1; i >= 0; --i) graph["hub.c"].push_back(std::string("d").append(std::to_string(100 + i)).append(".c"));
    const std::vector<Diagram> out = build(graph, {"hub.c"});
    ASSERT_EQ(out.size(), 1u);
    std::string tail = "  n29[\"d128.c\"]\n  n30[\"d129.c\"]\n  n0 --> n1\n";
    EXPECT_NE(out[0].mermaid.find(tail), std::string::npos) << out[0].mermaid;
    tail = "\n  n29 --> n1\n  n30 --> n1";
    if (dependents > 30) tail.append("\n  %% ").append(std::to_string(dependents - 30)).append(" more edges not shown");
    EXPECT_TRUE(out[0].mermaid.ends_with(tail)) << out[0].mermaid;
  }
}

TEST(BuildDiagrams, LabelsAreQuotedAsEntities) {
  EXPECT_EQ(build({{"b.c", {"a\"#<>`\r\n.c"}}}, {"b.c"}),
            (std::vector<Diagram>{{.heading = "Dependencies",
                                   .mermaid = "flowchart LR\n  n0[\"a#quot;#35;#lt;#gt;#96;#13;#10;.c\"]\n  n1[\"b.c\"]\n  n0 --> n1"}}));
}

}  // namespace
}  // namespace vantorel::workers::wiki

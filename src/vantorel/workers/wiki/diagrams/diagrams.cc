#include "vantorel/workers/wiki/diagrams/diagrams.h"

#include <algorithm>
#include <functional>
#include <set>
#include <string_view>
#include <utility>

#include "vantorel/workers/wiki/repo_facts/repo_facts.h"
#include "vantorel/workers/wiki_types/wiki_types.h"

namespace vantorel::workers::wiki {

namespace {

constexpr std::string_view DEPENDENCIES = "dependencies";

constexpr std::string_view diagram_heading(std::string_view kind) {
  for (const auto& [k, heading] : DIAGRAM_HEADINGS) {
    if (k == kind) return heading;
  }
  return {};
}

constexpr std::string_view mermaid_keyword(std::string_view kind) {
  for (const DiagramMermaid& m : DIAGRAM_MERMAID) {
    if (m.kind == kind) return m.keyword;
  }
  return {};
}

static_assert(!diagram_heading(DEPENDENCIES).empty() && !mermaid_keyword(DEPENDENCIES).empty());

// Appends `path` as a quoted Mermaid node label: the bytes that would end the label, start an
// entity or a Markdown string, read as HTML or break the line are written as entities.
void append_label(std::string& out, std::string_view path) {
  out += '"';
  for (char c : path) {
    switch (c) {
      case '"':
        out.append("#quot;");
        break;
      case '#':
        out.append("#35;");
        break;
      case '<':
        out.append("#lt;");
        break;
      case '>':
        out.append("#gt;");
        break;
      case '`':
        out.append("#96;");
        break;
      case '\r':
        out.append("#13;");
        break;
      case '\n':
        out.append("#10;");
        break;
      default:
        out += c;
    }
  }
  out += '"';
}

}  // namespace

std::vector<Diagram> DiagramMixin::_build_diagrams(const PagePlan& plan) const {
  std::set<std::string, std::less<>> page_files;
  for (const std::string& file : plan.source_files) {
    std::string path = _norm(file);
    if (!path.empty()) page_files.insert(std::move(path));
  }
  if (page_files.empty()) return {};

  std::vector<detail::DependencyEdge> edges;
  for (const auto& [to, dependents] : _file_dependents_map()) {
    const bool to_on_page = page_files.contains(to);
    for (const std::string& from : dependents) {
      if (from.empty() || to.empty() || from == to) continue;
      if (to_on_page || page_files.contains(from)) edges.emplace_back(from, to);
    }
  }
  return detail::dependencies_diagram(std::move(edges));
}

std::vector<Diagram> detail::dependencies_diagram(std::vector<DependencyEdge> edges) {
  if (edges.empty()) return {};
  std::sort(edges.begin(), edges.end());
  edges.erase(std::unique(edges.begin(), edges.end()), edges.end());

  const std::size_t shown = std::min(edges.size(), DiagramMixin::MAX_DIAGRAM_EDGES);
  std::vector<std::string_view> nodes;  // paths in id order
  std::vector<std::pair<std::size_t, std::size_t>> ids;
  ids.reserve(shown);
  auto id_of = [&nodes](std::string_view path) {
    // At most 2 * MAX_DIAGRAM_EDGES nodes: a linear search is cheap.
    const auto it = std::find(nodes.begin(), nodes.end(), path);
    if (it != nodes.end()) return static_cast<std::size_t>(it - nodes.begin());
    nodes.push_back(path);
    return nodes.size() - 1;
  };
  for (std::size_t i = 0; i < shown; ++i) {
    const std::size_t from = id_of(edges[i].first);
    ids.emplace_back(from, id_of(edges[i].second));
  }

  std::string mermaid(mermaid_keyword(DEPENDENCIES));
  for (std::size_t n = 0; n < nodes.size(); ++n) {
    mermaid.append("\n  n").append(std::to_string(n)).append("[");
    append_label(mermaid, nodes[n]);
    mermaid.append("]");
  }
  for (const auto& [from, to] : ids) {
    mermaid.append("\n  n").append(std::to_string(from)).append(" --> n").append(std::to_string(to));
  }
  if (shown < edges.size()) {
    mermaid.append("\n  %% ").append(std::to_string(edges.size() - shown)).append(" more edges not shown");
  }
  return {Diagram{.heading = std::string(diagram_heading(DEPENDENCIES)), .mermaid = std::move(mermaid)}};
}

}  // namespace vantorel::workers::wiki

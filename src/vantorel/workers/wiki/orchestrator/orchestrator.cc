#include "vantorel/workers/wiki/orchestrator/orchestrator.h"

#include <algorithm>
#include <set>
#include <utility>

#include "vantorel/workers/wiki/repo_facts/repo_facts.h"

namespace vantorel::workers::wiki {

namespace {

void sort_lists(DependentsMap& map) {
  for (auto& [path, list] : map) {
    std::sort(list.begin(), list.end());
    list.erase(std::unique(list.begin(), list.end()), list.end());
  }
}

DependentsMap invert(const ImportMap& imports) {
  DependentsMap dependents;
  for (const auto& [file, imported] : imports) {
    const std::string from = _norm(file);
    for (const std::string& target : imported) dependents[_norm(target)].push_back(from);
  }
  sort_lists(dependents);
  return dependents;
}

DependentsMap backwards(const DependentsMap& dependents) {
  DependentsMap dependencies;
  for (const auto& [path, list] : dependents) {
    for (const std::string& dependent : list) dependencies[dependent].push_back(path);
  }
  sort_lists(dependencies);
  return dependencies;
}

}  // namespace

WikiGenerator::WikiGenerator(WikiSetup setup)
    : repository_(std::move(setup.repository)),
      config_(setup.config),
      dependents_(invert(setup.imports)),
      dependencies_(backwards(dependents_)) {
  _plans = std::move(setup.plans);
  _existing = std::move(setup.existing);
}

std::vector<Diagram> WikiGenerator::_build_diagrams(const PagePlan& plan) const {
  std::set<std::string, std::less<>> page_files;
  for (const std::string& file : plan.source_files) {
    if (std::string path = _norm(file); !path.empty()) page_files.insert(std::move(path));
  }
  std::vector<detail::DependencyEdge> edges;
  for (const std::string& file : page_files) {
    if (const auto in = dependents_.find(file); in != dependents_.end()) {
      for (const std::string& from : in->second) {
        if (!from.empty() && from != file) edges.emplace_back(from, in->first);
      }
    }
    if (const auto out = dependencies_.find(file); out != dependencies_.end()) {
      for (const std::string& to : out->second) {
        if (!to.empty() && to != file) edges.emplace_back(out->first, to);
      }
    }
  }
  return detail::dependencies_diagram(std::move(edges));
}

}  // namespace vantorel::workers::wiki

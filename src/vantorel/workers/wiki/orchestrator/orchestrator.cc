#include "vantorel/workers/wiki/orchestrator/orchestrator.h"

#include <algorithm>
#include <utility>

#include "vantorel/workers/wiki/repo_facts/repo_facts.h"

namespace vantorel::workers::wiki {

namespace {

DependentsMap invert(const ImportMap& imports) {
  DependentsMap dependents;
  for (const auto& [file, imported] : imports) {
    const std::string from = _norm(file);
    for (const std::string& target : imported) dependents[_norm(target)].push_back(from);
  }
  for (auto& [path, list] : dependents) {
    std::sort(list.begin(), list.end());
    list.erase(std::unique(list.begin(), list.end()), list.end());
  }
  return dependents;
}

}  // namespace

WikiGenerator::WikiGenerator(WikiSetup setup)
    : repository_(std::move(setup.repository)), config_(setup.config), dependents_(invert(setup.imports)) {
  _plans = std::move(setup.plans);
  _existing = std::move(setup.existing);
}

}  // namespace vantorel::workers::wiki

#include "vantorel/workers/wiki/finalize/sources.h"

#include <algorithm>
#include <map>
#include <unordered_set>

namespace vantorel::workers::wiki {

std::vector<std::string> source_list(std::span<const Citation> citations, std::span<const std::string> plan_files) {
  std::map<std::string, std::size_t> counts;
  for (const Citation& citation : citations) {
    if (!citation.is_object()) continue;
    const auto path = citation.find("path");
    if (path == citation.end() || path->is_null()) continue;
    std::string text = path->is_string() ? path->get<std::string>() : path->dump();
    if (text.empty()) continue;
    ++counts[std::move(text)];
  }

  std::vector<std::pair<std::string_view, std::size_t>> cited(counts.begin(), counts.end());
  // `counts` is ordered by path, so a stable sort by count keeps ties in path order.
  std::stable_sort(cited.begin(), cited.end(), [](const auto& a, const auto& b) { return a.second > b.second; });

  const std::size_t limit = std::clamp(cited.size(), detail::MIN_SOURCES, detail::MAX_SOURCES);
  std::vector<std::string> out;
  out.reserve(limit);
  for (const auto& [path, count] : cited) {
    if (out.size() == limit) return out;
    out.emplace_back(path);
  }
  std::unordered_set<std::string_view> seen;
  for (const std::string& path : plan_files) {
    if (out.size() == limit) break;
    if (counts.contains(path) || !seen.insert(path).second) continue;
    out.push_back(path);
  }
  return out;
}

std::vector<std::string> other_code_index(std::span<const FileFacts> facts, const RepoLink& repo_link, std::size_t max_rows) {
  std::vector<const FileFacts*> ordered;
  ordered.reserve(facts.size());
  for (const FileFacts& f : facts) ordered.push_back(&f);
  std::stable_sort(ordered.begin(), ordered.end(), [](const FileFacts* a, const FileFacts* b) {
    const long long mass_a = static_cast<long long>(a->symbols) + a->loc;
    const long long mass_b = static_cast<long long>(b->symbols) + b->loc;
    if (mass_a != mass_b) return mass_a > mass_b;
    return a->path < b->path;
  });

  const std::size_t rows = std::min(ordered.size(), max_rows);
  std::vector<std::string> lines = {"## Files", "", "| File | Symbols | Lines |", "| --- | --- | --- |"};
  lines.reserve(rows + 6);
  for (std::size_t i = 0; i < rows; ++i) {
    const FileFacts& f = *ordered[i];
    std::string row = "| [";
    row.append(f.path).append("](").append(repo_link(f.path)).append(") | ");
    row.append(std::to_string(f.symbols)).append(" | ").append(std::to_string(f.loc)).append(" |");
    lines.push_back(std::move(row));
  }
  if (ordered.size() > max_rows) {
    lines.emplace_back();
    lines.push_back("And " + std::to_string(ordered.size() - max_rows) + " more files.");
  }
  return lines;
}

}  // namespace vantorel::workers::wiki

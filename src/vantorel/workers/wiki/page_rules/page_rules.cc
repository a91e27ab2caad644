#include "vantorel/workers/wiki/page_rules/page_rules.h"

#include <algorithm>
#include <set>
#include <string_view>
#include <utility>

#include "vantorel/text/text.h"
#include "vantorel/workers/wiki/repo_facts/repo_facts.h"

namespace vantorel::workers::wiki {

namespace {

// Most files the rules name one by one; the rest are counted.
constexpr std::size_t MAX_NAMED_FILES = 20;

// `items`, each in double quotes, joined with ", ".
std::string quoted_list(const std::vector<std::string_view>& items) {
  std::string out;
  for (std::string_view item : items) {
    if (!out.empty()) out.append(", ");
    out.append("\"").append(item).append("\"");
  }
  return out;
}

// "A, B and C".
std::string and_list(const std::vector<std::string>& items) {
  std::string out;
  for (std::size_t i = 0; i < items.size(); ++i) {
    if (i > 0) out.append(i + 1 == items.size() ? " and " : ", ");
    out.append(items[i]);
  }
  return out;
}

// The sentence naming the page's files, normalized and without repeats, in the plan's order; ""
// when there are none.
std::string files_rule(std::span<const std::string> source_files) {
  std::vector<std::string> files;
  std::set<std::string, std::less<>> seen;
  for (const std::string& file : source_files) {
    std::string path = _norm(text::trim(file));
    if (path.empty() || seen.contains(path)) continue;
    seen.insert(path);
    files.push_back(std::move(path));
  }
  if (files.empty()) return {};
  std::string rule("This page covers these source files: ");
  const std::size_t named = std::min(files.size(), MAX_NAMED_FILES);
  for (std::size_t i = 0; i < named; ++i) {
    if (i > 0) rule.append(", ");
    rule.append(files[i]);
  }
  if (files.size() > named) rule.append(", and ").append(std::to_string(files.size() - named)).append(" more");
  rule.append(".");
  return rule;
}

}  // namespace

// Sections that need a grounding fact are left out of the section rules: whether the page gets
// them depends on its grounding, which the agent reads itself.
std::vector<std::string> session_rules(const PageType& page_type, std::span<const std::string> source_files) {
  std::vector<std::string> rules;
  if (page_type.words.size() == 2) {
    std::string rule("Write between ");
    rule.append(std::to_string(page_type.words[0])).append(" and ").append(std::to_string(page_type.words[1])).append(" words.");
    rules.push_back(std::move(rule));
  }
  rules.emplace_back(
      "Do not write the title, the summary, the list of source files, the links to other pages or the footer: code writes "
      "them.");

  std::vector<std::string_view> required, optional;
  for (const SectionSpec& spec : page_type.sections) {
    if (spec.required) {
      required.push_back(spec.heading);
    } else if (spec.fact.empty()) {
      optional.push_back(spec.heading);
    }
  }
  if (!required.empty()) {
    rules.push_back(std::string("Include these sections, each under its own level-2 heading: ").append(quoted_list(required)).append("."));
  }
  if (!optional.empty()) {
    rules.push_back(
        std::string("Add these sections where the code gives you something to say: ").append(quoted_list(optional)).append("."));
  }
  for (const SectionSpec& spec : page_type.sections) {
    if (spec.table_cols.empty() || !spec.fact.empty()) continue;
    std::string rule("Under \"");
    rule.append(spec.heading).append("\", give a table with the columns ").append(and_list(spec.table_cols)).append(".");
    rules.push_back(std::move(rule));
  }

  rules.emplace_back("Cite the source files you describe as links with line ranges, in the form [path](../path#L10-L20).");
  rules.emplace_back("Leave every generated block, from a <!-- wiki:... --> line to its <!-- /wiki:... --> line, exactly as it is.");
  if (const SectionSpec* sequence = page_type.section("sequence")) {
    std::string rule("Draw only sequence diagrams, as Mermaid sequenceDiagram blocks under \"");
    rule.append(sequence->heading).append("\"; code draws every other diagram.");
    rules.push_back(std::move(rule));
  } else {
    rules.emplace_back("Draw no diagrams: code draws them.");
  }
  if (std::string rule = files_rule(source_files); !rule.empty()) rules.push_back(std::move(rule));
  return rules;
}

}  // namespace vantorel::workers::wiki

// Read-only queries other parts of the generator run on a finished page.
//
//   searchable_text(page)   // H1, summary, prose and file index; no source list, diagrams or footer
//   mermaid_blocks(page)    // the body of every ```mermaid block, generated or authored
//   section_headings(page)  // the "##" headings of the authored text, outside code fences
#pragma once

#include <initializer_list>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace vantorel::workers::wiki {

// What a finished page gives search: the page without its source list, diagram and footer blocks,
// the summary and index blocks unwrapped, ending in exactly one "\n".
std::string searchable_text(std::string_view markdown);

// The body of every Mermaid fence of the page ("```mermaid" as a prefix of the trimmed opening
// line, outside another fence), in page order, without its fence lines and untrimmed; markers are
// ordinary lines here. A Mermaid fence that never closes gives nothing.
std::vector<std::string> mermaid_blocks(std::string_view markdown);

// The titles of the level-2 headings outside code fences of the authored text, plus those of the
// generated blocks named in `keep` (the catch-all page's "## Files" with `keep` = {INDEX}), in page
// order, duplicates kept.
std::vector<std::string> section_headings(std::string_view markdown, std::initializer_list<std::string_view> keep = {});
std::vector<std::string> section_headings(std::string_view markdown, std::span<const std::string_view> keep);

}  // namespace vantorel::workers::wiki

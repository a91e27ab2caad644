// The wiki folder as the wiki-finalize program reads and writes it: `wiki.json` (the plan of
// every page), one `<page_id>.md` file per page, and `manifest.json` (what the last run stored
// for each page).
//
//   const WikiFile wiki = parse_wiki_json(text, "wiki/wiki.json");  // throws InputError on bad input
//   const StoredRows rows = parse_manifest(old_manifest, "wiki/manifest.json");
//   const std::string manifest = manifest_text(wiki.pages, finalized, generator._link_targets());
//
// Parsing is strict: a field of the wrong type, a missing required field, an unknown field, a
// repeated key, a page id used twice or one that is not a plain file name, an unknown page type,
// and a value a finished page could not keep as it is (a title that is empty, spans lines or
// starts or ends with white space; a source path that spans lines) are all refused with one
// error that names the file, the line and the column.
#pragma once

#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "vantorel/workers/wiki/finalize/mixin.h"
#include "vantorel/workers/wiki/findings/findings.h"
#include "vantorel/workers/wiki/orchestrator/orchestrator.h"

namespace vantorel::tools {

namespace wiki = vantorel::workers::wiki;

// One page of wiki.json: its plan and what the finalize step is given with it.
struct PageEntry {
  wiki::PagePlan plan{};                // the page's plan
  std::string grounding{};              // the grounding text, whose facts choose the outline
  std::vector<wiki::Citation> seeds{};  // citations the grounding vouches for
  bool operator==(const PageEntry&) const = default;
};

// A parsed wiki.json.
struct WikiFile {
  wiki::WikiConfig config{};            // "config"
  wiki::ImportMap imports{};            // "imports": file -> the files it imports
  std::vector<PageEntry> pages{};       // "pages", in plan order
  std::vector<wiki::Finding> warnings{};  // odd but usable input
  bool operator==(const WikiFile&) const = default;
};

// Stored rows by page id: the generator's `existing`.
using StoredRows = std::unordered_map<std::string, wiki::StoredRow>;

// Whether `page_id` can name a page file inside the wiki folder: not empty, and without "/",
// "\", "..", NUL or a line break, so "<page_id>.md" never leaves the folder and a link to it is
// one line; and without "[" or "]", which a link to the page would carry into its destination,
// where the next run would read bracketed text (an inline citation) and the page would not settle.
bool is_plain_page_id(std::string_view page_id) noexcept;

// The wiki described by `text`, the contents of the file shown as `display`. Throws InputError
// with an error at "<display>:<line>:<column>" when the text is not valid JSON or not a valid
// wiki description.
WikiFile parse_wiki_json(std::string_view text, std::string_view display);

// The stored rows of a manifest written by an earlier run: an object from page id to an object.
// Throws InputError naming `display` (and the line and column) when it is anything else.
StoredRows parse_manifest(std::string_view text, std::string_view display);

// The manifest of a run: for each page in plan order, its id mapped to {"title", "summary",
// "citations", "own_citations", "outline", "former_titles", "blocks"}, keys in that order, indented
// by two blanks, ending in "\n". `finalized[i]`, `targets[i]` and `blocks[i]` belong to `pages[i]`;
// a target's `former` list is the page's "former_titles", and "blocks" lists the digests of the
// generated blocks the run wrote (see `block_digests`). Bytes that are not UTF-8 are written as U+FFFD.
std::string manifest_text(std::span<const PageEntry> pages, std::span<const wiki::FinalizedPage> finalized,
                          std::span<const wiki::LinkTarget> targets, std::span<const std::vector<std::string>> blocks);

}  // namespace vantorel::tools

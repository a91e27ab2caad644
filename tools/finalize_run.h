// The commands of the wiki-finalize program: finalizing a wiki folder (or checking that it is
// final) and the read-only queries on one page.
//
//   Options options{.repository = "examples"};
//   const int status = run_finalize(options, std::cout, std::cerr, false);  // EXIT_OK, EXIT_CHANGED or EXIT_TROUBLE
//
// Each command prints its results on `out` and its messages on `err`, and returns the program's
// exit code; none throws for bad input or a file it cannot use.
#pragma once

#include <filesystem>
#include <iosfwd>
#include <optional>
#include <string>
#include <string_view>

#include "options.h"
#include "vantorel/workers/wiki/findings/findings.h"
#include "wiki_folder.h"

namespace vantorel::tools {

// Where a wiki's files are, as paths to open and as the names messages show.
struct WikiPaths {
  std::filesystem::path repository{};  // the repository's root folder
  std::filesystem::path folder{};      // the wiki folder
  std::string folder_display{};        // the wiki folder as messages name it ("wiki", "examples/wiki")

  std::filesystem::path file(std::string_view name) const { return folder / name; }
  std::string display(std::string_view name) const;
};

// The paths of the wiki `wiki` (relative to `repository` unless absolute) in `repository`.
WikiPaths wiki_paths(std::string_view repository, std::string_view wiki);

// A warning when the wiki folder is not directly under the repository's root, where pages reach
// repository files through "../"; nullopt when it is.
std::optional<workers::wiki::Finding> placement_warning(const WikiPaths& paths);

// A wiki folder as read: the plan of its pages and the rows its manifest stores.
struct LoadedWiki {
  WikiFile file{};
  StoredRows rows{};
};

// Reads wiki.json and, when there is one, manifest.json. Throws InputError.
LoadedWiki load_wiki(const WikiPaths& paths);

// `text` with every "\n" written "\r\n" (`text` has "\n" line endings only).
std::string with_crlf(std::string_view text);

// Whether a file holding `on_disk` (nullopt: no file) already holds `finished` (a text with "\n"
// line endings) written with `eol`. With LF, a file whose line endings are "\r\n" counts too.
bool is_final(const std::optional<std::string>& on_disk, std::string_view finished, Eol eol);

// Finalizes every page of the wiki `options` names, or with `options.check` says which files
// would change. `terminal`: standard error is a terminal, so a progress line is shown.
int run_finalize(const Options& options, std::ostream& out, std::ostream& err, bool terminal);

// The read-only subcommands: search-text, mermaid, headings and contract.
int run_query(const Options& options, std::ostream& out, std::ostream& err);

}  // namespace vantorel::tools

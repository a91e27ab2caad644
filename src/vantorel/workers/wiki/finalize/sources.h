// The file lists code writes on a page: the source list, chosen by citation counts, and the
// catch-all page's "## Files" table.
//
//   source_list({{{"path", "x"}}, {{"path", "x"}}, {{"path", "y"}}}, {"y", "z"}) == {"x", "y", "z"}
//   other_code_index({{.path = "a.c", .symbols = 2, .loc = 10}}, _repo_rel_link)
//     == {"## Files", "", "| File | Symbols | Lines |", "| --- | --- | --- |", "| [a.c](../a.c) | 2 | 10 |"}
#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <vector>

#include "vantorel/workers/wiki/finalize/page.h"
#include "vantorel/workers/wiki/verify/citation.h"
#include "vantorel/workers/wiki_cluster/wiki_cluster.h"

namespace vantorel::workers::wiki {

namespace detail {

inline constexpr std::size_t MIN_SOURCES = 5;       // the list is filled to this many with the page's own files
inline constexpr std::size_t MAX_SOURCES = 30;      // at most this many cited files are listed
inline constexpr std::size_t MAX_INDEX_ROWS = 300;  // the most file rows the catch-all table shows

}  // namespace detail

// The paths of a page's source list, in display order: the cited paths, most cited first (ties by
// path), then the page's own files in plan order (first occurrences, cited ones left out), as many
// as the number of cited paths raised to 5 and lowered to 30. A citation counts when its "path"
// is present and neither null nor ""; a path that is not a string counts by its JSON text.
std::vector<std::string> source_list(std::span<const Citation> citations, std::span<const std::string> plan_files);

// The lines of the "## Files" table: one row per file, by mass (symbols + lines) largest first,
// ties by path, at most `max_rows` rows, then "And N more files." when some are left out.
std::vector<std::string> other_code_index(std::span<const FileFacts> facts, const RepoLink& repo_link,
                                          std::size_t max_rows = detail::MAX_INDEX_ROWS);

}  // namespace vantorel::workers::wiki

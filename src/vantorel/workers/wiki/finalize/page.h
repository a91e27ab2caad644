// The page writer: the finished page file from the author's part and everything code writes
// around it.
//
//   finalize_page(Authored{.body = "Body."}, PageFrame{.page_id = "cli", .title = "CLI", ...}, _repo_rel_link)
//     == "# CLI\n\n<!-- wiki:summary plan -->\n> Runs the tool.\n<!-- /wiki:summary -->\n\nBody.\n"
//
// The page is the H1, then the summary, source list, body, file index and footer, one empty line
// between parts, ending in one "\n". Every line the writer adds outside the body is the H1 or lies
// in a generated block, so splitting a finished page and writing it again with the same frame
// gives the same file. Titles, summaries, paths and hrefs are written verbatim, never escaped.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "vantorel/workers/wiki/finalize/authored.h"
#include "vantorel/workers/wiki/link_text/link_text.h"
#include "vantorel/workers/wiki/types/types.h"
#include "vantorel/workers/wiki_types/wiki_types.h"

namespace vantorel::workers::wiki {

// Turns a repository path into the link a page makes to it (`_repo_rel_link` in the generator).
using RepoLink = std::function<std::string(std::string_view)>;

// Everything code writes around one page's body.
struct PageFrame {
  std::string page_id{};                 // the page's id, handed to `autolink`
  std::string title{};                   // written as the H1
  std::string summary{};                 // the author's summary, else the plan's description; may be empty
  PageType page_type{};                  // tells `place_diagrams` each diagram's section
  bool summary_from_plan = false;        // `summary` is the plan's description, not the author's
  std::vector<std::string> sources{};    // paths of the source list, in display order
  std::vector<Diagram> diagrams{};       // the diagrams code builds and places
  std::vector<LinkTarget> links{};       // every page the body may link to
  std::vector<LinkTarget> related{};     // the related pages the footer lists, in order
  std::optional<LinkTarget> previous{};  // the page before this one in reading order
  std::optional<LinkTarget> next{};      // the page after this one in reading order
  std::vector<std::string> index{};      // lines of the catch-all page's file table; empty elsewhere

  bool operator==(const PageFrame&) const = default;
};

// The complete page file for `authored` in `frame`, ending in exactly one "\n". `repo_link` is
// called once per source path, in frame order. Whatever a collaborator throws reaches the caller.
std::string finalize_page(const Authored& authored, const PageFrame& frame, const RepoLink& repo_link);

// The footer's lines, without markers: "## Related pages" and its items, then the previous/next
// navigation line ("Previous: [t](h) · Next: [t](h)"), separated by "---" when both are there.
// Empty when the page has neither related pages nor neighbours.
std::vector<std::string> _footer(const PageFrame& frame);

namespace detail {

// `finalize_page` with the body linked against `links`, the page's link targets prepared once for
// many pages; `frame.links` is not read.
std::string finalize_page(const Authored& authored, const PageFrame& frame, const LinkIndex& links, const RepoLink& repo_link);

}  // namespace detail

}  // namespace vantorel::workers::wiki

#include "vantorel/workers/wiki/finalize/page.h"

#include "vantorel/text/text.h"
#include "vantorel/workers/wiki/finalize/blocks.h"
#include "vantorel/workers/wiki/finalize/placement.h"
#include "vantorel/workers/wiki/verify/verify.h"

namespace vantorel::workers::wiki {

namespace {

// "[text](href)", preceded by `lead`.
std::string link(std::string_view lead, std::string_view text, std::string_view href) {
  std::string out;
  out.reserve(lead.size() + text.size() + href.size() + 4);
  out.append(lead).append("[").append(text).append("](").append(href).append(")");
  return out;
}

}  // namespace

std::vector<std::string> _footer(const PageFrame& frame) {
  std::vector<std::string> lines;
  if (!frame.related.empty()) {
    lines.reserve(frame.related.size() + 6);
    lines.emplace_back("## Related pages");
    lines.emplace_back();
    for (const LinkTarget& target : frame.related) lines.push_back(link("- ", target.title, target.href));
  }
  std::string nav;
  if (frame.previous) nav = link("Previous: ", frame.previous->title, frame.previous->href);
  if (frame.next) {
    if (!nav.empty()) nav.append(" \u00b7 ");
    nav.append(link("Next: ", frame.next->title, frame.next->href));
  }
  if (!nav.empty()) {
    if (!lines.empty()) {
      lines.emplace_back();
      lines.emplace_back("---");
    }
    lines.emplace_back();
    lines.push_back(std::move(nav));
  }
  return lines;
}

std::string finalize_page(const Authored& authored, const PageFrame& frame, const RepoLink& repo_link) {
  return detail::finalize_page(authored, frame, detail::recent_index(frame.links), repo_link);
}

std::string detail::finalize_page(const Authored& authored, const PageFrame& frame, const LinkIndex& links, const RepoLink& repo_link) {
  std::string body = _drop_duplicate_diagrams(authored.body, frame.diagrams);
  body = links.refresh_link_texts(body);
  body = links.autolink(body, frame.page_id);
  body = place_diagrams(body, frame.diagrams, frame.page_type);

  std::vector<std::string> parts;
  parts.reserve(6);
  std::string h1 = "# ";
  h1.append(frame.title);
  parts.push_back(std::move(h1));

  if (!frame.summary.empty()) {
    std::string line = "> ";
    line.append(text::collapse_spaces(frame.summary));
    std::string attribute;
    if (frame.summary_from_plan) attribute.append(" ").append(detail::FROM_PLAN);
    parts.push_back(_block(SUMMARY, {std::string_view(line)}, attribute));
  }

  if (!frame.sources.empty()) {
    std::vector<std::string> lines = {"<details>", "<summary>Relevant source files</summary>", ""};
    lines.reserve(frame.sources.size() + 5);
    for (const std::string& path : frame.sources) lines.push_back(link("- ", path, repo_link(path)));
    lines.emplace_back();
    lines.emplace_back("</details>");
    parts.push_back(_block(SOURCES, lines));
  }

  if (!body.empty()) parts.push_back(std::move(body));
  if (!frame.index.empty()) parts.push_back(_block(INDEX, frame.index));
  if (const std::vector<std::string> footer = _footer(frame); !footer.empty()) parts.push_back(_block(FOOTER, footer));

  std::string page = _collapse_blank_runs(text::join(parts, "\n\n"));
  text::trim_in_place(page);
  page += '\n';
  return page;
}

}  // namespace vantorel::workers::wiki

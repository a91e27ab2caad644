// Link targets: the pages another page's prose can link to.
//
//   const LinkTarget cli("cli", "Command line", {"src/cli.c"}, {"CLI"});
//   EXPECT_EQ(cli.href, "cli.md");
#pragma once

#include <string>
#include <utility>
#include <vector>

namespace vantorel::workers::wiki {

// A page that another page can link to: by its title, by a title it had before, and, for a
// code-unit page, by the repository paths of its files. Built from exactly these four values;
// the link destination `href` is derived from the page id, so no caller can forget or contradict
// it.
struct LinkTarget {
  LinkTarget(std::string page_id, std::string title, std::vector<std::string> files, std::vector<std::string> former)
      : page_id(std::move(page_id)),
        title(std::move(title)),
        files(std::move(files)),
        former(std::move(former)),
        href(this->page_id + ".md") {}

  std::string page_id;              // the page's id
  std::string title;                // its current title
  std::vector<std::string> files;   // normalized repository paths it claims; empty for most pages
  std::vector<std::string> former;  // titles the page had before
  std::string href;                 // the link destination: page_id + ".md"

  bool operator==(const LinkTarget&) const = default;
};

}  // namespace vantorel::workers::wiki

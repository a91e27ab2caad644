// Repository paths and line endings as the wiki pages write them.
//
//   EXPECT_EQ(_norm(".\\src//parse.c"), "src/parse.c");
//   EXPECT_EQ(_repo_rel_link("docs/a (old).md"), "../docs/a%20%28old%29.md");
//   EXPECT_EQ(lf("a\r\nb\rc"), "a\nb\nc");
//
// Pages live in one folder directly under the repository root, which is why a page reaches a
// repository file through "../". None of these functions fails on any text.
#pragma once

#include <string>
#include <string_view>

namespace vantorel::workers::wiki {

// `text` with "\r\n" and then every remaining "\r" made "\n".
std::string lf(std::string_view text);

// The normalized form of a repository path: "\" becomes "/", runs of "/" become one, leading "./"
// segments and a leading "/" go, a trailing "/" goes. Case is kept. Normalizing a normalized path
// changes nothing, so every path the component compares is in this form.
std::string _norm(std::string_view path);

// The link from a page to the repository file at `path`: "../" + path, with " ", "(" and ")"
// written as "%20", "%28" and "%29" so that the destination stays one Markdown token.
std::string _repo_rel_link(std::string_view path);

}  // namespace vantorel::workers::wiki

#include "options.h"

#include <gtest/gtest.h>

#include "errors.h"

namespace vantorel::tools {
namespace {

TEST(Options, CommandLinesAndUsageErrors) {
  struct Case {
    std::vector<std::string_view> args;
    Options expected;        // when `error` is empty
    std::string_view error;  // the UsageError's message
  };
  const Case cases[] = {
      {{"--check", "--diff", "repo"}, {.repository = "repo", .check = true, .diff = true}, ""},
      {{"--wiki", "docs/wiki", "--eol=crlf", "-j", "3"}, {.wiki = "docs/wiki", .eol = Eol::CRLF, .jobs = 3}, ""},
      {{"--wiki=w", "--jobs=1024", "--", "--odd-name"}, {.repository = "--odd-name", .wiki = "w", .jobs = 1024}, ""},
      {{"./mermaid"}, {.repository = "./mermaid"}, ""},
      {{"headings", "--keep", "index", "--keep=footer", "p.md"},
       {.command = Command::HEADINGS, .file = "p.md", .keep = {"index", "footer"}},
       ""},
      {{"contract", "--wiki", "w", "cli", "repo"}, {.command = Command::CONTRACT, .repository = "repo", .wiki = "w", .page_id = "cli"}, ""},
      {{"mermaid", "-h"}, {.command = Command::HELP}, ""},
      {{"--diff"}, {}, "--diff needs --check"},
      {{"--jobs", "1025"}, {}, "--jobs needs a whole number from 1 to 1024, not '1025'"},
      {{"--jobs"}, {}, "option '--jobs' needs a value"},
      {{"--check=yes"}, {}, "option '--check' takes no value"},
      {{"a", "b"}, {}, "too many operands: only one repository folder is taken, not 'b'"},
      {{"headings", "--keep", "files", "a.md"},
       {},
       "--keep takes a generated block's name (summary, sources, diagram, index, footer), not 'files'"},
      {{"search-text", "--check", "a.md"}, {}, "unknown option '--check' for search-text"},
      {{"contract"}, {}, "contract needs a page id"},
  };
  for (const Case& c : cases) {
    std::string shown;
    for (std::string_view arg : c.args) shown.append(" ").append(arg);
    try {
      EXPECT_EQ(parse_options(c.args), c.expected) << shown;
      EXPECT_EQ(c.error, "") << "accepted:" << shown;
    } catch (const UsageError& e) {
      EXPECT_EQ(std::string_view(e.what()), c.error) << shown;
    }
  }
}

}  // namespace
}  // namespace vantorel::tools

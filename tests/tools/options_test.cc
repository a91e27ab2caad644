#include "options.h"

#include <gtest/gtest.h>

#include "errors.h"

namespace vantorel::tools {
namespace {

Options parse(std::initializer_list<std::string_view> args) { return parse_options(std::vector<std::string_view>(args)); }

TEST(ParseOptions, CommandLinesThatWork) {
  struct Case {
    std::initializer_list<std::string_view> args;
    Options expected;
  };
  const Case cases[] = {
      {{}, Options{}},
      {{"repo"}, Options{.repository = "repo"}},
      {{"--check", "--diff", "repo"}, Options{.repository = "repo", .check = true, .diff = true}},
      {{"--wiki", "docs/wiki", "--eol=crlf", "-j", "3"}, Options{.wiki = "docs/wiki", .eol = Eol::CRLF, .jobs = 3}},
      {{"--wiki=w", "--jobs=8", "--eol", "lf", "--", "--odd-name"}, Options{.repository = "--odd-name", .wiki = "w", .jobs = 8}},
      {{"./mermaid"}, Options{.repository = "./mermaid"}},
      {{"search-text", "page.md"}, Options{.command = Command::SEARCH_TEXT, .file = "page.md"}},
      {{"mermaid", "-"}, Options{.command = Command::MERMAID, .file = "-"}},
      {{"headings", "--keep", "index", "--keep=footer", "p.md"},
       Options{.command = Command::HEADINGS, .file = "p.md", .keep = {"index", "footer"}}},
      {{"contract", "cli"}, Options{.command = Command::CONTRACT, .page_id = "cli"}},
      {{"contract", "--wiki", "w", "cli", "repo"},
       Options{.command = Command::CONTRACT, .repository = "repo", .wiki = "w", .page_id = "cli"}},
      {{"--help"}, Options{.command = Command::HELP}},
      {{"mermaid", "-h"}, Options{.command = Command::HELP}},
  };
  for (const Case& c : cases) {
    std::string shown;
    for (std::string_view arg : c.args) shown.append(" ").append(arg);
    EXPECT_EQ(parse(c.args), c.expected) << shown;
  }
  EXPECT_EQ(parse({"--version", "repo"}).command, Command::VERSION);
}

TEST(ParseOptions, UsageErrorsSayWhatIsWrong) {
  struct Case {
    std::initializer_list<std::string_view> args;
    std::string_view message;
  };
  const Case cases[] = {
      {{"--frobnicate"}, "unknown option '--frobnicate'"},
      {{"--diff"}, "--diff needs --check"},
      {{"--jobs"}, "option '--jobs' needs a value"},
      {{"--jobs", "0"}, "--jobs needs a whole number from 1 to 1024, not '0'"},
      {{"--jobs", "2000"}, "--jobs needs a whole number from 1 to 1024, not '2000'"},
      {{"-j", "-3"}, "--jobs needs a whole number from 1 to 1024, not '-3'"},
      {{"--eol", "cr"}, "--eol takes 'lf' or 'crlf', not 'cr'"},
      {{"--check=yes"}, "option '--check' takes no value"},
      {{"--wiki="}, "--wiki needs a folder name"},
      {{"a", "b"}, "too many operands: only one repository folder is taken, not 'b'"},
      {{"mermaid"}, "mermaid needs a page file"},
      {{"headings", "a.md", "b.md"}, "too many operands for headings: 'b.md'"},
      {{"headings", "--keep", "files", "a.md"},
       "--keep takes a generated block's name (summary, sources, diagram, index, footer), not 'files'"},
      {{"search-text", "--check", "a.md"}, "unknown option '--check' for search-text"},
      {{"contract"}, "contract needs a page id"},
      {{"contract", "a", "b", "c"}, "too many operands for contract: 'c'"},
      {{"contract", "--jobs", "2", "a"}, "unknown option '--jobs' for contract"},
  };
  for (const Case& c : cases) {
    std::string shown;
    for (std::string_view arg : c.args) shown.append(" ").append(arg);
    try {
      parse(c.args);
      ADD_FAILURE() << "accepted:" << shown;
    } catch (const UsageError& e) {
      EXPECT_EQ(std::string_view(e.what()), c.message) << shown;
    }
  }
}

TEST(HelpText, NamesEveryOptionAndSubcommand) {
  const std::string help = help_text();
  for (std::string_view word : {"--wiki DIR", "--check", "--diff", "--eol lf|crlf", "--jobs N", "--help", "--version", "search-text FILE",
                                "mermaid FILE", "headings [--keep PART]", "contract [--wiki DIR] PAGE_ID [REPO]", "Exit status"}) {
    EXPECT_NE(help.find(word), std::string::npos) << word;
  }
}

}  // namespace
}  // namespace vantorel::tools

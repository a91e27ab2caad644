// The command line of wiki-finalize.
//
//   parse_options({"--check", "--diff", "repo"})
//     == Options{.command = Command::FINALIZE, .repository = "repo", .check = true, .diff = true}
//   parse_options({"headings", "--keep", "index", "wiki/other.md"})
//     == Options{.command = Command::HEADINGS, .file = "wiki/other.md", .keep = {"index"}}
//
// The first argument may name a read-only subcommand (search-text, mermaid, headings, contract);
// anything else finalizes a wiki. Options take their value as the next argument or after "="
// ("--jobs 4", "--jobs=4"); "--" ends the options.
#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace vantorel::tools {

enum class Command {
  FINALIZE,     // finalize every page of a wiki (or, with --check, say which would change)
  SEARCH_TEXT,  // print a page's searchable text
  MERMAID,      // print a page's Mermaid blocks
  HEADINGS,     // print a page's level-2 headings
  CONTRACT,     // print a page's contract as JSON
  HELP,         // print the help text
  VERSION,      // print the version
};

// Line endings of the pages written.
enum class Eol { LF, CRLF };

struct Options {
  Command command = Command::FINALIZE;
  std::string repository = ".";     // the repository's root folder
  std::string wiki = "wiki";        // the wiki folder, relative to the repository unless absolute
  bool check = false;               // write nothing; exit 1 when a file would change
  bool diff = false;                // with check: print a unified diff of each file that would change
  Eol eol = Eol::LF;                // line endings of the pages written
  unsigned jobs = 0;                // pages finalized at once; 0 means one per processor
  std::string file{};               // the page file of search-text, mermaid and headings ("-": standard input)
  std::vector<std::string> keep{};  // headings: generated blocks whose headings count too
  std::string page_id{};            // contract: the page

  bool operator==(const Options&) const = default;
};

// The most pages finalized at once.
inline constexpr unsigned MAX_JOBS = 1024;

// The options `args` (the arguments after the program's name) give. Throws UsageError saying
// what is wrong.
Options parse_options(std::span<const std::string_view> args);

// The text --help prints.
std::string help_text();

}  // namespace vantorel::tools

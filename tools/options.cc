#include "options.h"

#include <charconv>
#include <optional>
#include <utility>

#include "errors.h"
#include "vantorel/workers/wiki/finalize/blocks.h"

namespace vantorel::tools {

namespace {

namespace wiki = vantorel::workers::wiki;

[[noreturn]] void usage(std::string_view first, std::string_view second = "", std::string_view third = "") {
  std::string message(first);
  message.append(second).append(third);
  throw UsageError(message);
}

// Walks the arguments, splitting "--name=value" and handing out option values.
class Arguments {
 public:
  explicit Arguments(std::span<const std::string_view> args) : args_(args) {}

  bool done() const { return at_ >= args_.size(); }

  enum class Kind { OPTION, OPERAND, END_OF_OPTIONS };

  // The next argument and what it is. An option written "--name=value" comes back as "--name",
  // its value kept for `value`. After "--" every argument is an operand.
  std::pair<std::string_view, Kind> next() {
    std::string_view arg = args_[at_++];
    attached_.reset();
    if (!options_ended_ && arg == "--") {
      options_ended_ = true;
      return {arg, Kind::END_OF_OPTIONS};
    }
    if (options_ended_ || arg.size() < 2 || arg[0] != '-') return {arg, Kind::OPERAND};
    if (arg.starts_with("--")) {
      if (const std::size_t equals = arg.find('='); equals != std::string_view::npos) {
        attached_ = arg.substr(equals + 1);
        arg = arg.substr(0, equals);
      }
    }
    return {arg, Kind::OPTION};
  }

  // The value of option `name`: attached with "=", else the next argument.
  std::string_view value(std::string_view name) {
    if (attached_) return *std::exchange(attached_, std::nullopt);
    if (done()) usage("option '", name, "' needs a value");
    return args_[at_++];
  }

  // Refuses a value given with "=" to an option that takes none.
  void no_value(std::string_view name) const {
    if (attached_) usage("option '", name, "' takes no value");
  }

 private:
  std::span<const std::string_view> args_;
  std::size_t at_ = 0;
  std::optional<std::string_view> attached_{};
  bool options_ended_ = false;
};

unsigned parse_jobs(std::string_view text) {
  unsigned jobs = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), jobs);
  if (error != std::errc() || end != text.data() + text.size() || jobs == 0 || jobs > MAX_JOBS) {
    usage("--jobs needs a whole number from 1 to ", std::to_string(MAX_JOBS), std::string(", not '").append(text).append("'"));
  }
  return jobs;
}

bool is_part_name(std::string_view part) {
  for (std::string_view known : {wiki::SUMMARY, wiki::SOURCES, wiki::DIAGRAM, wiki::INDEX, wiki::FOOTER}) {
    if (part == known) return true;
  }
  return false;
}

std::optional<Command> subcommand(std::string_view name) {
  if (name == "search-text") return Command::SEARCH_TEXT;
  if (name == "mermaid") return Command::MERMAID;
  if (name == "headings") return Command::HEADINGS;
  if (name == "contract") return Command::CONTRACT;
  return std::nullopt;
}

std::string_view command_name(Command command) {
  switch (command) {
    case Command::SEARCH_TEXT:
      return "search-text";
    case Command::MERMAID:
      return "mermaid";
    case Command::HEADINGS:
      return "headings";
    case Command::CONTRACT:
      return "contract";
    default:
      return "wiki-finalize";
  }
}

}  // namespace

Options parse_options(std::span<const std::string_view> args) {
  Options options;
  std::span<const std::string_view> rest = args;
  if (!rest.empty()) {
    if (const std::optional<Command> command = subcommand(rest.front())) {
      options.command = *command;
      rest = rest.subspan(1);
    }
  }
  const Command command = options.command;
  const bool finalize = command == Command::FINALIZE;

  Arguments arguments(rest);
  std::vector<std::string_view> operands;
  bool help = false, version = false;
  while (!arguments.done()) {
    const auto [arg, kind] = arguments.next();
    if (kind == Arguments::Kind::END_OF_OPTIONS) continue;
    if (kind == Arguments::Kind::OPERAND) {
      operands.push_back(arg);
      continue;
    }
    if (arg == "--help" || arg == "-h") {
      arguments.no_value(arg);
      help = true;
    } else if (arg == "--version") {
      arguments.no_value(arg);
      version = true;
    } else if (arg == "--wiki" && (finalize || command == Command::CONTRACT)) {
      options.wiki = std::string(arguments.value(arg));
      if (options.wiki.empty()) usage("--wiki needs a folder name");
    } else if (arg == "--check" && finalize) {
      arguments.no_value(arg);
      options.check = true;
    } else if (arg == "--diff" && finalize) {
      arguments.no_value(arg);
      options.diff = true;
    } else if (arg == "--eol" && finalize) {
      const std::string_view eol = arguments.value(arg);
      if (eol == "lf") {
        options.eol = Eol::LF;
      } else if (eol == "crlf") {
        options.eol = Eol::CRLF;
      } else {
        usage("--eol takes 'lf' or 'crlf', not '", eol, "'");
      }
    } else if ((arg == "--jobs" || arg == "-j") && finalize) {
      options.jobs = parse_jobs(arguments.value(arg));
    } else if (arg == "--keep" && command == Command::HEADINGS) {
      const std::string_view part = arguments.value(arg);
      if (!is_part_name(part)) usage("--keep takes a generated block's name (summary, sources, diagram, index, footer), not '", part, "'");
      options.keep.emplace_back(part);
    } else if (finalize) {
      usage("unknown option '", arg, "'");
    } else {
      usage(std::string("unknown option '").append(arg).append("' for "), command_name(command));
    }
  }
  if (help) {
    options.command = Command::HELP;
    return options;
  }
  if (version) {
    options.command = Command::VERSION;
    return options;
  }

  switch (command) {
    case Command::FINALIZE:
      if (operands.size() > 1) usage("too many operands: only one repository folder is taken, not '", operands[1], "'");
      if (!operands.empty()) options.repository = std::string(operands[0]);
      if (options.diff && !options.check) usage("--diff needs --check");
      break;
    case Command::CONTRACT:
      if (operands.empty()) usage("contract needs a page id");
      if (operands.size() > 2) usage("too many operands for contract: '", operands[2], "'");
      options.page_id = std::string(operands[0]);
      if (operands.size() == 2) options.repository = std::string(operands[1]);
      break;
    default:
      if (operands.empty()) usage(command_name(command), " needs a page file");
      if (operands.size() > 1)
        usage(std::string("too many operands for ").append(command_name(command)), ": '", std::string(operands[1]).append("'"));
      options.file = std::string(operands[0]);
  }
  if (options.repository.empty()) usage("the repository folder name is empty");
  return options;
}

std::string help_text() {
  return R"(Usage: wiki-finalize [OPTIONS] [REPO]
       wiki-finalize search-text FILE
       wiki-finalize mermaid FILE
       wiki-finalize headings [--keep PART]... FILE
       wiki-finalize contract [--wiki DIR] PAGE_ID [REPO]

Finalizes every page of the wiki in REPO (default: the current folder) in place: writes the
parts code writes around each page's prose (title, summary, source list, diagrams, links, file
table, footer) and the manifest of the run. Finalizing a finished wiki changes nothing.

Options:
  --wiki DIR      the wiki folder, relative to REPO (default: wiki); it holds wiki.json and one
                  <page_id>.md file per page
  --check         write nothing; list the files that would change and exit 1 if any would
  --diff          with --check: print a unified diff of each file that would change
  --eol lf|crlf   line endings of the pages written (default: lf); with lf, a page checked out
                  with CRLF line endings counts as final when only its line endings differ
  -j, --jobs N    finalize N pages at once (default: one per processor); the output is the same
  -h, --help      print this help and exit
      --version   print the version and exit

Read-only subcommands (FILE may be "-" for standard input):
  search-text FILE            the page's searchable text: no source list, diagrams or footer
  mermaid FILE                the body of each Mermaid block, generated or authored
  headings [--keep PART] FILE the "##" headings of the authored text, one per line; --keep adds
                              those of a generated block (for example: --keep index)
  contract PAGE_ID [REPO]     the page contract handed to an agent, as JSON

Exit status: 0 done (with --check: nothing would change), 1 with --check: something would
change, 2 trouble (a usage error, a bad wiki.json, a file that cannot be read or written),
130 interrupted (no page was left half-written).
)";
}

}  // namespace vantorel::tools

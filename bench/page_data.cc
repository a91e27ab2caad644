#include "page_data.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <mutex>
#include <string_view>

#include "vantorel/workers/wiki/repo_facts/repo_facts.h"
#include "vantorel/workers/wiki_types/wiki_types.h"

namespace vantorel::bench {

namespace {

using std::string_view;

constexpr std::array<string_view, 48> TITLES = {"Storage engine",
                                                "Index builder",
                                                "Query planner",
                                                "Write-ahead log",
                                                "Page cache",
                                                "Buffer pool",
                                                "Network server",
                                                "Wire protocol",
                                                "Configuration",
                                                "Command line",
                                                "Python client",
                                                "Replication",
                                                "Compaction",
                                                "Snapshot manager",
                                                "Transaction manager",
                                                "Lock manager",
                                                "Schema registry",
                                                "Metrics exporter",
                                                "Tracing",
                                                "Error handling",
                                                "Memory allocator",
                                                "Thread pool",
                                                "Scheduler",
                                                "Event loop",
                                                "Connection pool",
                                                "Authentication",
                                                "Access control",
                                                "Backup and restore",
                                                "Bloom filter",
                                                "B-tree index",
                                                "Hash table",
                                                "Checksum verifier",
                                                "Record format",
                                                "Key encoding",
                                                "Range scans",
                                                "Garbage collector",
                                                "Cluster membership",
                                                "Leader election",
                                                "Consensus log",
                                                "Sharding",
                                                "Rate limiter",
                                                "HTTP gateway",
                                                "Plugin loader",
                                                "Test harness",
                                                "Build system",
                                                "Release process",
                                                "Benchmarks",
                                                "Logging"};

constexpr std::array<string_view, 12> DIRS = {"store", "index", "query", "log",  "cache", "net",
                                              "wire",  "conf",  "util",  "repl", "txn",   "cli"};

constexpr std::array<string_view, 16> STEMS = {"reader", "writer", "table",  "buffer", "parse",  "format", "codec",  "scan",
                                               "merge",  "flush",  "commit", "lock",   "client", "server", "config", "stats"};

constexpr std::array<string_view, 96> WORDS = {
    "the",     "a",     "each",   "every",   "one",     "that",    "which",       "when",   "before",   "after",   "while",      "until",
    "and",     "or",    "but",    "so",      "then",    "only",    "also",        "never",  "store",    "keeps",   "reads",      "writes",
    "returns", "holds", "calls",  "opens",   "closes",  "flushes", "checks",      "builds", "sorts",    "merges",  "splits",     "locks",
    "replays", "sends", "parses", "frees",   "key",     "value",   "record",      "page",   "buffer",   "file",    "table",      "entry",
    "request", "reply", "thread", "lock",    "segment", "block",   "header",      "offset", "checksum", "version", "snapshot",   "cursor",
    "index",   "tree",  "node",   "bucket",  "queue",   "batch",   "transaction", "client", "server",   "socket",  "in",         "on",
    "from",    "into",  "with",   "without", "by",      "for",     "to",          "of",     "memory",   "disk",    "order",      "size",
    "first",   "last",  "next",   "new",     "old",     "free",    "small",       "large",  "sorted",   "stable",  "concurrent", "durable"};

constexpr std::array<string_view, 10> VERBS = {"open", "close", "put", "get", "flush", "scan", "init", "free", "read", "write"};

constexpr std::array<string_view, 16> HEADINGS = {
    "Overview",  "Public interface",  "Internals", "Data flow",   "Usage",     "Errors",         "Configuration", "Design decisions",
    "Threading", "Memory management", "Testing",   "Limitations", "Lifecycle", "Storage format", "Recovery",      "Performance"};

constexpr std::array<string_view, 12> SUBHEADINGS = {"Opening",  "Reading",  "Writing", "Closing", "Retries", "Batching",
                                                     "Ordering", "Failures", "Limits",  "Layout",  "Caching", "Examples"};

constexpr std::array<string_view, 10> C_LINES = {"  if (key == NULL) return -1;",
                                                 "  struct entry *e = table_find(s->table, key, len);",
                                                 "  size_t n = 0;",
                                                 "  for (size_t i = 0; i < s->count; i++) {",
                                                 "    n += s->buckets[i].size;",
                                                 "  }",
                                                 "  pthread_mutex_lock(&s->lock);",
                                                 "  pthread_mutex_unlock(&s->lock);",
                                                 "  memcpy(buf + off, value, vlen);",
                                                 "  return log_append(s->log, &rec, sizeof rec);"};

std::string slug(string_view title) {
  std::string id;
  for (const char c : title) {
    if ((c >= 'a' && c <= 'z') || (c >= '0' && c <= '9')) {
      id.push_back(c);
    } else if (c >= 'A' && c <= 'Z') {
      id.push_back(static_cast<char>(c - 'A' + 'a'));
    } else if (!id.empty() && id.back() != '-') {
      id.push_back('-');
    }
  }
  while (!id.empty() && id.back() == '-') id.pop_back();
  return id;
}

std::string capitalized(string_view word) {
  std::string s(word);
  if (s[0] >= 'a' && s[0] <= 'z') s[0] = static_cast<char>(s[0] - 'a' + 'A');
  return s;
}

std::string identifier(Rng& rng) {
  std::string name(DIRS[rng.below(DIRS.size())]);
  name.append("_").append(VERBS[rng.below(VERBS.size())]);
  return name;
}

// Builds one page's Markdown: sections of paragraphs, lists, code, tables and diagrams, until the
// text reaches the size asked for.
class PageWriter {
 public:
  PageWriter(std::span<const wiki::LinkTarget> others, Rng& rng) : others_(others), rng_(rng) {}

  std::string write(std::size_t bytes, bool front_matter) {
    if (front_matter) {
      // A summary is one plain sentence.
      out_.append("---\nsummary: ").append(capitalized(WORDS[rng_.below(WORDS.size())]));
      for (std::size_t n = rng_.between(8, 14); n > 0; --n) out_.append(" ").append(WORDS[rng_.below(WORDS.size())]);
      out_.append(".\n---\n\n");
    }
    if (rng_.chance(50)) paragraph();  // prose before the first heading
    for (std::size_t section = 0; out_.size() < bytes; ++section) write_section(section);
    return std::move(out_);
  }

 private:
  const wiki::LinkTarget& other() { return others_[rng_.below(others_.size())]; }

  const std::string& other_file() {
    for (;;) {
      const wiki::LinkTarget& target = other();
      if (!target.files.empty()) return target.files[rng_.below(target.files.size())];
    }
  }

  // One token of prose: a word, or now and then a mention, a path, a link or a citation.
  std::string token() {
    const std::size_t roll = rng_.below(1000);
    if (others_.empty() || roll >= 200) return std::string(WORDS[rng_.below(WORDS.size())]);
    if (roll < 80) return other().title;
    std::string t;
    if (roll < 110) return t.append("`").append(other_file()).append("`");
    if (roll < 120) {
      const std::string& path = other_file();
      return t.append("`").append(string_view(path).substr(0, path.rfind('.'))).append("`");
    }
    if (roll < 160) return t.append("`").append(identifier(rng_)).append("()`");
    if (roll < 185) {
      const wiki::LinkTarget& target = other();
      const bool former = !target.former.empty() && rng_.chance(50);
      return t.append("[").append(former ? target.former.front() : target.title).append("](").append(target.href).append(")");
    }
    const std::size_t start = rng_.between(1, 400);
    t.append("[").append(identifier(rng_)).append("](").append(wiki::_repo_rel_link(other_file()));
    return t.append("#L").append(std::to_string(start)).append("-L").append(std::to_string(start + rng_.between(2, 40))).append(")");
  }

  // Appends the tokens of one sentence to `tokens`; a title or link stays one token.
  void sentence(std::vector<std::string>& tokens, std::size_t min_words, std::size_t max_words) {
    tokens.push_back(capitalized(WORDS[rng_.below(WORDS.size())]));
    for (std::size_t n = rng_.between(min_words, max_words); n > 1; --n) {
      if (rng_.chance(6)) tokens.back().append(",");
      tokens.push_back(token());
    }
    if (!others_.empty() && rng_.chance(3)) {
      tokens.push_back(std::string("[").append(other_file()).append(":").append(std::to_string(rng_.between(1, 90))).append("]"));
    }
    tokens.back().append(".");
  }

  std::string sentence(std::size_t min_words, std::size_t max_words) {
    std::vector<std::string> tokens;
    sentence(tokens, min_words, max_words);
    std::string line;
    for (const std::string& t : tokens) line.append(line.empty() ? "" : " ").append(t);
    return line;
  }

  // A paragraph of two to five sentences, wrapped at about 100 columns between tokens.
  void paragraph() {
    std::vector<std::string> tokens;
    for (std::size_t n = rng_.between(2, 5); n > 0; --n) sentence(tokens, 8, 18);
    std::size_t column = 0;
    for (const std::string& t : tokens) {
      if (column > 0 && column + 1 + t.size() > 100) {
        out_.push_back('\n');
        column = 0;
      } else if (column > 0) {
        out_.push_back(' ');
        ++column;
      }
      out_.append(t);
      column += t.size();
    }
    out_.append("\n\n");
  }

  void bullets() {
    for (std::size_t n = rng_.between(3, 6); n > 0; --n) {
      out_.append(rng_.chance(15) ? "  - " : "- ");
      if (rng_.chance(40)) out_.append("`").append(identifier(rng_)).append("`: ");
      out_.append(sentence(5, 12)).push_back('\n');
    }
    out_.push_back('\n');
  }

  void code() {
    const std::string name = identifier(rng_);
    if (rng_.chance(20)) {
      out_.append("```python\nfrom cellar import Client\n\nclient = Client(\"localhost\")\nclient.")
          .append(name)
          .append("(\"key\")\n```\n\n");
      return;
    }
    out_.append("```c\nint ").append(name).append("(struct store *s, const char *key, size_t len) {\n");
    for (std::size_t n = rng_.between(4, 14), line = rng_.below(C_LINES.size()); n > 0; --n, ++line) {
      out_.append(C_LINES[line % C_LINES.size()]).push_back('\n');
    }
    out_.append("  return 0;\n}\n```\n\n");
  }

  void table() {
    out_.append("| Name | Kind | Purpose |\n| --- | --- | --- |\n");
    for (std::size_t n = rng_.between(3, 8); n > 0; --n) {
      out_.append("| `").append(identifier(rng_)).append("` | ").append(rng_.chance(70) ? "function" : "struct").append(" | ");
      out_.append(sentence(4, 9)).append(" |\n");
    }
    out_.push_back('\n');
  }

  void mermaid() {
    if (rng_.chance(25)) {
      out_.append("```mermaid\nsequenceDiagram\n  participant C as Client\n  participant S as Server\n");
      for (std::size_t n = rng_.between(3, 6); n > 0; --n) {
        out_.append(n % 2 == 0 ? "  S-->>C: " : "  C->>S: ").append(VERBS[rng_.below(VERBS.size())]).push_back('\n');
      }
      out_.append("```\n\n");
      return;
    }
    out_.append("```mermaid\nflowchart TD\n");
    for (std::size_t n = rng_.between(4, 9); n > 0; --n) {
      const string_view from = STEMS[rng_.below(STEMS.size())];
      const string_view to = STEMS[rng_.below(STEMS.size())];
      out_.append("  ").append(from).append("[").append(from).append("] --> ").append(to).append("[").append(to).append("]\n");
    }
    out_.append("```\n\n");
  }

  void write_section(std::size_t section) {
    out_.append("## ").append(HEADINGS[section % HEADINGS.size()]);
    if (section >= HEADINGS.size()) out_.append(" ").append(std::to_string(section / HEADINGS.size() + 1));
    out_.append("\n\n");
    for (std::size_t n = rng_.between(1, 3); n > 0; --n) paragraph();
    if (rng_.chance(40)) bullets();
    if (rng_.chance(25)) code();
    if (rng_.chance(20)) table();
    if (section == 1 || rng_.chance(10)) mermaid();
    if (rng_.chance(10)) {
      out_.append("> Note: ").append(sentence(6, 12)).append("\n\n");
    }
    if (rng_.chance(30)) {
      out_.append("### ").append(SUBHEADINGS[rng_.below(SUBHEADINGS.size())]).append("\n\n");
      paragraph();
      if (rng_.chance(30)) bullets();
    }
  }

  std::span<const wiki::LinkTarget> others_;
  Rng& rng_;
  std::string out_;
};

}  // namespace

std::string page_title(std::size_t i) {
  std::string title(TITLES[i % TITLES.size()]);
  if (i >= TITLES.size()) title.append(" ").append(std::to_string(i / TITLES.size() + 1));
  return title;
}

std::string page_id(std::size_t i) { return slug(page_title(i)); }

std::vector<std::string> page_files(std::size_t i) {
  Rng rng(i * 7919 + 17);
  std::string dir("src/");
  dir.append(DIRS[i % DIRS.size()]).append("/");
  if (i >= DIRS.size()) dir.append("part").append(std::to_string(i / DIRS.size())).append("/");
  std::vector<std::string> files;
  const std::size_t first = rng.below(STEMS.size());
  for (std::size_t n = 0, count = rng.between(2, 6); n < count; ++n) {
    std::string path = dir;
    path.append(STEMS[(first + n / 2) % STEMS.size()]).append(n % 2 == 0 ? ".c" : ".h");
    files.push_back(std::move(path));
  }
  return files;
}

std::vector<wiki::LinkTarget> link_targets(std::size_t count) {
  std::vector<wiki::LinkTarget> targets;
  targets.reserve(count);
  for (std::size_t i = 0; i < count; ++i) {
    std::vector<std::string> former;
    if (i % 10 == 9) former.push_back(std::string("Legacy ").append(page_title(i)));
    targets.emplace_back(page_id(i), page_title(i), page_files(i), std::move(former));
  }
  return targets;
}

std::string authored_text(std::size_t bytes, std::span<const wiki::LinkTarget> others, bool front_matter, Rng& rng) {
  return PageWriter(others, rng).write(bytes, front_matter);
}

wiki::Diagram dependencies_diagram(std::span<const std::string> files) {
  std::string mermaid("flowchart LR");
  for (std::size_t i = 0; i < files.size(); ++i) {
    mermaid.append("\n  n").append(std::to_string(i)).append("[\"").append(files[i]).append("\"]");
  }
  for (std::size_t i = 0; i + 1 < files.size(); ++i) {
    mermaid.append("\n  n").append(std::to_string(i)).append(" --> n").append(std::to_string(i + 1));
    if (i + 2 < files.size()) mermaid.append("\n  n").append(std::to_string(i)).append(" --> n").append(std::to_string(i + 2));
  }
  return wiki::Diagram{.heading = "Dependencies", .mermaid = std::move(mermaid)};
}

std::span<const wiki::LinkTarget> sample_targets() {
  static const std::vector<wiki::LinkTarget> targets = link_targets(1000);
  return targets;
}

const wiki::LinkIndex& sample_index() {
  static const wiki::LinkIndex index(sample_targets());
  return index;
}

std::size_t sample_page_neighbours(std::size_t kib) { return 20 + kib / 2; }

const SamplePage& sample_page(std::size_t kib) { return sample_page(kib, sample_page_neighbours(kib)); }

const SamplePage& sample_page(std::size_t kib, std::size_t neighbours) {
  static std::mutex mutex;
  static std::map<std::pair<std::size_t, std::size_t>, std::unique_ptr<const SamplePage>> pages;
  const std::lock_guard lock(mutex);
  std::unique_ptr<const SamplePage>& slot = pages[{kib, neighbours}];
  if (slot) return *slot;

  // The page is sample target 0; it keeps coming back to its neighbours and can link to all 999
  // others.
  const std::span<const wiki::LinkTarget> targets = sample_targets();
  Rng rng(kib * 1000003 + 1);
  auto page = std::make_unique<SamplePage>();
  page->authored = authored_text(kib * 1024, targets.subspan(1, std::min<std::size_t>(targets.size() - 1, neighbours)), true, rng);
  page->split = wiki::split_authored(page->authored);

  std::vector<std::string> graph_files;
  for (std::size_t i = 0; i < 3; ++i) graph_files.insert(graph_files.end(), targets[i].files.begin(), targets[i].files.end());
  wiki::PageFrame& frame = page->frame;
  frame.page_id = targets[0].page_id;
  frame.title = targets[0].title;
  frame.summary = page->split.summary;
  frame.page_type = *workers::find_page_type("module");
  frame.sources = targets[0].files;
  frame.diagrams = {dependencies_diagram(graph_files)};
  frame.links.assign(targets.begin(), targets.end());
  frame.related.assign(targets.begin() + 1, targets.begin() + 4);
  frame.previous = targets[targets.size() - 1];
  frame.next = targets[1];
  page->finished = wiki::finalize_page(page->split, frame, repo_link());

  slot = std::move(page);
  return *slot;
}

namespace {

constexpr const char* CATCH_ALL_FILES[] = {"tools/gen.sh", "tools/release.py", "scripts/lint.sh", "docs/conf.py", "Makefile"};

// The page type of page `i` of a wiki of `pages`: one overview and one architecture page, then
// runs of a module, three submodules and a guide or a reference, and the catch-all page last.
std::string type_of(std::size_t i, std::size_t pages) {
  if (i == 0) return "overview";
  if (i == 1) return "architecture";
  if (i + 1 == pages) return "other";
  switch ((i - 2) % 5) {
    case 0:
      return "module";
    case 4:
      return (i / 5) % 2 == 0 ? "guide" : "reference";
    default:
      return "submodule";
  }
}

}  // namespace

GeneratedWiki generated_wiki(std::size_t pages) {
  GeneratedWiki generated;
  Rng rng(pages);
  const std::vector<wiki::LinkTarget> targets = link_targets(pages);
  wiki::WikiSetup& setup = generated.setup;
  for (std::size_t i = 0; i < pages; ++i) {
    wiki::PagePlan plan{.page_id = targets[i].page_id, .title = targets[i].title, .type_id = type_of(i, pages)};
    plan.description.append("How the ").append(plan.title).append(" part of the store works.");
    plan.importance = i % 3 == 0 ? "high" : "medium";
    if (plan.type_id == "module" || plan.type_id == "submodule") {
      plan.source_files = targets[i].files;
    } else if (plan.type_id == "guide" || plan.type_id == "reference") {
      plan.source_files = {targets[i - 1].files.front(), targets[i - 4].files.front()};
    }
    if (plan.type_id == "module") {
      for (std::size_t c = i + 1; c <= i + 3 && c + 1 < pages; ++c) plan.children.push_back(targets[c].page_id);
    }
    if (plan.type_id == "other") {
      plan.catch_all = true;
      plan.source_files.assign(std::begin(CATCH_ALL_FILES), std::end(CATCH_ALL_FILES));
    }
    for (std::size_t n = rng.between(1, 3); n > 0; --n) plan.related_pages.push_back(targets[rng.below(pages)].page_id);
    if (!targets[i].former.empty()) setup.existing[plan.page_id] = wiki::StoredRow{{"title", targets[i].former.front()}};

    // Each file imports one to three files of the pages nearby.
    for (const std::string& file : targets[i].files) {
      std::vector<std::string>& imports = setup.imports[file];
      for (std::size_t n = rng.between(1, 3); n > 0; --n) {
        const std::size_t j = (i + pages + rng.below(21) - 10) % pages;
        imports.push_back(targets[j].files[rng.below(targets[j].files.size())]);
      }
    }
    setup.plans.push_back(std::move(plan));
  }

  for (std::size_t i = 0; i < pages; ++i) {
    // The forty pages around this one: titles to mention, pages to link, paths to name.
    const std::size_t first = i < 20 ? 0 : std::min(i - 20, pages > 40 ? pages - 40 : 0);
    const std::span<const wiki::LinkTarget> nearby = std::span(targets).subspan(first, std::min<std::size_t>(40, pages - first));
    generated.texts.push_back(authored_text(rng.between(2048, 4096), nearby, rng.chance(67), rng));
  }
  return generated;
}

void write_catch_all_files(const std::filesystem::path& root) {
  for (const char* path : CATCH_ALL_FILES) {
    std::filesystem::create_directories((root / path).parent_path());
    std::ofstream(root / path, std::ios::binary) << "# " << path << "\n\nrun() {\n  echo run\n}\n";
  }
}

const wiki::RepoLink& repo_link() {
  static const wiki::RepoLink link = [](string_view path) { return wiki::_repo_rel_link(path); };
  return link;
}

}  // namespace vantorel::bench

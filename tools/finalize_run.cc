#include "finalize_run.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <mutex>
#include <ostream>
#include <thread>
#include <utility>
#include <vector>

#include "errors.h"
#include "files.h"
#include "interrupts.h"
#include "page_checks.h"
#include "unified_diff.h"
#include "vantorel/workers/wiki/finalize/finalize.h"
#include "vantorel/workers/wiki/finalize/page_run.h"
#include "vantorel/workers/wiki/orchestrator/orchestrator.h"
#include "vantorel/workers/wiki/repo_facts/repo_facts.h"

namespace vantorel::tools {

namespace {

constexpr std::string_view PROGRAM = "wiki-finalize";
constexpr std::string_view WIKI_JSON = "wiki.json";
constexpr std::string_view MANIFEST = "manifest.json";

// One page's share of a run.
struct PageJob {
  const PageEntry* entry = nullptr;
  std::filesystem::path path{};  // the page file
  std::string display{};         // its name in messages
};

// What finalizing one page gave. Only what the rest of the run needs is kept, so that a run holds
// the text of one page per thread at a time (both texts of a changed page with --diff).
struct PageOutcome {
  wiki::FinalizedPage page{};                // what the manifest stores; markdown and authored part dropped
  std::vector<std::string> block_digests{};  // what the manifest stores to tell edited blocks apart next time
  bool changed = false;                      // the file does not hold the finished page yet
  StagedFile staged{};                       // the new file, written but not in place (not with --check)
  std::optional<std::string> on_disk{};      // with --diff and a change: what the file held
  std::string bytes{};                       // with --diff and a change: what it should hold
  std::vector<wiki::Finding> findings{};     // what the run repaired or reports, in the page file's order
  std::string error{};                       // set when finalizing failed
};

// What a run does with a page once it is finalized.
struct RunMode {
  Eol eol = Eol::LF;
  bool write = true;  // stage the new file of a changed page
  bool diff = false;  // keep both texts of a changed page
};

std::string encoded(std::string_view finished, Eol eol) { return eol == Eol::CRLF ? with_crlf(finished) : std::string(finished); }

// The block digests the last run kept for `page_id`, or nullptr when its manifest row has none.
std::optional<std::vector<std::string>> stored_digests(const wiki::WikiGenerator& generator, const std::string& page_id) {
  const auto row = generator._existing.find(page_id);
  if (row == generator._existing.end() || !row->second.is_object()) return std::nullopt;
  const auto blocks = row->second.find("blocks");
  if (blocks == row->second.end() || !blocks->is_array()) return std::nullopt;
  std::vector<std::string> out;
  for (const auto& digest : *blocks) {
    if (digest.is_string()) out.push_back(digest.get<std::string>());
  }
  return out;
}

PageOutcome finalize_one(const wiki::WikiGenerator& generator, const wiki::FinalizeBatch& batch, const PageJob& job, RunMode mode) {
  PageOutcome outcome;
  const wiki::PagePlan& plan = job.entry->plan;
  std::optional<std::string> on_disk = read_file(job.path, job.display);
  const std::string& text = on_disk ? *on_disk : std::string();
  const std::vector<wiki::Diagram> diagrams =
      generator.wiki_config().diagrams ? generator._build_diagrams(plan) : std::vector<wiki::Diagram>();
  const wiki::PageInput input{.plan = &plan,
                              .text = text,
                              .diagrams = diagrams,
                              .grounding = job.entry->grounding,
                              .options = {.seeds = job.entry->seeds, .fill_citations = true}};
  wiki::PageRun run = wiki::run_page(batch, input);
  outcome.page = std::move(run.page);
  const std::string& markdown = outcome.page.markdown;

  outcome.findings = std::move(run.findings);
  outcome.block_digests = block_digests(markdown);
  if (on_disk) {
    const std::optional<std::vector<std::string>> stored = stored_digests(generator, plan.page_id);
    for (wiki::Finding& f :
         changed_blocks(run.repaired.text, run.repaired.origin, outcome.block_digests, batch.link_index(), stored ? &*stored : nullptr))
      outcome.findings.push_back(std::move(f));
  }
  // In the order of the page file; findings without a place last.
  std::stable_sort(outcome.findings.begin(), outcome.findings.end(), [](const wiki::Finding& a, const wiki::Finding& b) {
    const auto key = [](const wiki::Finding& f) { return std::pair(f.line == 0 ? SIZE_MAX : f.line, f.column); };
    return key(a) < key(b);
  });
  outcome.findings = wiki::in_file(std::move(outcome.findings), job.display);

  std::string bytes = encoded(markdown, mode.eol);
  outcome.changed = !is_final(on_disk, markdown, mode.eol);
  if (outcome.changed && mode.write) outcome.staged = StagedFile::write(job.path, bytes, job.display);
  if (outcome.changed && mode.diff) {
    outcome.on_disk = std::move(on_disk);
    outcome.bytes = std::move(bytes);
  }
  outcome.page.markdown = {};
  outcome.page.authored = {};
  return outcome;
}

// Shows "wiki-finalize: 3/8 pages" on a terminal while pages are finalized.
class Progress {
 public:
  Progress(std::ostream& err, bool shown, std::size_t total) : err_(err), shown_(shown), total_(total) {}

  void page_done() {
    const std::lock_guard lock(mutex_);
    ++done_;
    if (shown_) err_ << '\r' << PROGRAM << ": " << done_ << '/' << total_ << " pages" << std::flush;
  }
  void clear() {
    if (shown_ && total_ > 0) err_ << "\r\033[K" << std::flush;
  }

 private:
  std::ostream& err_;
  bool shown_;
  std::size_t total_;
  std::size_t done_ = 0;  // guarded by mutex_
  std::mutex mutex_;
};

// Finalizes the pages of `jobs` on up to `threads` threads; outcome i belongs to job i whatever
// the number of threads. The wiki-wide parts are computed once, in `batch`.
// An interrupt stops the threads between pages.
std::vector<PageOutcome> finalize_all(const wiki::WikiGenerator& generator, const wiki::FinalizeBatch& batch, std::span<const PageJob> jobs,
                                      RunMode mode, unsigned threads, Progress& progress) {
  std::vector<PageOutcome> outcomes(jobs.size());
  std::atomic<std::size_t> next{0};
  auto work = [&] {
    for (std::size_t i; !interrupted() && (i = next++) < jobs.size();) {
      try {
        outcomes[i] = finalize_one(generator, batch, jobs[i], mode);
      } catch (const InputError& e) {
        outcomes[i].error = e.what();
      } catch (const std::exception& e) {
        outcomes[i].error = wiki::to_text(wiki::Finding{.file = jobs[i].display,
                                                         .severity = wiki::Severity::ERROR,
                                                         .kind = "internal",
                                                         .message = std::string("cannot finalize the page: ") + e.what()});
      }
      progress.page_done();
    }
  };
  const std::size_t helpers = std::min<std::size_t>(threads, jobs.size()) - (jobs.empty() ? 0 : 1);
  std::vector<std::jthread> pool;
  pool.reserve(helpers);
  for (std::size_t t = 0; t < helpers; ++t) pool.emplace_back(work);
  work();
  pool.clear();  // joins
  return outcomes;
}

unsigned thread_count(unsigned requested) {
  if (requested != 0) return requested;
  return std::clamp(std::thread::hardware_concurrency(), 1u, MAX_JOBS);
}

std::string seconds_since(std::chrono::steady_clock::time_point start) {
  const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  char buffer[32];
  std::snprintf(buffer, sizeof buffer, "%.2f s", seconds);
  return buffer;
}

std::string pages_word(std::size_t n) {
  std::string out = std::to_string(n);
  out.append(n == 1 ? " page" : " pages");
  return out;
}

int finalize_wiki(const Options& options, std::ostream& out, std::ostream& err, bool terminal) {
  const auto start = std::chrono::steady_clock::now();
  const WikiPaths paths = wiki_paths(options.repository, options.wiki);
  if (const auto warning = placement_warning(paths)) err << wiki::to_text(*warning) << '\n';
  LoadedWiki loaded = load_wiki(paths);
  for (const wiki::Finding& warning : loaded.file.warnings) err << wiki::to_text(warning) << '\n';
  if (!options.check) check_writable_folder(paths.folder, paths.folder_display);

  std::vector<PageJob> jobs;
  jobs.reserve(loaded.file.pages.size());
  std::vector<wiki::PagePlan> plans;
  plans.reserve(loaded.file.pages.size());
  for (const PageEntry& entry : loaded.file.pages) {
    std::string name = entry.plan.page_id;
    name.append(".md");
    jobs.push_back(PageJob{.entry = &entry, .path = paths.file(name), .display = paths.display(name)});
    plans.push_back(entry.plan);
  }
  const std::optional<std::string> old_manifest = read_file(paths.file(MANIFEST), paths.display(MANIFEST));

  const wiki::WikiGenerator generator(wiki::WikiSetup{.plans = std::move(plans),
                                                      .repository = paths.repository,
                                                      .config = loaded.file.config,
                                                      .imports = loaded.file.imports,
                                                      .existing = std::move(loaded.rows)});
  const wiki::FinalizeBatch batch(generator);

  Progress progress(err, terminal, jobs.size());
  const RunMode mode{.eol = options.eol, .write = !options.check, .diff = options.check && options.diff};
  std::vector<PageOutcome> outcomes = finalize_all(generator, batch, jobs, mode, thread_count(options.jobs), progress);
  progress.clear();
  if (interrupted()) {
    err << PROGRAM << ": interrupted; no file was changed\n";
    return EXIT_INTERRUPTED;
  }

  bool failed = false;
  for (const PageOutcome& outcome : outcomes) {
    if (!outcome.error.empty()) {
      err << outcome.error << '\n';
      failed = true;
    }
  }
  if (failed) return EXIT_TROUBLE;
  for (const PageOutcome& outcome : outcomes) {
    for (const wiki::Finding& finding : outcome.findings) err << wiki::to_text(finding) << '\n';
  }

  std::vector<wiki::FinalizedPage> finalized;
  std::vector<std::vector<std::string>> digests;
  finalized.reserve(outcomes.size());
  digests.reserve(outcomes.size());
  for (PageOutcome& outcome : outcomes) {
    finalized.push_back(std::move(outcome.page));
    digests.push_back(std::move(outcome.block_digests));
  }
  const std::string manifest = manifest_text(loaded.file.pages, finalized, batch.link_targets(), digests);
  const std::string manifest_bytes = encoded(manifest, options.eol);
  const bool manifest_changed = !is_final(old_manifest, manifest, options.eol);

  std::size_t changed = 0;
  for (const PageOutcome& outcome : outcomes) changed += outcome.changed ? 1 : 0;

  if (options.check) {
    for (std::size_t i = 0; i < jobs.size(); ++i) {
      if (outcomes[i].changed) out << jobs[i].display << '\n';
    }
    if (manifest_changed) out << paths.display(MANIFEST) << '\n';
    if (options.diff) {
      for (std::size_t i = 0; i < jobs.size(); ++i) {
        if (outcomes[i].changed) out << unified_diff(outcomes[i].on_disk.value_or(""), outcomes[i].bytes, jobs[i].display, jobs[i].display);
      }
      if (manifest_changed) {
        out << unified_diff(old_manifest.value_or(""), manifest_bytes, paths.display(MANIFEST), paths.display(MANIFEST));
      }
    }
    err << PROGRAM << ": " << pages_word(jobs.size()) << ", " << changed << " would change"
        << (manifest_changed ? ", the manifest would change" : "") << " (" << seconds_since(start) << ")\n";
    return changed > 0 || manifest_changed ? EXIT_CHANGED : EXIT_OK;
  }

  // Every new file is complete on the disk before the first one is renamed into place; the
  // manifest goes last, so a run stopped on the way leaves pages that the next run redoes.
  StagedFile staged_manifest;
  if (manifest_changed) staged_manifest = StagedFile::write(paths.file(MANIFEST), manifest_bytes, paths.display(MANIFEST));
  if (changed > 0 || manifest_changed) sync_file_system(paths.folder, paths.folder_display);
  std::size_t renamed = 0;
  for (PageOutcome& outcome : outcomes) {
    if (!outcome.changed) continue;
    if (interrupted()) {
      err << PROGRAM << ": interrupted after writing " << renamed << " of " << changed
          << " changed pages; the other pages and the manifest are unchanged\n";
      return EXIT_INTERRUPTED;
    }
    outcome.staged.commit();
    ++renamed;
  }
  staged_manifest.commit();
  if (changed > 0 || manifest_changed) sync_folder(paths.folder, paths.folder_display);
  err << PROGRAM << ": " << pages_word(jobs.size()) << ", " << changed << " changed" << (manifest_changed ? ", manifest updated" : "")
      << " (" << seconds_since(start) << ")\n";
  return EXIT_OK;
}

// The page file a query reads, with "\n" line endings.
std::string query_input(const std::string& file) {
  if (file == "-") return wiki::lf(read_standard_input());
  std::optional<std::string> text = read_file(file, file);
  if (!text) throw InputError(file, "unreadable-file", "cannot read: No such file or directory");
  return wiki::lf(*text);
}

int print_contract(const Options& options, std::ostream& out) {
  const WikiPaths paths = wiki_paths(options.repository, options.wiki);
  LoadedWiki loaded = load_wiki(paths);
  std::vector<wiki::PagePlan> plans;
  const PageEntry* entry = nullptr;
  for (const PageEntry& page : loaded.file.pages) {
    plans.push_back(page.plan);
    if (page.plan.page_id == options.page_id) entry = &page;
  }
  if (entry == nullptr) throw InputError(paths.display(WIKI_JSON), "unknown-page-id", "no page has the id '" + options.page_id + "'");
  const wiki::WikiGenerator generator(wiki::WikiSetup{.plans = std::move(plans),
                                                      .repository = paths.repository,
                                                      .config = loaded.file.config,
                                                      .imports = loaded.file.imports,
                                                      .existing = std::move(loaded.rows)});
  const wiki::PageContract contract = generator._page_contract(entry->plan, entry->grounding);
  out << contract.dump(2, ' ', false, wiki::PageContract::error_handler_t::replace) << '\n';
  return EXIT_OK;
}

}  // namespace

std::string WikiPaths::display(std::string_view name) const {
  std::string out = folder_display;
  if (!out.empty() && out.back() != '/') out += '/';
  out.append(name);
  return out;
}

WikiPaths wiki_paths(std::string_view repository, std::string_view wiki) {
  WikiPaths paths{.repository = std::filesystem::path(repository)};
  const std::filesystem::path folder(wiki);
  paths.folder = folder.is_absolute() ? folder : paths.repository / folder;
  std::filesystem::path shown = folder.is_absolute() || repository == "." ? folder : paths.folder;
  shown = shown.lexically_normal();
  paths.folder_display = shown.string();
  while (paths.folder_display.size() > 1 && paths.folder_display.back() == '/') paths.folder_display.pop_back();
  return paths;
}

std::optional<wiki::Finding> placement_warning(const WikiPaths& paths) {
  std::error_code error;
  const std::filesystem::path root = std::filesystem::weakly_canonical(paths.repository, error);
  if (error) return std::nullopt;
  const std::filesystem::path folder = std::filesystem::weakly_canonical(paths.folder, error);
  if (error || folder.parent_path() == root) return std::nullopt;
  return wiki::Finding{.file = paths.folder_display,
                       .severity = wiki::Severity::WARNING,
                       .kind = "wiki-placement",
                       .message = "the wiki folder is not directly under the repository root; its pages link to repository files through "
                                  "\"../\", so those links will not resolve"};
}

LoadedWiki load_wiki(const WikiPaths& paths) {
  const std::string display = paths.display(WIKI_JSON);
  const std::optional<std::string> text = read_file(paths.file(WIKI_JSON), display);
  if (!text) throw InputError(display, "missing-file", "no such file; a wiki folder holds wiki.json and one <page_id>.md file per page");
  LoadedWiki loaded{.file = parse_wiki_json(*text, display)};
  const std::string manifest_display = paths.display(MANIFEST);
  if (const std::optional<std::string> manifest = read_file(paths.file(MANIFEST), manifest_display)) {
    loaded.rows = parse_manifest(*manifest, manifest_display);
  }
  return loaded;
}

std::string with_crlf(std::string_view text) {
  std::string out;
  out.reserve(text.size() + text.size() / 16);
  for (char c : text) {
    if (c == '\n') out += '\r';
    out += c;
  }
  return out;
}

bool is_final(const std::optional<std::string>& on_disk, std::string_view finished, Eol eol) {
  if (!on_disk) return false;
  if (eol == Eol::CRLF) return *on_disk == with_crlf(finished);
  return *on_disk == finished || wiki::lf(*on_disk) == finished;
}

// Runs `body`, turning a failure into its one-line message and the trouble exit code.
template <class Body>
int reporting_failures(std::ostream& err, Body&& body) {
  try {
    return body();
  } catch (const InputError& e) {
    err << e.what() << '\n';
  } catch (const std::exception& e) {
    err << PROGRAM << ": " << e.what() << '\n';
  }
  return EXIT_TROUBLE;
}

int run_finalize(const Options& options, std::ostream& out, std::ostream& err, bool terminal) {
  return reporting_failures(err, [&] { return finalize_wiki(options, out, err, terminal); });
}

int run_query(const Options& options, std::ostream& out, std::ostream& err) {
  return reporting_failures(err, [&] {
    if (options.command == Command::CONTRACT) return print_contract(options, out);
    const std::string page = query_input(options.file);
    switch (options.command) {
      case Command::SEARCH_TEXT:
        out << wiki::searchable_text(page);
        break;
      case Command::MERMAID: {
        const std::vector<std::string> blocks = wiki::mermaid_blocks(page);
        for (std::size_t i = 0; i < blocks.size(); ++i) {
          if (i > 0) out << '\n';
          out << "%% mermaid block " << i + 1 << " of " << blocks.size() << '\n' << blocks[i];
          if (blocks[i].empty() || blocks[i].back() != '\n') out << '\n';
        }
        break;
      }
      case Command::HEADINGS: {
        const std::vector<std::string_view> keep(options.keep.begin(), options.keep.end());
        for (const std::string& heading : wiki::section_headings(page, std::span<const std::string_view>(keep))) out << heading << '\n';
        break;
      }
      default:
        break;
    }
    return EXIT_OK;
  });
}

}  // namespace vantorel::tools

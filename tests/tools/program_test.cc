// The wiki-finalize program end to end: the built binary run on copies of the example wiki.
#include "program.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <functional>
#include <nlohmann/json.hpp>

#include "unified_diff.h"
#include "vantorel/workers/wiki/finalize/finalize.h"

namespace vantorel::tools::testing {
namespace {

namespace fs = std::filesystem;
namespace wiki = vantorel::workers::wiki;
using Json = nlohmann::ordered_json;

// The page ids of the example's wiki.json, in plan order.
std::vector<std::string> example_page_ids(const fs::path& repo) {
  const Json plan = Json::parse(read_text(repo / "wiki/wiki.json"));
  std::vector<std::string> ids;
  for (const Json& page : plan["pages"]) ids.push_back(page["page_id"]);
  return ids;
}

std::vector<std::string> lines_of(std::string_view text) {
  std::vector<std::string> lines;
  std::size_t start = 0;
  while (start < text.size()) {
    const std::size_t end = text.find('\n', start);
    const std::size_t stop = end == std::string_view::npos ? text.size() : end;
    lines.emplace_back(text.substr(start, stop - start));
    start = stop + 1;
  }
  return lines;
}

class ExampleWiki : public ::testing::Test {
 protected:
  ScratchFolder scratch;
  fs::path repo = copy_example(scratch.path());
  fs::path pages = repo / "wiki";

  ProgramRun finalize(std::vector<std::string> args = {}) {
    args.push_back(repo.string());
    return run_program(args, scratch.path());
  }
  // Runs the program and expects it to succeed.
  void finalize_ok(std::vector<std::string> args = {}) {
    const ProgramRun run = finalize(std::move(args));
    ASSERT_EQ(run.status, 0) << run.err;
  }
};

// --- Finalizing and checking ----------------------------------------------------------------

TEST_F(ExampleWiki, FirstRunWritesEveryPageAndTheManifest) {
  const std::map<std::string, std::string> before = snapshot(repo);
  const ProgramRun run = finalize();
  ASSERT_EQ(run.status, 0) << run.err;
  EXPECT_EQ(run.out, "");
  const std::vector<std::string> ids = example_page_ids(repo);
  for (const std::string& id : ids) {
    const std::string page = read_text(pages / (id + ".md"));
    EXPECT_TRUE(page.starts_with("# ")) << id;
    EXPECT_TRUE(page.ends_with("\n") && !page.ends_with("\n\n")) << id;
    EXPECT_NE(page, before.at("wiki/" + id + ".md")) << id << " was already final";
  }
  // The manifest lists the pages in plan order, each row's keys in a fixed order.
  const std::string manifest_text = read_text(pages / "manifest.json");
  EXPECT_TRUE(manifest_text.ends_with("}\n"));
  const Json manifest = Json::parse(manifest_text);
  std::vector<std::string> listed;
  for (const auto& [id, row] : manifest.items()) {
    listed.push_back(id);
    std::vector<std::string> keys;
    for (const auto& [key, value] : row.items()) keys.push_back(key);
    EXPECT_EQ(keys, (std::vector<std::string>{"title", "summary", "citations", "own_citations", "outline", "former_titles"})) << id;
  }
  EXPECT_EQ(listed, ids);
  EXPECT_EQ(manifest_text, manifest.dump(2) + "\n");
  // Nothing but the pages and the manifest changed, and no temporary file is left.
  const std::map<std::string, std::string> after = snapshot(repo);
  for (const auto& [path, bytes] : after) {
    if (!path.starts_with("wiki/")) {
      EXPECT_EQ(bytes, before.at(path)) << path;
    }
    EXPECT_FALSE(fs::path(path).filename().string().starts_with(".")) << path;
  }
}

TEST_F(ExampleWiki, CheckAfterARunPassesAndWritesNothing) {
  finalize_ok();
  const std::map<std::string, std::string> files = snapshot(repo);
  const std::map<std::string, long long> times = mtimes(repo);
  const ProgramRun check = finalize({"--check"});
  EXPECT_EQ(check.status, 0) << check.err;
  EXPECT_EQ(check.out, "");
  EXPECT_EQ(snapshot(repo), files);
  EXPECT_EQ(mtimes(repo), times);
}

TEST_F(ExampleWiki, CheckBeforeARunListsEveryPageAndWritesNothing) {
  const std::map<std::string, std::string> files = snapshot(repo);
  const std::map<std::string, long long> times = mtimes(repo);
  const ProgramRun check = finalize({"--check"});
  EXPECT_EQ(check.status, 1);
  std::vector<std::string> expected;
  for (const std::string& id : example_page_ids(repo)) expected.push_back((repo / "wiki" / (id + ".md")).lexically_normal().string());
  expected.push_back((repo / "wiki/manifest.json").lexically_normal().string());
  EXPECT_EQ(lines_of(check.out), expected);
  EXPECT_EQ(snapshot(repo), files);
  EXPECT_EQ(mtimes(repo), times);
}

TEST_F(ExampleWiki, CheckAfterAnEditListsThatPageOnly) {
  finalize_ok();
  // An agent added a sentence and dropped the footer.
  std::string edited = replace_once(read_text(pages / "log.md"), "## Internals\n", "## Internals\n\nA sentence an agent added.\n");
  edited.erase(edited.find("\n<!-- wiki:footer -->"));
  edited += "\n";
  write_text(pages / "log.md", edited);
  const std::map<std::string, std::string> files = snapshot(repo);

  const ProgramRun check = finalize({"--check"});
  EXPECT_EQ(check.status, 1);
  EXPECT_EQ(lines_of(check.out), std::vector<std::string>{(pages / "log.md").string()});
  EXPECT_EQ(snapshot(repo), files);

  // The diff turns the page on disk into the page a run writes.
  const ProgramRun diff = finalize({"--check", "--diff"});
  EXPECT_EQ(diff.status, 1);
  finalize_ok();
  const std::string finished = read_text(pages / "log.md");
  const std::string label = (pages / "log.md").string();
  const std::string expected_diff = unified_diff(edited, finished, label, label);
  EXPECT_EQ(diff.out, (pages / "log.md").string() + "\n" + expected_diff);
  EXPECT_NE(finished.find("A sentence an agent added."), std::string::npos);
}

TEST_F(ExampleWiki, UnchangedFilesAreNotRewritten) {
  finalize_ok();
  write_text(pages / "server.md", replace_once(read_text(pages / "server.md"), "\n\n## Usage", "\n## Usage"));
  // Every file dated back to 2001, so that a rewrite shows whatever the clock's resolution.
  const struct timespec old_times[2] = {{.tv_sec = 1'000'000'000, .tv_nsec = 0}, {.tv_sec = 1'000'000'000, .tv_nsec = 0}};
  for (const auto& [path, time] : mtimes(repo)) ASSERT_EQ(::utimensat(AT_FDCWD, (repo / path).c_str(), old_times, 0), 0);
  finalize_ok();
  for (const auto& [path, time] : mtimes(repo)) {
    if (path == "wiki/server.md") {
      EXPECT_NE(time, 1'000'000'000LL * 1'000'000'000LL);
    } else {
      EXPECT_EQ(time, 1'000'000'000LL * 1'000'000'000LL) << path << " was rewritten";
    }
  }
}

TEST_F(ExampleWiki, ASecondRunTouchesNothing) {
  finalize_ok();
  const struct timespec old_times[2] = {{.tv_sec = 1'000'000'000, .tv_nsec = 0}, {.tv_sec = 1'000'000'000, .tv_nsec = 0}};
  ASSERT_EQ(::utimensat(AT_FDCWD, pages.c_str(), old_times, 0), 0);
  const std::map<std::string, long long> before = mtimes(repo);
  finalize_ok();
  EXPECT_EQ(mtimes(repo), before);
  struct stat folder {};
  ASSERT_EQ(::stat(pages.c_str(), &folder), 0);
  EXPECT_EQ(folder.st_mtim.tv_sec, 1'000'000'000) << "the wiki folder changed";
}

TEST_F(ExampleWiki, ARewrittenPageKeepsItsMode) {
  ::chmod((pages / "log.md").c_str(), 0640);
  finalize_ok();
  struct stat info {};
  ASSERT_EQ(::stat((pages / "log.md").c_str(), &info), 0);
  EXPECT_EQ(info.st_mode & 0777, 0640u);
}

TEST_F(ExampleWiki, AnyNumberOfJobsGivesTheSameFiles) {
  const fs::path other = copy_example(scratch.path(), "other");
  const ProgramRun one = run_program({"--jobs", "1", repo.string()}, scratch.path());
  const ProgramRun four = run_program({"--jobs=4", other.string()}, scratch.path());
  ASSERT_EQ(one.status, 0) << one.err;
  ASSERT_EQ(four.status, 0) << four.err;
  EXPECT_EQ(snapshot(repo), snapshot(other));
}

TEST_F(ExampleWiki, AMissingPageFileIsEmptyProse) {
  fs::remove(pages / "quickstart.md");
  finalize_ok();
  const std::string page = read_text(pages / "quickstart.md");
  EXPECT_TRUE(page.starts_with("# Getting started\n\n<!-- wiki:summary plan -->\n")) << page;
  EXPECT_EQ(finalize({"--check"}).status, 0);
}

// --- Renamed pages --------------------------------------------------------------------------

TEST_F(ExampleWiki, TheShippedManifestRefreshesALinkByAFormerTitle) {
  ASSERT_NE(read_text(pages / "storage.md").find("[Append-only log](log.md)"), std::string::npos);
  finalize_ok();
  const std::string storage = read_text(pages / "storage.md");
  EXPECT_EQ(storage.find("Append-only log"), std::string::npos);
  EXPECT_NE(storage.find("[Write-ahead log](log.md)"), std::string::npos);
  EXPECT_EQ(Json::parse(read_text(pages / "manifest.json"))["log"]["former_titles"], Json::array({"Append-only log"}));
}

TEST_F(ExampleWiki, ARenameFlowsThroughTheManifestIntoTheNextRun) {
  finalize_ok();
  const std::string overview = read_text(pages / "overview.md");
  ASSERT_NE(overview.find("[Protocol server](server.md)"), std::string::npos);
  write_text(pages / "wiki.json", replace_once(read_text(pages / "wiki.json"), "\"Protocol server\"", "\"Request server\""));

  const ProgramRun check = finalize({"--check"});
  EXPECT_EQ(check.status, 1);
  finalize_ok();
  for (const std::string& id : example_page_ids(repo)) {
    const std::string page = read_text(pages / (id + ".md"));
    EXPECT_EQ(page.find("[Protocol server]("), std::string::npos) << id;
  }
  EXPECT_NE(read_text(pages / "overview.md").find("[Request server](server.md)"), std::string::npos);
  EXPECT_TRUE(read_text(pages / "server.md").starts_with("# Request server\n"));
  const Json manifest = Json::parse(read_text(pages / "manifest.json"));
  EXPECT_EQ(manifest["server"]["title"], "Request server");
  EXPECT_EQ(manifest["server"]["former_titles"], Json::array({"Protocol server"}));

  // A renamed page's footers are not taken for hand edits, and the next run settles.
  const ProgramRun again = finalize();
  EXPECT_EQ(again.status, 0);
  EXPECT_EQ(again.err.find("was edited"), std::string::npos) << again.err;
  EXPECT_EQ(finalize({"--check"}).status, 0);
}

// --- Line endings ---------------------------------------------------------------------------

TEST_F(ExampleWiki, CrlfPagesThenACheckPasses) {
  finalize_ok({"--eol", "crlf"});
  for (const std::string& id : example_page_ids(repo)) {
    const std::string page = read_text(pages / (id + ".md"));
    EXPECT_NE(page.find("\r\n"), std::string::npos) << id;
    std::size_t lone = 0;
    for (std::size_t i = 0; i < page.size(); ++i) lone += page[i] == '\n' && (i == 0 || page[i - 1] != '\r');
    EXPECT_EQ(lone, 0u) << id << " has a line ending in a bare \"\\n\"";
  }
  EXPECT_EQ(finalize({"--check"}).status, 0);
  EXPECT_EQ(finalize({"--check", "--eol", "crlf"}).status, 0);
}

TEST_F(ExampleWiki, ACrlfCheckoutOfAFinalPageIsFinal) {
  finalize_ok();
  std::string page = read_text(pages / "client.md");
  std::string crlf;
  for (char c : page) crlf.append(c == '\n' ? "\r\n" : std::string(1, c));
  write_text(pages / "client.md", crlf);
  EXPECT_EQ(finalize({"--check"}).status, 0);
  finalize_ok();
  EXPECT_EQ(read_text(pages / "client.md"), crlf);
  // Asked for CRLF, an LF page is not final; asked for LF, the CRLF page stays final.
  EXPECT_EQ(finalize({"--check", "--eol", "crlf"}).status, 1);
}

// --- Reports on standard error --------------------------------------------------------------

TEST_F(ExampleWiki, APageThatDoesNotSettleIsWrittenAndReported) {
  write_text(pages / "quickstart.md", "Intro.\n\n```sh\nmake\n");
  const ProgramRun run = finalize();
  EXPECT_EQ(run.status, 0);
  EXPECT_NE(run.err.find((pages / "quickstart.md").string() + ": the page does not settle"), std::string::npos) << run.err;
  EXPECT_NE(run.err.find("never closed (\"```sh\")"), std::string::npos) << run.err;
  EXPECT_TRUE(read_text(pages / "quickstart.md").starts_with("# Getting started\n"));
}

TEST_F(ExampleWiki, AStrayMarkerLineIsNamedAsTheCause) {
  write_text(pages / "other.md", "Text.\n\n<!-- wiki:footer -->\nA\n<!-- wiki:index -->\nB\n<!-- /wiki:index -->\n");
  const ProgramRun run = finalize();
  EXPECT_EQ(run.status, 0);
  EXPECT_NE(run.err.find("a marker line outside code fences in the body (\"<!-- wiki:index -->\")"), std::string::npos) << run.err;
}

TEST_F(ExampleWiki, EditsInsideGeneratedBlocksAreReportedAndUndone) {
  finalize_ok();
  std::string page = read_text(pages / "storage.md");
  page = replace_once(page, "- [Protocol server](server.md)\n", "- [Protocol server](server.md)\n- [My notes](https://example.com)\n");
  page = replace_once(page, "- [src/cellar.h](../src/cellar.h)\n", "- [src/cellar.h](../src/cellar.h)\n- and the tests\n");
  page = replace_once(page, "### Dependencies", "### Who depends on whom");
  write_text(pages / "storage.md", page);

  const ProgramRun run = finalize();
  EXPECT_EQ(run.status, 0);
  const std::string name = (pages / "storage.md").string();
  for (std::string_view part : {"sources", "diagram", "footer"}) {
    EXPECT_NE(run.err.find(name + ": the " + std::string(part) + " block was edited; it is written anew from the plan"), std::string::npos)
        << part << "\n"
        << run.err;
  }
  EXPECT_EQ(run.err.find("summary block"), std::string::npos);
  const std::string finished = read_text(pages / "storage.md");
  EXPECT_EQ(finished.find("My notes"), std::string::npos);
  EXPECT_EQ(finished.find("and the tests"), std::string::npos);
  EXPECT_EQ(finished.find("Who depends"), std::string::npos);
}

TEST_F(ExampleWiki, ProseEditsAndTheSummaryBlockAreTheAuthors) {
  finalize_ok();
  std::string page = read_text(pages / "log.md");
  page = replace_once(page, "> The record format of the log", "> The line format of the log");
  page = replace_once(page, "## Internals\n", "## Internals\n\nNew prose, citing [the header](../src/log.h#L1-L3).\n");
  write_text(pages / "log.md", page);
  const ProgramRun run = finalize();
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(run.err.find("was edited"), std::string::npos) << run.err;
  const std::string finished = read_text(pages / "log.md");
  EXPECT_NE(finished.find("> The line format of the log"), std::string::npos);
  EXPECT_NE(finished.find("- [src/log.h](../src/log.h)"), std::string::npos);
  EXPECT_EQ(Json::parse(read_text(pages / "manifest.json"))["log"]["summary"].get<std::string>().rfind("The line format", 0), 0u);
}

TEST_F(ExampleWiki, OffATerminalTheOnlyMessageIsTheSummaryLine) {
  const ProgramRun run = finalize();
  ASSERT_EQ(run.status, 0);
  const std::vector<std::string> lines = lines_of(run.err);
  ASSERT_EQ(lines.size(), 1u) << run.err;
  EXPECT_TRUE(lines[0].starts_with("wiki-finalize: 8 pages, 8 changed, manifest updated (")) << lines[0];
  EXPECT_EQ(run.err.find('\r'), std::string::npos);
}

TEST_F(ExampleWiki, AWikiFolderElsewhereIsUsedWithAWarning) {
  fs::create_directories(repo / "docs");
  fs::rename(pages, repo / "docs/wiki");
  const ProgramRun run = finalize({"--wiki", "docs/wiki"});
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_NE(run.err.find("not directly under the repository root"), std::string::npos) << run.err;
  EXPECT_TRUE(fs::exists(repo / "docs/wiki/manifest.json"));
  EXPECT_EQ(finalize({"--wiki=docs/wiki", "--check"}).status, 0);
}

TEST(ProgramFolders, TheRepositoryDefaultsToTheCurrentFolder) {
  const ScratchFolder scratch;
  const fs::path repo = copy_example(scratch.path());
  const ProgramRun run = run_program({}, repo);
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_EQ(run_program({"--check"}, repo).out, "");
  write_text(repo / "wiki/log.md", read_text(repo / "wiki/log.md") + "\nMore prose.\n");
  EXPECT_EQ(run_program({"--check"}, repo).out, "wiki/log.md\n");
}

// --- Bad input ------------------------------------------------------------------------------

// One way to break the example, the exit code it gives and text the message must hold. The
// message is checked to start with the file it names.
struct BadInput {
  std::string name;
  std::function<void(const fs::path& wiki)> damage;
  std::string file;      // the file the message names, relative to the wiki folder
  std::string expected;  // text of the message, after "file:line:column: " or "file: "
};

// Shown by its name in test listings.
void PrintTo(const BadInput& c, std::ostream* os) { *os << c.name; }

void edit_json(const fs::path& wiki, std::string_view from, std::string_view to) {
  write_text(wiki / "wiki.json", replace_once(read_text(wiki / "wiki.json"), from, to));
}

class BadInputs : public ::testing::TestWithParam<BadInput> {};

TEST_P(BadInputs, ExitWithTwoAndOneMessageNamingTheFile) {
  const BadInput& c = GetParam();
  const ScratchFolder scratch;
  const fs::path repo = copy_example(scratch.path());
  c.damage(repo / "wiki");
  const std::map<std::string, std::string> before = snapshot(repo);
  for (const std::vector<std::string>& args : {std::vector<std::string>{"repo"}, std::vector<std::string>{"--check", "repo"}}) {
    const ProgramRun run = run_program(args, scratch.path());
    EXPECT_EQ(run.status, 2) << run.err;
    EXPECT_EQ(run.out, "");
    const std::string file = "repo/wiki/" + c.file;
    EXPECT_TRUE(run.err.starts_with(file + ":")) << run.err;
    EXPECT_NE(run.err.find(c.expected), std::string::npos) << run.err;
    EXPECT_EQ(std::count(run.err.begin(), run.err.end(), '\n'), 1) << run.err;
    EXPECT_EQ(snapshot(repo), before) << "a failed run wrote something";
  }
}

INSTANTIATE_TEST_SUITE_P(
    Program, BadInputs,
    ::testing::Values(
        BadInput{"MissingWikiJson", [](const fs::path& w) { fs::remove(w / "wiki.json"); }, "wiki.json", "wiki.json: no such file"},
        BadInput{"MalformedJson", [](const fs::path& w) { edit_json(w, "\"pages\": [", "\"pages\": [}"); }, "wiki.json", "not valid JSON"},
        BadInput{"WrongType", [](const fs::path& w) { edit_json(w, "\"catch_all\": true", "\"catch_all\": \"yes\""); }, "wiki.json",
                 "pages[7].catch_all must be true or false, not a string"},
        BadInput{"MissingField", [](const fs::path& w) { edit_json(w, "\"type\": \"guide\",", ""); }, "wiki.json",
                 "pages[6] lacks the required field 'type'"},
        BadInput{"DuplicateId", [](const fs::path& w) { edit_json(w, "\"page_id\": \"quickstart\"", "\"page_id\": \"server\""); },
                 "wiki.json", "page id 'server' is used twice"},
        BadInput{"IdWithSlash", [](const fs::path& w) { edit_json(w, "\"page_id\": \"quickstart\"", "\"page_id\": \"../quickstart\""); },
                 "wiki.json", "page id '../quickstart' is not a plain file name"},
        BadInput{"UnknownType", [](const fs::path& w) { edit_json(w, "\"type\": \"guide\"", "\"type\": \"tutorial\""); }, "wiki.json",
                 "unknown page type 'tutorial' (known: overview, module"},
        BadInput{"UnreadablePage", [](const fs::path& w) { fs::remove(w / "log.md"), fs::create_directory(w / "log.md"); }, "log.md",
                 "log.md: cannot read: Is a directory"},
        BadInput{"MalformedManifest", [](const fs::path& w) { write_text(w / "manifest.json", "{\"log\": 3}\n"); }, "manifest.json",
                 "the row of page 'log' must be an object, not a number"}),
    [](const ::testing::TestParamInfo<BadInput>& info) { return info.param.name; });

TEST(ProgramBadInput, AFolderThatCannotBeWrittenFailsBeforeAnythingIsWritten) {
  if (::geteuid() == 0) GTEST_SKIP() << "permissions do not stop root";
  const ScratchFolder scratch;
  const fs::path repo = copy_example(scratch.path());
  fs::permissions(repo / "wiki", fs::perms::owner_write | fs::perms::group_write | fs::perms::others_write, fs::perm_options::remove);
  const ProgramRun run = run_program({"repo"}, scratch.path());
  EXPECT_EQ(run.status, 2);
  EXPECT_TRUE(run.err.starts_with("repo/wiki: cannot write to this folder: Permission denied")) << run.err;
  // A check writes nothing, so it still works.
  EXPECT_EQ(run_program({"--check", "repo"}, scratch.path()).status, 1);
}

TEST(ProgramBadInput, ALocationPointsAtTheOffendingValue) {
  const ScratchFolder scratch;
  const fs::path repo = copy_example(scratch.path());
  const std::string text = replace_once(read_text(repo / "wiki/wiki.json"), "\"importance\": \"low\"", "\"importance\": 3");
  write_text(repo / "wiki/wiki.json", text);
  const std::size_t at = text.find("\"importance\": 3") + std::string_view("\"importance\": ").size();
  const std::size_t line = static_cast<std::size_t>(std::count(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(at), '\n')) + 1;
  const std::size_t column = at - text.rfind('\n', at - 1);
  const ProgramRun run = run_program({"repo"}, scratch.path());
  EXPECT_EQ(run.err, "repo/wiki/wiki.json:" + std::to_string(line) + ":" + std::to_string(column) +
                         ": pages[7].importance must be a string, not a number\n");
}

// --- The command line -----------------------------------------------------------------------

TEST(ProgramUsage, HelpAndVersionGoToStandardOutput) {
  const ScratchFolder scratch;
  const ProgramRun help = run_program({"--help"}, scratch.path());
  EXPECT_EQ(help.status, 0);
  EXPECT_TRUE(help.out.starts_with("Usage: wiki-finalize [OPTIONS] [REPO]\n"));
  EXPECT_EQ(help.err, "");
  const ProgramRun version = run_program({"--version"}, scratch.path());
  EXPECT_EQ(version.status, 0);
  EXPECT_EQ(version.out, std::string("wiki-finalize ") + WIKI_FINALIZE_VERSION + "\n");
}

TEST(ProgramUsage, UsageErrorsPointToHelp) {
  const ScratchFolder scratch;
  for (const std::vector<std::string>& args : std::vector<std::vector<std::string>>{{"--frobnicate"},
                                                                                    {"--diff"},
                                                                                    {"--jobs", "0"},
                                                                                    {"--eol", "cr"},
                                                                                    {"a", "b"},
                                                                                    {"mermaid"},
                                                                                    {"contract"},
                                                                                    {"headings", "--keep", "x", "f"}}) {
    const ProgramRun run = run_program(args, scratch.path());
    EXPECT_EQ(run.status, 2) << args[0];
    EXPECT_EQ(run.out, "");
    EXPECT_TRUE(run.err.starts_with("wiki-finalize: ")) << run.err;
    EXPECT_TRUE(run.err.ends_with("\nTry 'wiki-finalize --help' for more information.\n")) << run.err;
  }
}

// --- Read-only subcommands ------------------------------------------------------------------

class FinishedPages : public ExampleWiki {
 protected:
  void SetUp() override { finalize_ok(); }
  ProgramRun query(const std::vector<std::string>& args, std::string_view input = "") { return run_program(args, pages, input); }
};

TEST_F(FinishedPages, SearchTextLeavesOutTheGeneratedListsAndKeepsTheIndex) {
  const ProgramRun run = query({"search-text", "other.md"});
  ASSERT_EQ(run.status, 0) << run.err;
  EXPECT_EQ(run.out, wiki::searchable_text(read_text(pages / "other.md")));
  EXPECT_TRUE(run.out.starts_with("# Other code\n"));
  EXPECT_NE(run.out.find("| [tools/compact.py](../tools/compact.py) |"), std::string::npos);
  for (std::string_view gone : {"Relevant source files", "Previous:", "```mermaid", "<!--"}) {
    EXPECT_EQ(run.out.find(gone), std::string::npos) << gone;
  }
}

TEST_F(FinishedPages, MermaidPrintsEachBlockUnderItsOwnHeader) {
  const ProgramRun run = query({"mermaid", "protocol.md"});
  ASSERT_EQ(run.status, 0) << run.err;
  const std::vector<std::string> blocks = wiki::mermaid_blocks(read_text(pages / "protocol.md"));
  ASSERT_FALSE(blocks.empty());
  std::string expected;
  for (std::size_t i = 0; i < blocks.size(); ++i) {
    if (i > 0) expected += "\n";
    expected += "%% mermaid block " + std::to_string(i + 1) + " of " + std::to_string(blocks.size()) + "\n" + blocks[i] + "\n";
  }
  EXPECT_EQ(run.out, expected);
  const ProgramRun sequence = query({"mermaid", "quickstart.md"});
  EXPECT_TRUE(sequence.out.starts_with("%% mermaid block 1 of 1\nsequenceDiagram\n")) << sequence.out;
  EXPECT_EQ(query({"mermaid", "overview.md"}).out, "");
}

TEST_F(FinishedPages, HeadingsListTheAuthoredSectionsAndKeptBlocks) {
  EXPECT_EQ(query({"headings", "storage.md"}).out, "Overview\nPublic interface\nInternals\nErrors\n");
  EXPECT_EQ(query({"headings", "other.md"}).out, "Overview\nNotes\n");
  EXPECT_EQ(query({"headings", "--keep", "index", "other.md"}).out, "Overview\nNotes\nFiles\n");
  EXPECT_EQ(query({"headings", "-"}, read_text(pages / "storage.md")).out, "Overview\nPublic interface\nInternals\nErrors\n");
}

TEST_F(FinishedPages, AMissingPageFileIsTrouble) {
  const ProgramRun run = query({"headings", "nowhere.md"});
  EXPECT_EQ(run.status, 2);
  EXPECT_EQ(run.err, "nowhere.md: cannot read: No such file or directory\n");
}

TEST_F(FinishedPages, ContractDescribesThePageToAnAgent) {
  const ProgramRun run = run_program({"contract", "storage", repo.string()}, scratch.path());
  ASSERT_EQ(run.status, 0) << run.err;
  const Json contract = Json::parse(run.out);
  EXPECT_EQ(run.out, contract.dump(2) + "\n");
  EXPECT_EQ(contract["page_type"]["id"], "module");
  ASSERT_EQ(contract["diagrams"].size(), 1u);
  EXPECT_EQ(contract["diagrams"][0]["heading"], "Dependencies");
  EXPECT_EQ(contract["diagrams"][0]["section"], "Internals");
  std::vector<std::string> linked;
  for (const Json& target : contract["link_targets"]) linked.push_back(target["page_id"]);
  std::vector<std::string> others = example_page_ids(repo);
  std::erase(others, "storage");
  EXPECT_EQ(linked, others);

  const ProgramRun here = run_program({"contract", "--wiki", "wiki", "storage"}, repo);
  EXPECT_EQ(here.out, run.out);
  const ProgramRun unknown = run_program({"contract", "nothing", repo.string()}, scratch.path());
  EXPECT_EQ(unknown.status, 2);
  EXPECT_EQ(unknown.err, (repo / "wiki/wiki.json").string() + ": no page has the id 'nothing'\n");
}

}  // namespace
}  // namespace vantorel::tools::testing

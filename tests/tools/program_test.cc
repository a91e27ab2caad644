// The wiki-finalize program end to end: the built binary run on copies of the example wiki.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <nlohmann/json.hpp>
#include <sstream>

namespace vantorel::tools {
namespace {

namespace fs = std::filesystem;

std::string read_text(const fs::path& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream contents;
  contents << in.rdbuf();
  return contents.str();
}

void write_text(const fs::path& path, std::string_view text) { std::ofstream(path, std::ios::binary) << text; }

// Replaces the first `from` in the file at `path` with `to`; fails the test when there is none.
void edit(const fs::path& path, std::string_view from, std::string_view to) {
  std::string text = read_text(path);
  const std::size_t at = text.find(from);
  ASSERT_NE(at, std::string::npos) << "no \"" << from << "\" in " << path;
  write_text(path, text.replace(at, from.size(), to));
}

// Every regular file under `root` by relative path: its bytes, or its modification time in ns.
std::map<std::string, std::string> snapshot(const fs::path& root, bool times = false) {
  std::map<std::string, std::string> files;
  for (const auto& entry : fs::recursive_directory_iterator(root)) {
    struct stat info {};
    if (!entry.is_regular_file() || ::stat(entry.path().c_str(), &info) != 0) continue;
    files[fs::relative(entry.path(), root).string()] =
        times ? std::to_string(info.st_mtim.tv_sec * 1'000'000'000LL + info.st_mtim.tv_nsec) : read_text(entry.path());
  }
  return files;
}

struct ProgramRun {
  int status = -1;  // the exit code; -1 when the program did not exit normally
  std::string out;  // standard output
  std::string err;  // standard error
};

// A fresh copy of examples/ at <scratch>/repo, removed with the scratch folder.
class Program : public ::testing::Test {
 protected:
  static fs::path make_scratch() {
    std::string pattern = (fs::temp_directory_path() / "wiki-finalize-test-XXXXXX").string();
    if (::mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("cannot create a scratch folder");
    return pattern;
  }
  Program() { fs::copy(EXAMPLES_DIR, repo, fs::copy_options::recursive); }
  ~Program() override {
    std::error_code ignored;
    fs::remove_all(scratch, ignored);
  }

  // Runs the program in `cwd` (default: the scratch folder), `input` on standard input.
  ProgramRun run(const std::vector<std::string>& args, const fs::path& cwd = {}, std::string_view input = "") {
    auto quoted = [](std::string_view word) {
      std::string out = "'";
      for (char c : word) out.append(c == '\'' ? "'\\''" : std::string_view(&c, 1));
      return out.append("'");
    };
    write_text(scratch / "in", input);
    std::string command = "cd ";
    command.append(quoted((cwd.empty() ? scratch : cwd).string())).append(" && ").append(as_user).append(quoted(WIKI_FINALIZE_PROGRAM));
    for (const std::string& arg : args) command.append(" ").append(quoted(arg));
    command.append(" <").append(quoted((scratch / "in").string()));
    command.append(" >").append(quoted((scratch / "out").string())).append(" 2>").append(quoted((scratch / "err").string()));
    const int status = std::system(command.c_str());
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, read_text(scratch / "out"), read_text(scratch / "err")};
  }
  // Finalizes the copy and expects success.
  void finalize(std::vector<std::string> args = {}) {
    args.push_back("repo");
    const ProgramRun done = run(args);
    ASSERT_EQ(done.status, 0) << done.err;
  }

  std::string as_user;  // a command that runs the program as another user, with a blank after it
  fs::path scratch = make_scratch();
  fs::path repo = scratch / "repo";
  fs::path pages = repo / "wiki";
};

// --check and --diff write nothing, not even a manifest or a page they would change.
TEST_F(Program, CheckPassesAfterARunThenListsAnEditedPageAndDiffShowsTheChange) {
  finalize();
  const ProgramRun clean = run({"--check", "repo"});
  EXPECT_EQ(clean.status, 0) << clean.err;
  EXPECT_EQ(clean.out, "");
  const std::string page = read_text(pages / "log.md");
  write_text(pages / "log.md", page.substr(0, page.find("\n<!-- wiki:footer -->") + 1));
  const auto files = snapshot(repo), times = snapshot(repo, true);
  const ProgramRun check = run({"--check", "repo"});
  EXPECT_EQ(check.status, 1);
  EXPECT_EQ(check.out, "repo/wiki/log.md\n");
  const ProgramRun diff = run({"--check", "--diff", "repo"});
  EXPECT_EQ(diff.status, 1);
  EXPECT_TRUE(diff.out.starts_with("repo/wiki/log.md\n--- repo/wiki/log.md\n+++ repo/wiki/log.md\n@@ -")) << diff.out;
  EXPECT_NE(diff.out.find("\n+<!-- wiki:footer -->\n"), std::string::npos) << diff.out;
  EXPECT_EQ(snapshot(repo), files);
  EXPECT_EQ(snapshot(repo, true), times);
}

TEST_F(Program, AnyNumberOfJobsGivesTheSameFiles) {
  fs::copy(repo, scratch / "other", fs::copy_options::recursive);
  finalize({"--jobs", "1"});
  ASSERT_EQ(run({"--jobs=4", "other"}).status, 0);
  EXPECT_EQ(snapshot(repo), snapshot(scratch / "other"));
}

TEST_F(Program, ARenameFlowsThroughTheManifestIntoTheNextRun) {
  finalize();
  edit(pages / "wiki.json", "\"Protocol server\"", "\"Request server\"");
  finalize();
  EXPECT_NE(read_text(pages / "overview.md").find("The [Request server](server.md) wraps"), std::string::npos);
  const ProgramRun again = run({"repo"});
  EXPECT_EQ(again.err.find("was edited"), std::string::npos) << again.err;
  EXPECT_EQ(run({"--check", "repo"}).status, 0);
}

TEST_F(Program, CrlfPagesThenACheckPasses) {
  finalize({"--eol", "crlf"});
  const std::string page = read_text(pages / "server.md");
  for (std::size_t i = 0; i < page.size(); ++i) ASSERT_TRUE(page[i] != '\n' || (i > 0 && page[i - 1] == '\r')) << "byte " << i;
  EXPECT_EQ(run({"--check", "repo"}).status, 0);
  EXPECT_EQ(run({"--check", "--eol", "crlf", "repo"}).status, 0);
}

// Pages as models and people leave them settle in one run and keep every word: a page cut off
// inside a code fence (it used to grow on every run), bracketed paths in prose (they used to
// vanish), a closing marker deleted by hand (the old source list used to stay in the prose for
// good). What was repaired or lost is said with the file, line and column, as compilers say it.
TEST_F(Program, MessyPagesSettleInOneRunAndKeepEveryWord) {
  finalize();
  write_text(pages / "quickstart.md", "Intro.\n\n```sh\nmake\n");
  write_text(pages / "log.md", "The log lives in [src/log.c:1-20] and [README.md]; see [foo.bar], [x/y] and files[\"src/a.js\"].\n");
  edit(pages / "client.md", "</details>\n<!-- /wiki:sources -->", "</details>");
  edit(pages / "storage.md", "### Dependencies", "### Who depends on whom");
  const ProgramRun done = run({"repo"});
  EXPECT_EQ(done.status, 0);
  for (std::string_view report :
       {"repo/wiki/quickstart.md:3:1: warning: this code fence is never closed; a closing fence was added after line 4, the end of the prose [unclosed-fence]\n",
        "repo/wiki/log.md:1:18: note: the inline citation [src/log.c:1-20] now links to ../src/log.c#L1-L20, where it counts as a citation of the page [citation-linked]\n",
        "repo/wiki/log.md:1:67: warning: the inline citation [x/y] names no file of the repository; it was escaped and stays as text [citation-unresolved]\n",
        "repo/wiki/client.md:7:1: warning: the 'sources' block has no closing marker; its lines have the shape code writes there, so the block was closed after line 14 [unclosed-block]\n",
        ": warning: the 'Who depends on whom' diagram block was edited by hand; code writes it anew from the plan, so the edit is lost [block-edited]\n"}) {
    EXPECT_NE(done.err.find(report), std::string::npos) << report << "\n" << done.err;
  }
  EXPECT_NE(read_text(pages / "quickstart.md").find("```sh\nmake\n```\n"), std::string::npos);
  EXPECT_NE(read_text(pages / "log.md").find("The log lives in [src/log.c:1-20](../src/log.c#L1-L20) and [README.md](../README.md); see "
                                             "\\[foo.bar], \\[x/y] and files[\"src/a.js\"]."),
            std::string::npos);
  const std::string client = read_text(pages / "client.md");
  EXPECT_EQ(client.find("<details>"), client.rfind("<details>")) << client;
  EXPECT_EQ(read_text(pages / "storage.md").find("Who depends"), std::string::npos);
  const ProgramRun check = run({"--check", "repo"});
  EXPECT_EQ(check.status, 0) << check.out << check.err;
}

TEST_F(Program, UnchangedFilesKeepTheirModificationTimes) {
  finalize();
  edit(pages / "server.md", "\n\n## Usage", "\n## Usage");
  const struct timespec old_times[2] = {{.tv_sec = 1'000'000'000, .tv_nsec = 0}, {.tv_sec = 1'000'000'000, .tv_nsec = 0}};
  for (const auto& [path, time] : snapshot(repo)) ASSERT_EQ(::utimensat(AT_FDCWD, (repo / path).c_str(), old_times, 0), 0);
  finalize();
  for (const auto& [path, time] : snapshot(repo, true)) EXPECT_EQ(time == "1000000000000000000", path != "wiki/server.md") << path;
}

TEST_F(Program, BadInputExitsWithTwoAndAMessageNamingTheFile) {
  struct Case {
    void (*damage)(const fs::path& wiki);
    std::string_view expected;  // the message's start, after "repo/wiki/"
  };
  static const Case cases[] = {
      {[](const fs::path& w) { fs::remove(w / "wiki.json"); }, "wiki.json: error: no such file"},
      {[](const fs::path& w) { edit(w / "wiki.json", "\"pages\": [", "\"pages\": [}"); }, "wiki.json:10:13: error: not valid JSON"},
      {[](const fs::path& w) { edit(w / "wiki.json", "\"catch_all\": true", "\"catch_all\": 1"); },
       "wiki.json:79:20: error: pages[7].catch_all must be true or false, not a number"},
      {[](const fs::path& w) { edit(w / "wiki.json", "\"type\": \"guide\",", ""); },
       "wiki.json:65:5: error: pages[6] lacks the required field 'type'"},
      {[](const fs::path& w) { edit(w / "wiki.json", "\"quickstart\"", "\"server\""); },
       "wiki.json:66:18: error: page id 'server' is used twice (first on line 40)"},
      {[](const fs::path& w) { edit(w / "wiki.json", "\"quickstart\"", "\"../x\""); },
       "wiki.json:66:18: error: page id '../x' is not a plain file name"},
      {[](const fs::path& w) { edit(w / "wiki.json", "\"quickstart\"", "\"a/b\""); },
       "wiki.json:66:18: error: page id 'a/b' is not a plain file name"},
      {[](const fs::path& w) { edit(w / "wiki.json", "\"quickstart\"", "\"quick[start]\""); },
       "wiki.json:66:18: error: page id 'quick[start]' is not a plain file name"},
      {[](const fs::path& w) { edit(w / "wiki.json", "\"guide\"", "\"tutorial\""); }, "wiki.json:69:15: error: unknown page type 'tutorial'"},
      {[](const fs::path& w) { edit(w / "wiki.json", "\"title\": \"Cellar\"", "\"tilte\": \"Cellar\""); },
       "wiki.json:13:7: error: pages[0] has an unknown field 'tilte'"},
      {[](const fs::path& w) { edit(w / "wiki.json", "\"title\": \"Cellar\"", "\"title\": \"Cellar\", \"title\": \"X\""); },
       "wiki.json:13:26: error: the key 'title' appears twice in one object"},
      {[](const fs::path& w) { edit(w / "wiki.json", "\"title\": \"Cellar\"", "\"title\": \" Cellar\""); },
       "wiki.json:13:16: error: pages[0].title starts with white space; the title is the page's H1"},
      {[](const fs::path& w) { edit(w / "wiki.json", "\"title\": \"Cellar\"", "\"title\": \"Cel\\nlar\""); },
       "wiki.json:13:16: error: pages[0].title holds a line break"},
      {[](const fs::path& w) { edit(w / "wiki.json", "\"title\": \"Cellar\"", "\"title\": \"\""); }, "wiki.json:13:16: error: pages[0].title is empty"},
      {[](const fs::path& w) { edit(w / "wiki.json", "\"src/cellar.c\", \"src/cellar.h\"]", "\"src/cellar.c\", \"src/cellar.h\\r\"]"); },
       "wiki.json:25:40: error: pages[1].source_files[1] holds a line break; a path is one line"},
      {[](const fs::path& w) { fs::remove(w / "log.md"), fs::create_directory(w / "log.md"); }, "log.md: error: cannot read: Is a directory"},
      {[](const fs::path& w) { write_text(w / "manifest.json", "{\"log\": 3}"); },
       "manifest.json:1:9: error: the row of page 'log' must be an object, not a number"},
  };
  for (const Case& c : cases) {
    fs::remove_all(repo);
    fs::copy(EXAMPLES_DIR, repo, fs::copy_options::recursive);
    c.damage(pages);
    const auto files = snapshot(repo);
    const ProgramRun done = run({"repo"});
    EXPECT_EQ(done.status, 2) << c.expected;
    EXPECT_TRUE(done.err.starts_with(std::string("repo/wiki/").append(c.expected))) << done.err;
    EXPECT_EQ(done.err.find('\n'), done.err.size() - 1) << done.err;
    EXPECT_EQ(snapshot(repo), files) << c.expected;
  }
}

// A wiki folder `wiki` under `repo` with `count` small guide pages, each mentioning the next.
void write_big_wiki(const fs::path& repo, std::size_t count) {
  fs::create_directories(repo / "wiki");
  nlohmann::ordered_json pages = nlohmann::ordered_json::array();
  for (std::size_t i = 0; i < count; ++i) {
    const std::string id = std::string("p").append(std::to_string(i));
    pages.push_back({{"page_id", id}, {"title", std::string("Page ").append(std::to_string(i))}, {"type", i == 0 ? "overview" : "guide"}});
    write_text(repo / "wiki" / std::string(id).append(".md"),
               std::string("How to use it; see Page ").append(std::to_string(i + 1)).append(".\n\n## Steps\n\nRun it.\n"));
  }
  write_text(repo / "wiki" / "wiki.json", nlohmann::ordered_json{{"pages", pages}}.dump());
}

TEST_F(Program, OddBytesAHugePageAndAHugePlan) {
  write_text(pages / "log.md", "\xFF\xFE# Log\n\nRecords \x80\xC3 and \r stray bytes.\n\n```\n\xFF\n```\n");
  std::string huge;
  while (huge.size() < 50'000'000) huge.append("The Storage engine keeps `src/cellar.c` in memory; see the Protocol server.\n\n");
  write_text(pages / "quickstart.md", huge);
  finalize();
  EXPECT_EQ(run({"--check", "repo"}).status, 0);
  EXPECT_NE(read_text(pages / "log.md").find("Records \x80\xC3 and \n stray bytes."), std::string::npos);  // a lone "\r" ends a line
  EXPECT_GT(fs::file_size(pages / "quickstart.md"), huge.size());

  write_big_wiki(scratch / "big", 20'000);
  const ProgramRun done = run({"--jobs", "2", "big"});
  ASSERT_EQ(done.status, 0) << done.err;
  EXPECT_NE(done.err.find("20000 pages, 20000 changed"), std::string::npos) << done.err;
  EXPECT_NE(read_text(scratch / "big" / "wiki" / "p7.md").find("[Page 8](p8.md)"), std::string::npos);
}

// SIGINT in the middle of a run: exit code 130, and every page file whole, either as it was or
// as an uninterrupted run writes it, with no temporary file left.
TEST_F(Program, AnInterruptLeavesEveryPageWholeAndExitsWith130) {
  write_big_wiki(scratch / "before", 20'000);
  fs::copy(scratch / "before", scratch / "after", fs::copy_options::recursive);
  ASSERT_EQ(run({"after"}).status, 0);
  for (const int delay_ms : {300, 1000, 100}) {
    fs::remove_all(scratch / "cut");
    fs::copy(scratch / "before", scratch / "cut", fs::copy_options::recursive);
    const pid_t child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
      const int null = ::open("/dev/null", O_WRONLY);
      ::dup2(null, 1), ::dup2(null, 2);
      const std::string folder = (scratch / "cut").string();
      ::execl(WIKI_FINALIZE_PROGRAM, WIKI_FINALIZE_PROGRAM, folder.c_str(), static_cast<char*>(nullptr));
      ::_exit(127);
    }
    ::usleep(static_cast<useconds_t>(delay_ms) * 1000);
    ::kill(child, SIGINT);
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    if (!WIFEXITED(status)) continue;  // the signal came before the program caught it: wait longer
    const auto before = snapshot(scratch / "before"), after = snapshot(scratch / "after"), cut = snapshot(scratch / "cut");
    for (const auto& [path, text] : cut) {
      EXPECT_FALSE(fs::path(path).filename().string().starts_with(".")) << "a temporary file was left: " << path;
      EXPECT_TRUE((before.contains(path) && before.at(path) == text) || (after.contains(path) && after.at(path) == text)) << path;
    }
    if (WEXITSTATUS(status) == 130) return;
    EXPECT_EQ(WEXITSTATUS(status), 0);  // done before the signal came
  }
  ADD_FAILURE() << "no run was interrupted";
}

// A wiki folder the program may not write to: refused before anything is read or written, while
// --check, which writes nothing, still works. Root may write anywhere, so root runs it as nobody.
TEST_F(Program, AReadOnlyWikiFolderIsRefusedUpFront) {
  if (::geteuid() == 0) as_user = "setpriv --reuid=65534 --regid=65534 --clear-groups ";
  fs::permissions(scratch, fs::perms::others_read | fs::perms::others_exec, fs::perm_options::add);
  const fs::perms writable = fs::perms::owner_write | fs::perms::group_write | fs::perms::others_write;
  fs::permissions(pages, writable, fs::perm_options::remove);
  const auto files = snapshot(repo, true);
  const ProgramRun done = run({"repo"});
  EXPECT_EQ(done.status, 2);
  EXPECT_EQ(done.err, "repo/wiki: error: cannot write to this folder: Permission denied [unwritable-file]\n");
  const ProgramRun check = run({"--check", "repo"});
  EXPECT_EQ(check.status, 1) << check.err;
  EXPECT_TRUE(check.out.starts_with("repo/wiki/")) << check.out;
  EXPECT_EQ(snapshot(repo, true), files);
  fs::permissions(pages, fs::perms::owner_write, fs::perm_options::add);
}

TEST_F(Program, HelpVersionAndUsageErrors) {
  struct Case {
    std::vector<std::string> args;
    int status;
    std::string out_start, err_end;  // empty: nothing on that stream
  };
  const Case cases[] = {
      {{"--help"}, 0, "Usage: wiki-finalize [OPTIONS] [REPO]\n", ""},
      {{"--version"}, 0, std::string("wiki-finalize ").append(WIKI_FINALIZE_VERSION).append("\n"), ""},
      {{"--jobs", "0"}, 2, "", "\nTry 'wiki-finalize --help' for more information.\n"},
  };
  for (const Case& c : cases) {
    const ProgramRun done = run(c.args);
    EXPECT_EQ(done.status, c.status) << c.args[0];
    EXPECT_TRUE(done.out.starts_with(c.out_start) && done.out.empty() == c.out_start.empty()) << done.out;
    EXPECT_TRUE(done.err.ends_with(c.err_end) && done.err.empty() == c.err_end.empty()) << done.err;
  }
}

TEST_F(Program, ReadOnlySubcommandsOnAFinishedPage) {
  finalize();
  const std::string headings = "Overview\nPublic interface\nInternals\nErrors\n";
  EXPECT_EQ(run({"headings", "storage.md"}, pages).out, headings);
  EXPECT_EQ(run({"headings", "-"}, pages, read_text(pages / "storage.md")).out, headings);
  const std::string text = run({"search-text", "wiki/storage.md"}, repo).out;
  EXPECT_TRUE(text.starts_with("# Storage engine\n")) << text;
  EXPECT_NE(text.find("\n## Errors\n"), std::string::npos);
  for (std::string_view gone : {"Relevant source files", "<!--", "```mermaid", "Previous:"}) EXPECT_EQ(text.find(gone), std::string::npos);
  EXPECT_TRUE(run({"mermaid", "storage.md"}, pages).out.starts_with("%% mermaid block 1 of 1\nflowchart LR\n"));
  const nlohmann::json contract = nlohmann::json::parse(run({"contract", "storage", "repo"}).out);
  EXPECT_EQ(contract["page_type"]["id"], "module");
  EXPECT_EQ(contract["diagrams"][0]["section"], "Internals");
}

}  // namespace
}  // namespace vantorel::tools

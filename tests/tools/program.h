// Test support for the wiki-finalize program: running the built binary, scratch folders, and
// snapshots of a folder's files.
#pragma once

#include <filesystem>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace vantorel::tools::testing {

// What one run of the program gave.
struct ProgramRun {
  int status = -1;  // the exit code; -1 when the program did not exit normally
  std::string out;  // standard output
  std::string err;  // standard error
};

// Runs the built wiki-finalize with `args` in the folder `cwd`, with `input` on standard input.
ProgramRun run_program(const std::vector<std::string>& args, const std::filesystem::path& cwd, std::string_view input = "");

// A fresh empty folder, removed with everything in it when the object goes.
class ScratchFolder {
 public:
  ScratchFolder();
  ScratchFolder(const ScratchFolder&) = delete;
  ScratchFolder& operator=(const ScratchFolder&) = delete;
  ~ScratchFolder();
  const std::filesystem::path& path() const { return path_; }

 private:
  std::filesystem::path path_;
};

// The example repository (examples/ of the source tree) copied into `folder`/`name`; returns
// the copy's path.
std::filesystem::path copy_example(const std::filesystem::path& folder, std::string_view name = "repo");

// Every regular file under `root`, by path relative to `root`, with its bytes.
std::map<std::string, std::string> snapshot(const std::filesystem::path& root);

// Modification times of every regular file under `root`, in nanoseconds, by relative path.
std::map<std::string, long long> mtimes(const std::filesystem::path& root);

std::string read_text(const std::filesystem::path& path);
void write_text(const std::filesystem::path& path, std::string_view text);

// `text` with the first occurrence of `from` replaced by `to`; fails the test when there is none.
std::string replace_once(std::string text, std::string_view from, std::string_view to);

}  // namespace vantorel::tools::testing

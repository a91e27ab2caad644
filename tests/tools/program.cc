#include "program.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <sstream>

namespace vantorel::tools::testing {

namespace fs = std::filesystem;

ProgramRun run_program(const std::vector<std::string>& args, const fs::path& cwd, std::string_view input) {
  const ScratchFolder io;
  const std::string in_path = (io.path() / "in").string();
  const std::string out_path = (io.path() / "out").string();
  const std::string err_path = (io.path() / "err").string();
  write_text(in_path, input);

  std::vector<std::string> owned = {WIKI_FINALIZE_PROGRAM};
  owned.insert(owned.end(), args.begin(), args.end());
  std::vector<char*> argv;
  for (std::string& arg : owned) argv.push_back(arg.data());
  argv.push_back(nullptr);
  const std::string dir = cwd.string();

  const pid_t child = ::fork();
  if (child == 0) {
    // Only async-signal-safe calls between fork and exec.
    const int in = ::open(in_path.c_str(), O_RDONLY);
    const int out = ::open(out_path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    const int err = ::open(err_path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    if (in < 0 || out < 0 || err < 0 || ::chdir(dir.c_str()) != 0) ::_exit(127);
    ::dup2(in, STDIN_FILENO);
    ::dup2(out, STDOUT_FILENO);
    ::dup2(err, STDERR_FILENO);
    ::execv(argv[0], argv.data());
    ::_exit(127);
  }
  ProgramRun run;
  int status = 0;
  if (child > 0 && ::waitpid(child, &status, 0) == child && WIFEXITED(status)) run.status = WEXITSTATUS(status);
  run.out = read_text(out_path);
  run.err = read_text(err_path);
  return run;
}

ScratchFolder::ScratchFolder() {
  std::string pattern = (fs::temp_directory_path() / "wiki-finalize-test-XXXXXX").string();
  if (::mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("cannot create a scratch folder");
  path_ = pattern;
}

ScratchFolder::~ScratchFolder() {
  std::error_code ignored;
  // A test may have taken write permission away; give it back so everything can go.
  fs::permissions(path_, fs::perms::owner_all, fs::perm_options::add, ignored);
  for (const auto& entry : fs::recursive_directory_iterator(path_, ignored)) {
    if (entry.is_directory(ignored)) fs::permissions(entry.path(), fs::perms::owner_all, fs::perm_options::add, ignored);
  }
  fs::remove_all(path_, ignored);
}

fs::path copy_example(const fs::path& folder, std::string_view name) {
  const fs::path target = folder / name;
  fs::copy(EXAMPLES_DIR, target, fs::copy_options::recursive);
  return target;
}

std::map<std::string, std::string> snapshot(const fs::path& root) {
  std::map<std::string, std::string> files;
  for (const auto& entry : fs::recursive_directory_iterator(root)) {
    if (entry.is_regular_file()) files[fs::relative(entry.path(), root).string()] = read_text(entry.path());
  }
  return files;
}

std::map<std::string, long long> mtimes(const fs::path& root) {
  std::map<std::string, long long> times;
  for (const auto& entry : fs::recursive_directory_iterator(root)) {
    struct stat info {};
    if (entry.is_regular_file() && ::stat(entry.path().c_str(), &info) == 0) {
      times[fs::relative(entry.path(), root).string()] = info.st_mtim.tv_sec * 1'000'000'000LL + info.st_mtim.tv_nsec;
    }
  }
  return times;
}

std::string read_text(const fs::path& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream contents;
  contents << in.rdbuf();
  return contents.str();
}

void write_text(const fs::path& path, std::string_view text) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out.write(text.data(), static_cast<std::streamsize>(text.size()));
}

std::string replace_once(std::string text, std::string_view from, std::string_view to) {
  const std::size_t at = text.find(from);
  EXPECT_NE(at, std::string::npos) << "no \"" << from << "\" in the text";
  if (at != std::string::npos) text.replace(at, from.size(), to);
  return text;
}

}  // namespace vantorel::tools::testing

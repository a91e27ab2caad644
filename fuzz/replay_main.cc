// The main of a fuzz target built without libFuzzer: runs the target once over every file given on
// the command line, and over every file below each folder given, in name order. A broken invariant
// aborts inside the target; the last "running" line names the input.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

bool run_file(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  if (!in) {
    std::fprintf(stderr, "replay: cannot read %s\n", path.c_str());
    return false;
  }
  const std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  std::fprintf(stderr, "replay: running %s (%zu bytes)\n", path.c_str(), bytes.size());
  LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) {
    std::fprintf(stderr, "usage: %s FILE_OR_FOLDER...\n", argv[0]);
    return 2;
  }
  std::size_t runs = 0;
  bool ok = true;
  for (int i = 1; i < argc; ++i) {
    const std::filesystem::path arg(argv[i]);
    std::vector<std::filesystem::path> files;
    if (std::filesystem::is_directory(arg)) {
      for (const auto& entry : std::filesystem::recursive_directory_iterator(arg))
        if (entry.is_regular_file()) files.push_back(entry.path());
      std::sort(files.begin(), files.end());
      if (files.empty()) {
        std::fprintf(stderr, "replay: no files in %s\n", argv[i]);
        ok = false;
      }
    } else {
      files.push_back(arg);
    }
    for (const auto& file : files) {
      const bool ran = run_file(file);
      runs += ran;
      ok = ran && ok;
    }
  }
  std::fprintf(stderr, "replay: %zu inputs run\n", runs);
  return ok ? 0 : 1;
}

// A scratch repository for tests that read files: a fresh folder under the system's temporary
// folder, removed with everything in it when the object goes.
//
//   const TempRepository repo;
//   repo.write("src/a.c", "int x;\n");  // creates src/ too
#pragma once

#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <string_view>
#include <system_error>

namespace vantorel::test_support {

class TempRepository {
 public:
  TempRepository() {
    std::random_device seed;
    std::string name = "vantorel-test-";
    name.append(std::to_string(seed())).append("-").append(std::to_string(seed()));
    root_ = std::filesystem::temp_directory_path() / name;
    std::filesystem::create_directories(root_);
  }
  ~TempRepository() {
    std::error_code ignored;
    std::filesystem::remove_all(root_, ignored);
  }
  TempRepository(const TempRepository&) = delete;
  TempRepository& operator=(const TempRepository&) = delete;

  // Writes `text` byte for byte to `path` (relative to the root), creating its folders.
  void write(std::string_view path, std::string_view text) const {
    const std::filesystem::path file = root_ / path;
    std::filesystem::create_directories(file.parent_path());
    std::ofstream(file, std::ios::binary).write(text.data(), static_cast<std::streamsize>(text.size()));
  }

  // The repository folder.
  const std::filesystem::path& root() const { return root_; }

 private:
  std::filesystem::path root_;
};

}  // namespace vantorel::test_support

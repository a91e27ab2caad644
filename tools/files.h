// Whole files in and out, for the wiki-finalize program.
//
//   std::optional<std::string> page = read_file("wiki/cli.md", "wiki/cli.md");  // nullopt: no such file
//   StagedFile::write("wiki/cli.md", finished, "wiki/cli.md").commit();  // readers see the old file or the new one
//
// Every function names the file it failed on with its display name (the path as the user wrote
// it) and throws `InputError`; nothing here prints.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

namespace vantorel::tools {

// The bytes of the file at `path`, or nullopt when there is no file there (no entry, or a
// folder on the way that does not exist). Any other failure, a folder in its place included,
// throws InputError("<display>: cannot read: <reason>").
std::optional<std::string> read_file(const std::filesystem::path& path, std::string_view display);

// The bytes of standard input, read to its end.
std::string read_standard_input();

// A file written next to its destination, not yet in place: readers of the destination see the
// old file (or none) until `commit` renames the new one over it, so they never see a part. A
// staged file that is never committed is removed when the object goes.
//
//   StagedFile page = StagedFile::write("wiki/cli.md", finished, "wiki/cli.md");
//   sync_file_system("wiki", "wiki");  // the new bytes are on the disk before any rename
//   page.commit();
class StagedFile {
 public:
  // Writes `contents` to a temporary file in the folder of `path` (".<name>.XXXXXX") with the
  // permission bits of the file it will replace (new files: 0666 less the umask). On failure the
  // temporary file is removed and InputError("<display>: cannot write: <reason>") is thrown.
  static StagedFile write(const std::filesystem::path& path, std::string_view contents, std::string_view display);

  StagedFile() = default;
  StagedFile(StagedFile&& other) noexcept;
  StagedFile& operator=(StagedFile&& other) noexcept;
  ~StagedFile();

  // Renames the temporary file over the destination; throws InputError on failure (the
  // temporary file is then removed). Does nothing for a default-constructed or committed file.
  void commit();

 private:
  std::filesystem::path path_{};
  std::string temporary_{};  // empty once committed or removed
  std::string display_{};
};

// Flushes to the disk everything written to the file system that holds `folder`, so that staged
// files are complete on the disk before they are renamed into place. Throws InputError.
void sync_file_system(const std::filesystem::path& folder, std::string_view display);

// Flushes `folder`'s entries (the renames into it) to the disk. Throws InputError.
void sync_folder(const std::filesystem::path& folder, std::string_view display);

// Throws InputError("<display>: cannot write to this folder: <reason>") unless the program may
// create files in `folder` (it asks the system; it creates nothing). A read-only file system
// counts as a folder that cannot be written.
void check_writable_folder(const std::filesystem::path& folder, std::string_view display);

}  // namespace vantorel::tools

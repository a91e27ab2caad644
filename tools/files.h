// Whole files in and out, for the wiki-finalize program.
//
//   std::optional<std::string> page = read_file("wiki/cli.md", "wiki/cli.md");  // nullopt: no such file
//   write_atomically("wiki/cli.md", finished, "wiki/cli.md");  // readers see the old file or the new one
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

// Replaces the file at `path` with `contents` so that a reader sees either the old file or the
// new one, never a part: the bytes go to a temporary file in the same folder, are flushed to the
// disk, and the temporary file is renamed over `path`. The new file keeps the permission bits of
// the file it replaces (new files get 0666 less the umask). On failure the temporary file is
// removed, `path` is untouched, and InputError("<display>: cannot write: <reason>") is thrown.
void write_atomically(const std::filesystem::path& path, std::string_view contents, std::string_view display);

// Throws InputError("<display>: cannot write to this folder: <reason>") unless the program may
// create files in `folder` (it asks the system; it creates nothing). A read-only file system
// counts as a folder that cannot be written.
void check_writable_folder(const std::filesystem::path& folder, std::string_view display);

}  // namespace vantorel::tools

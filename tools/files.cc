#include "files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <utility>

#include "errors.h"

namespace vantorel::tools {

namespace {

std::string reason(int error) { return std::strerror(error); }

[[noreturn]] void fail(std::string_view display, std::string_view what, int error) {
  std::string message(what);
  message.append(": ").append(reason(error));
  throw InputError(display, what.starts_with("cannot read") ? "unreadable-file" : "unwritable-file", std::move(message));
}

// Closes a file descriptor when it goes out of scope.
class Descriptor {
 public:
  explicit Descriptor(int fd) noexcept : fd_(fd) {}
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  ~Descriptor() {
    if (fd_ >= 0) ::close(fd_);
  }
  int get() const noexcept { return fd_; }
  // Closes now, reporting the error close gives (0 when none).
  int close() noexcept {
    const int fd = fd_;
    fd_ = -1;
    return ::close(fd) == 0 ? 0 : errno;
  }

 private:
  int fd_;
};

// Appends everything `fd` still has to `out`; returns 0, or the errno of the failed read.
int read_all(int fd, std::string& out) {
  char buffer[1 << 16];
  for (;;) {
    const ssize_t n = ::read(fd, buffer, sizeof buffer);
    if (n == 0) return 0;
    if (n < 0) {
      if (errno == EINTR) continue;
      return errno;
    }
    out.append(buffer, static_cast<std::size_t>(n));
  }
}

// 0666 less the process's umask: the mode `open` gives a new file.
mode_t new_file_mode() {
  // Read once, before any thread runs: umask can only be read by setting it.
  static const mode_t mask = [] {
    const mode_t m = ::umask(0);
    ::umask(m);
    return m;
  }();
  return 0666 & ~mask;
}

// A temporary file next to `path` (".<name>.XXXXXX"), created and open for writing.
struct TemporaryFile {
  std::string name;
  int fd = -1;
};

TemporaryFile create_temporary(const std::filesystem::path& path) {
  std::filesystem::path pattern = path.parent_path();
  std::string name = ".";
  name.append(path.filename().string()).append(".XXXXXX");
  pattern /= name;
  TemporaryFile temporary{.name = pattern.string()};
  temporary.fd = ::mkstemp(temporary.name.data());
  return temporary;
}

}  // namespace

std::optional<std::string> read_file(const std::filesystem::path& path, std::string_view display) {
  int fd;
  do {
    fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
  } while (fd < 0 && errno == EINTR);
  if (fd < 0) {
    if (errno == ENOENT) return std::nullopt;
    fail(display, "cannot read", errno);
  }
  Descriptor file(fd);
  std::string contents;
  struct stat info {};
  if (::fstat(fd, &info) == 0 && S_ISREG(info.st_mode) && info.st_size > 0) contents.reserve(static_cast<std::size_t>(info.st_size));
  if (const int error = read_all(fd, contents)) fail(display, "cannot read", error);
  return contents;
}

std::string read_standard_input() {
  std::string contents;
  if (const int error = read_all(STDIN_FILENO, contents)) fail("<stdin>", "cannot read", error);
  return contents;
}

StagedFile StagedFile::write(const std::filesystem::path& path, std::string_view contents, std::string_view display) {
  struct stat old {};
  const mode_t mode = ::stat(path.c_str(), &old) == 0 ? (old.st_mode & 07777) : new_file_mode();

  TemporaryFile temporary = create_temporary(path);
  if (temporary.fd < 0) fail(display, "cannot write", errno);
  StagedFile staged;
  staged.path_ = path;
  staged.temporary_ = std::move(temporary.name);
  staged.display_ = display;
  Descriptor file(temporary.fd);
  const char* data = contents.data();
  std::size_t left = contents.size();
  while (left > 0) {
    const ssize_t n = ::write(file.get(), data, left);
    if (n < 0) {
      if (errno == EINTR) continue;
      fail(display, "cannot write", errno);
    }
    data += n;
    left -= static_cast<std::size_t>(n);
  }
  if (::fchmod(file.get(), mode) != 0) fail(display, "cannot write", errno);
  if (const int error = file.close()) fail(display, "cannot write", error);
  return staged;
}

StagedFile::StagedFile(StagedFile&& other) noexcept
    : path_(std::move(other.path_)), temporary_(std::exchange(other.temporary_, {})), display_(std::move(other.display_)) {}

StagedFile& StagedFile::operator=(StagedFile&& other) noexcept {
  if (this != &other) {
    if (!temporary_.empty()) ::unlink(temporary_.c_str());
    path_ = std::move(other.path_);
    temporary_ = std::exchange(other.temporary_, {});
    display_ = std::move(other.display_);
  }
  return *this;
}

StagedFile::~StagedFile() {
  if (!temporary_.empty()) ::unlink(temporary_.c_str());
}

void StagedFile::commit() {
  if (temporary_.empty()) return;
  if (::rename(temporary_.c_str(), path_.c_str()) != 0) fail(display_, "cannot write", errno);
  temporary_.clear();
}

void sync_file_system(const std::filesystem::path& folder, std::string_view display) {
  Descriptor dir(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (dir.get() < 0 || ::syncfs(dir.get()) != 0) fail(display, "cannot write", errno);
}

void sync_folder(const std::filesystem::path& folder, std::string_view display) {
  Descriptor dir(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (dir.get() < 0 || ::fsync(dir.get()) != 0) fail(display, "cannot write", errno);
}

void check_writable_folder(const std::filesystem::path& folder, std::string_view display) {
  // Asked, not tried: creating a probe file would change the folder even when no page does.
  if (::faccessat(AT_FDCWD, folder.c_str(), W_OK | X_OK, AT_EACCESS) != 0) fail(display, "cannot write to this folder", errno);
}

}  // namespace vantorel::tools

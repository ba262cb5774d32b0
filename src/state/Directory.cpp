#include "state/Directory.h"

#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <sys/file.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace state {
namespace {

constexpr const char* kLockName = ".lock";
constexpr mode_t kPrivateDirectory = 0700;
constexpr mode_t kPrivateFile = 0600;

[[noreturn]] void fail(const std::string& path, const char* what) {
  throw std::system_error(errno, std::generic_category(), path + ": " + what);
}

/// A file descriptor that is closed with its owner.
class Descriptor {
 public:
  explicit Descriptor(int descriptor) : mDescriptor(descriptor) {}
  ~Descriptor() {
    if (mDescriptor >= 0) close(mDescriptor);
  }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;

  int get() const { return mDescriptor; }
  int release() { return std::exchange(mDescriptor, -1); }

 private:
  int mDescriptor;
};

std::string environment(const char* name) {
  const char* value = std::getenv(name);
  return value != nullptr ? value : "";
}

int openForever(int directory, const char* name, int flags) {
  return openat(directory, name, flags | O_CLOEXEC | O_NOFOLLOW, kPrivateFile);
}

void writeAll(int descriptor, const std::string& content, const std::string& path) {
  std::size_t written = 0;
  while (written < content.size()) {
    const ssize_t count = ::write(descriptor, content.data() + written, content.size() - written);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) fail(path, "cannot be written");
    written += static_cast<std::size_t>(count);
  }
}

/// What root writes for a service that runs as somebody else must be the service's.
void giveToOwnerOf(int directory, int file, const std::string& path) {
  struct stat owner {};
  if (fstat(directory, &owner) != 0) fail(path, "cannot be looked at");
  if (owner.st_uid == geteuid() && owner.st_gid == getegid()) return;
  if (fchown(file, owner.st_uid, owner.st_gid) != 0 && geteuid() == 0) fail(path, "cannot be given to its owner");
}

/// Whoever may write to the directory decides who is let in. Root may work on what is a service's.
void insistOnPrivacy(int directory, const std::string& path) {
  struct stat found {};
  if (fstat(directory, &found) != 0) fail(path, "cannot be looked at");
  errno = EPERM;
  if ((found.st_mode & (S_IWGRP | S_IWOTH)) != 0) {
    fail(path, "others than its owner may write to it, which chmod go-w takes from them");
  }
  if (geteuid() != 0 && found.st_uid != geteuid()) fail(path, "it belongs to another user");
}

}  // namespace

std::string defaultDirectory() {
  const std::string given = environment("STATE_DIRECTORY");
  if (!given.empty()) return given.substr(0, given.find(':'));
  if (geteuid() == 0) return "/var/lib/kvt-server";
  const std::string home = environment("XDG_STATE_HOME");
  return (home.empty() ? environment("HOME") + "/.local/state" : home) + "/kvt-server";
}

Directory::Lock::Lock(const Directory& directory)
    : mDescriptor(openForever(directory.mDescriptor, kLockName, O_RDWR | O_CREAT)) {
  if (mDescriptor < 0) fail(directory.mPath, "cannot be locked");
  Descriptor guard(mDescriptor);
  giveToOwnerOf(directory.mDescriptor, mDescriptor, directory.pathOf(kLockName));
  while (flock(mDescriptor, LOCK_EX) != 0) {
    if (errno != EINTR) fail(directory.mPath, "cannot be locked");
  }
  (void)guard.release();
}

Directory::Lock::~Lock() {
  close(mDescriptor);
}

Directory::Directory(std::string path) : mPath(std::move(path)) {
  std::error_code error;
  const auto parent = std::filesystem::path(mPath).parent_path();
  if (!parent.empty()) std::filesystem::create_directories(parent, error);
  if (mkdir(mPath.c_str(), kPrivateDirectory) != 0 && errno != EEXIST) fail(mPath, "cannot be made");
  mDescriptor = open(mPath.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (mDescriptor < 0) fail(mPath, "cannot be opened");
  Descriptor guard(mDescriptor);
  insistOnPrivacy(mDescriptor, mPath);
  (void)guard.release();
}

Directory::~Directory() {
  close(mDescriptor);
}

std::optional<std::string> Directory::read(const std::string& name) const {
  const Descriptor file(openForever(mDescriptor, name.c_str(), O_RDONLY));
  if (file.get() < 0 && errno == ENOENT) return std::nullopt;
  if (file.get() < 0) fail(pathOf(name), "cannot be opened");
  std::string content;
  std::string piece(64 * 1024, '\0');
  while (true) {
    const ssize_t count = ::read(file.get(), piece.data(), piece.size());
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) fail(pathOf(name), "cannot be read");
    if (count == 0) return content;
    content.append(piece, 0, static_cast<std::size_t>(count));
    if (content.size() > kMaxFileBytes) {
      errno = EFBIG;
      fail(pathOf(name), "cannot be read");
    }
  }
}

std::string Directory::version(const std::string& name) const {
  struct stat file {};
  if (fstatat(mDescriptor, name.c_str(), &file, AT_SYMLINK_NOFOLLOW) != 0) return "";
  return std::to_string(file.st_ino) + "/" + std::to_string(file.st_size) + "/" + std::to_string(file.st_mtim.tv_sec) +
         "." + std::to_string(file.st_mtim.tv_nsec);
}

void Directory::write(const std::string& name, const std::string& content) const {
  const std::string temporary = "." + name + "." + std::to_string(getpid()) + "." + std::to_string(gettid());
  const std::string path = pathOf(temporary);
  unlinkat(mDescriptor, temporary.c_str(), 0);  // of a process that crashed here once
  const Descriptor file(openForever(mDescriptor, temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL));
  if (file.get() < 0) fail(path, "cannot be made");
  try {
    giveToOwnerOf(mDescriptor, file.get(), path);
    writeAll(file.get(), content, path);
    if (fsync(file.get()) != 0) fail(path, "cannot be written");
    if (renameat(mDescriptor, temporary.c_str(), mDescriptor, name.c_str()) != 0) {
      fail(pathOf(name), "cannot be replaced");
    }
  } catch (...) {
    unlinkat(mDescriptor, temporary.c_str(), 0);
    throw;
  }
  fsync(mDescriptor);
}

}  // namespace state

#pragma once

#include <cstddef>
#include <optional>
#include <string>

/// What the server keeps on disk from one start to the next. The server and the command line of its administrator work
/// on the same files, at the same time.
namespace state {

/// What systemd gives the service ($STATE_DIRECTORY), else /var/lib/kvt-server for root and $XDG_STATE_HOME/kvt-server,
/// mostly ~/.local/state/kvt-server, for everybody else.
std::string defaultDirectory();

/// A directory of small files that only their owner may read. Files are replaced as a whole, so that a reader sees one
/// state or the next, also after a crash. Safe for every thread and process; who reads, changes and writes holds the
/// lock meanwhile.
class Directory {
 public:
  static constexpr std::size_t kMaxFileBytes = 16 * 1024 * 1024;

  /// Held from construction to destruction. Others wait.
  class Lock {
   public:
    explicit Lock(const Directory& directory);
    ~Lock();
    Lock(const Lock&) = delete;
    Lock& operator=(const Lock&) = delete;

   private:
    int mDescriptor;
  };

  /// Makes the directory where it is missing. Throws std::system_error when that cannot be done, when others may write
  /// to it, and when it is somebody else's, unless root asks.
  explicit Directory(std::string path);
  ~Directory();
  Directory(const Directory&) = delete;
  Directory& operator=(const Directory&) = delete;

  const std::string& path() const { return mPath; }
  std::string pathOf(const std::string& name) const { return mPath + "/" + name; }

  /// A file's content; nothing when there is no such file. Throws std::system_error when it cannot be read, or is
  /// larger than a file may be.
  std::optional<std::string> read(const std::string& name) const;

  /// Something that changes with every replacement of the file, to be compared; "" when there is none.
  std::string version(const std::string& name) const;

  /// Replaces a file, and has it on the disk on return. It belongs to whom the directory belongs to. Throws
  /// std::system_error, and the file is then as it was.
  void write(const std::string& name, const std::string& content) const;

 private:
  const std::string mPath;
  int mDescriptor = -1;
};

}  // namespace state

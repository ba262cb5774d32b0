#pragma once

#include <cstdlib>
#include <filesystem>
#include <string>

namespace host_test {

/// A directory that is gone with its owner.
class TemporaryDirectory {
 public:
  TemporaryDirectory() {
    std::string name = std::filesystem::temp_directory_path() / "kvt-peers-XXXXXX";
    mPath = mkdtemp(name.data());
  }
  ~TemporaryDirectory() { std::filesystem::remove_all(mPath); }
  TemporaryDirectory(const TemporaryDirectory&) = delete;
  TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;

  const std::filesystem::path& path() const { return mPath; }

 private:
  std::filesystem::path mPath;
};

}  // namespace host_test

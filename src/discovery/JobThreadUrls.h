#pragma once

#include <cstddef>
#include <map>
#include <mutex>
#include <string>

namespace discovery {

/// Which service URL the job on each thread asks for. A thread runs one job at a time, so there are never more entries
/// than threads that ran one. Safe for every thread.
class JobThreadUrls {
 public:
  JobThreadUrls() = default;
  JobThreadUrls(const JobThreadUrls&) = delete;
  JobThreadUrls& operator=(const JobThreadUrls&) = delete;

  /// What an earlier job left behind is overwritten.
  void set(const std::string& threadId, const std::string& url);
  /// "" when the thread has none.
  std::string find(const std::string& threadId) const;
  /// Takes the thread's entry out if it is of this URL.
  void erase(const std::string& threadId, const std::string& url);
  std::size_t size() const;

 private:
  mutable std::mutex mMutex;  ///< guards what follows
  std::map<std::string, std::string> mUrls;
};

}  // namespace discovery

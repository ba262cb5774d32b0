#pragma once

#include <string>
#include <vector>

namespace discovery {

/// What a dispatch needs of the thread pool and of the world: an interface, so that it can be watched at work.
class JobRunner {
 public:
  /// Jobs accepted and not finished.
  virtual int runningJobs() = 0;
  virtual void addJob(const std::string& serviceUrl) = 0;
  /// A moment without work.
  virtual void sleep() = 0;
  virtual bool isStopped() = 0;

 protected:
  JobRunner() = default;
  ~JobRunner() = default;
};

/// Gives each URL one job, in the order of the URLs, as long as no more than `maxThreads` jobs run; those that are held
/// back get theirs in a later turn. Returns when as many jobs were made as there are URLs, or at a stop: a list that
/// holds a URL twice is never done with. Time n log n in the number of URLs, apart from the sleeping.
void dispatchJobs(const std::vector<std::string>& serviceUrls, unsigned int maxThreads, JobRunner& runner);

}  // namespace discovery

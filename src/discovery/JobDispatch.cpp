#include "discovery/JobDispatch.h"

#include <list>
#include <set>
#include <string_view>

namespace discovery {
namespace {

class Dispatch {
 public:
  Dispatch(const std::vector<std::string>& serviceUrls, unsigned int maxThreads, JobRunner& runner)
      : mSize(serviceUrls.size()),
        mMaxThreads(maxThreads),
        mRunner(runner),
        mWaiting(serviceUrls.begin(), serviceUrls.end()) {}

  bool isDone() const { return mDispatched.size() == mSize; }

  /// One turn over the URLs that wait. It ends early when a job is done as soon as it was added.
  void runTurn() {
    const std::size_t before = mDispatched.size();
    for (auto url = mWaiting.begin(); url != mWaiting.end() && !mRunner.isStopped();) {
      if (mDispatched.contains(*url)) {
        url = mWaiting.erase(url);
        continue;
      }
      if (isFull()) {
        ++url;
      } else {
        mDispatched.emplace(*url);
        mRunner.addJob(std::string(*url));
        url = mWaiting.erase(url);
        if (mRunner.runningJobs() == 0) return;
      }
      mRunner.sleep();
    }
    if (mDispatched.size() == before) mRunner.sleep();
  }

 private:
  bool isFull() { return mRunner.runningJobs() > static_cast<long long>(mMaxThreads); }

  const std::size_t mSize;
  const unsigned int mMaxThreads;
  JobRunner& mRunner;
  std::list<std::string_view> mWaiting;  ///< a list, so that each turn passes over what was dispatched at no cost
  std::set<std::string_view> mDispatched;
};

}  // namespace

void dispatchJobs(const std::vector<std::string>& serviceUrls, unsigned int maxThreads, JobRunner& runner) {
  Dispatch dispatch(serviceUrls, maxThreads, runner);
  while (!dispatch.isDone() && !runner.isStopped())
    dispatch.runTurn();
}

}  // namespace discovery

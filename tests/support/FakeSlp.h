#pragma once

#include <condition_variable>
#include <cstddef>
#include <map>
#include <mutex>
#include <set>
#include <slp.h>
#include <string>
#include <vector>

namespace support {

/// An SLP library of the test's making. Programs that link `fake_slp` in place of `slp` reach the one that lives; while
/// there is none, handles open and nothing is found or fails. Safe for every thread.
class FakeSlp {
 public:
  struct Registration {
    std::string url;
    unsigned short lifetime = 0;
    std::string serviceType;
    std::string attributes;
    bool fresh = false;
  };

  FakeSlp();
  ~FakeSlp();
  FakeSlp(const FakeSlp&) = delete;
  FakeSlp& operator=(const FakeSlp&) = delete;

  // What the calls answer from now on.
  void answerOpen(SLPError result);
  void answerRegister(SLPError result);
  /// Registrations of this URL alone fail, unless all do.
  void failRegister(const std::string& url, SLPError result);
  void answerDeregister(SLPError result);
  /// A search of the type reports these URLs and its end, and answers `result`.
  void setServices(const std::string& type, std::vector<std::string> urls, SLPError result = SLP_OK);
  /// An inquiry of the URL reports this list and its end, and answers SLP_OK.
  void setAttributes(const std::string& url, const std::string& list);
  /// An inquiry of the URL calls back with this error and answers it.
  void failAttributes(const std::string& url, SLPError error);
  /// While held, searches and inquiries stay inside their call; closing the handle of one ends it.
  void hold(bool on);
  /// The same for inquiries alone.
  void holdInquiries(bool on);

  /// The library tells of a message. False when nobody counts them.
  static bool tell(SLPMessageFate fate, const char* kind);
  /// The library logs something, with a level of syslog. False when nobody listens to it.
  static bool say(int level, const char* text);

  // What was called.
  std::vector<Registration> registrations() const;
  std::vector<std::string> deregistrations() const;
  /// Service types and URLs in the order of their calls.
  std::vector<std::string> searches() const;
  std::vector<std::string> inquiries() const;
  std::size_t opened() const;
  std::size_t openHandles() const;
  /// Calls of SLPClose, of whatever handle.
  std::size_t closings() const;
  /// Calls that are held at the moment.
  std::size_t held() const;

  // What the functions of the API do.
  SLPError open(SLPHandle* handle);
  void close(SLPHandle handle);
  SLPError registerService(SLPHandle handle, Registration registration, SLPRegReport* report, void* cookie);
  SLPError deregisterService(SLPHandle handle, const std::string& url, SLPRegReport* report, void* cookie);
  SLPError findServices(SLPHandle handle, const std::string& type, SLPSrvURLCallback* callback, void* cookie);
  SLPError findAttributes(SLPHandle handle, const std::string& url, SLPAttrCallback* callback, void* cookie);

 private:
  struct Services {
    std::vector<std::string> urls;
    SLPError result = SLP_OK;
  };
  struct Attributes {
    std::string list;
    SLPError error = SLP_OK;
  };

  bool isOpen(SLPHandle handle) const;
  /// Waits while held; false when the handle was closed meanwhile.
  bool pass(SLPHandle handle, const bool& isHeld);

  mutable std::mutex mMutex;  ///< guards what follows
  std::condition_variable mChanged;
  SLPError mOpenResult = SLP_OK;
  SLPError mRegisterResult = SLP_OK;
  std::map<std::string, SLPError> mRegisterFailures;
  SLPError mDeregisterResult = SLP_OK;
  std::map<std::string, Services> mServices;
  std::map<std::string, Attributes> mAttributes;
  bool mHoldSearches = false;
  bool mHoldInquiries = false;
  std::size_t mHeld = 0;
  std::vector<Registration> mRegistrations;
  std::vector<std::string> mDeregistrations;
  std::vector<std::string> mSearches;
  std::vector<std::string> mInquiries;
  std::size_t mOpened = 0;
  std::size_t mClosings = 0;
  std::set<SLPHandle> mOpen;
};

}  // namespace support

#include <dlfcn.h>
#include <filesystem>
#include <spawn.h>
#include <string>
#include <sys/wait.h>
#include <thread>

#include <gtest/gtest.h>

extern char** environ;

namespace slp::api {
namespace {

std::size_t threads() {
  const std::filesystem::directory_iterator tasks("/proc/self/task");
  return static_cast<std::size_t>(std::distance(begin(tasks), end(tasks)));
}

TEST(Library, LeavesNoThreadWhenItIsUnloaded) {
  std::thread([] {}).join();  // a sanitizer's own thread comes with the first
  const std::size_t before = threads();
  for (int i = 0; i < 10; ++i) {
    void* const object = dlopen(SLP_UNLOAD_PROBE, RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(object, nullptr) << dlerror();
    auto* const registerService = reinterpret_cast<int (*)()>(dlsym(object, "registerService"));
    ASSERT_NE(registerService, nullptr);
    EXPECT_EQ(registerService(), 0);
    EXPECT_GT(threads(), before);
    ASSERT_EQ(dlclose(object), 0);
    EXPECT_EQ(threads(), before);
    EXPECT_EQ(dlopen(SLP_UNLOAD_PROBE, RTLD_NOW | RTLD_NOLOAD), nullptr) << "the object is still there";
  }
}

class ExitOf : public testing::TestWithParam<const char*> {};

TEST_P(ExitOf, IsOrderly) {
  std::string mode = GetParam();
  std::string program = SLP_EXIT_PROBE;
  char* const arguments[] = {program.data(), mode.data(), nullptr};
  pid_t child = 0;
  ASSERT_EQ(posix_spawn(&child, program.c_str(), nullptr, nullptr, arguments, environ), 0);
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  ASSERT_TRUE(WIFEXITED(status)) << "signal " << WTERMSIG(status);
  EXPECT_EQ(WEXITSTATUS(status), 0);
}

INSTANTIATE_TEST_SUITE_P(Processes, ExitOf,
                         testing::Values("unused", "afterwards", "in-callback", "searching", "hanging"),
                         [](const auto& row) {
                           std::string name = row.param;
                           std::erase(name, '-');
                           return name;
                         });

}  // namespace
}  // namespace slp::api

// Loads an object that has the library inside, has it register a service, and closes it when a line is read.

#include <cstdio>
#include <dlfcn.h>

namespace {

bool say(const char* what) {
  return std::puts(what) >= 0 && std::fflush(stdout) == 0;
}

}  // namespace

int main(int argc, char** argv) {
  void* const object = argc == 2 ? dlopen(argv[1], RTLD_NOW | RTLD_LOCAL) : nullptr;
  if (object == nullptr) {
    std::fprintf(stderr, "%s\n", argc == 2 ? dlerror() : "one argument: the object");
    return 2;
  }
  auto* const registerService = reinterpret_cast<int (*)()>(dlsym(object, "registerService"));
  if (registerService == nullptr || registerService() != 0) return 3;
  char line[16];
  if (!say("registered") || std::fgets(line, sizeof(line), stdin) == nullptr) return 4;
  if (dlclose(object) != 0) return 5;
  return say("closed") ? 0 : 6;
}

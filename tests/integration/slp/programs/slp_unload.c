/* Loads an object that has the library inside, has it register a service, and closes it when a line is read. */
#include <dlfcn.h>
#include <stdio.h>
#include <string.h>

static int say(const char* what) { return puts(what) < 0 || fflush(stdout) != 0; }

int main(int argc, char** argv) {
  char line[16];
  int (*registerService)(void);
  void* object = argc == 2 ? dlopen(argv[1], RTLD_NOW | RTLD_LOCAL) : NULL;
  void* symbol = object != NULL ? dlsym(object, "registerService") : NULL;
  if (symbol == NULL) return 2;
  memcpy(&registerService, &symbol, sizeof(symbol));
  if (registerService() != 0) return 3;
  if (say("registered") || fgets(line, sizeof(line), stdin) == NULL) return 4;
  if (dlclose(object) != 0) return 5;
  return say("closed");
}

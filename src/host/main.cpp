#include "host/App.h"

int main(int argc, char** argv) {
  return host::runServer(argc, argv);
}

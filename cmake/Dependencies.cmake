# Everything comes from Debian's packages; docs/dependencies.md says what each is for.

set(THREADS_PREFER_PTHREAD_FLAG ON)
find_package(Threads REQUIRED)
find_package(Boost 1.81 REQUIRED COMPONENTS json)
find_package(OpenSSL 3 REQUIRED)
find_package(spdlog REQUIRED)
find_package(tomlplusplus REQUIRED)
find_package(CLI11 REQUIRED)
find_package(CURL REQUIRED)

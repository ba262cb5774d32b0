#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <vector>

// Runs a fuzz target on files, where no fuzzer is linked: every argument is a file or a folder of files. A target says
// that something is wrong by ending the process.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

bool replay(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  const std::vector<char> content{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
  if (!file.is_open() || file.bad()) {
    std::cerr << "cannot read " << path << '\n';
    return false;
  }
  std::cout << path.filename().string() << " (" << content.size() << " bytes)" << std::endl;
  const std::vector<std::uint8_t> data(content.begin(), content.end());
  LLVMFuzzerTestOneInput(data.data(), data.size());
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  std::size_t replayed = 0;
  bool isGood = true;
  for (int index = 1; index < argc; ++index) {
    const std::filesystem::path argument = argv[index];
    if (!std::filesystem::is_directory(argument)) {
      isGood = replay(argument) && isGood;
      ++replayed;
      continue;
    }
    for (const auto& entry : std::filesystem::directory_iterator(argument)) {
      isGood = replay(entry.path()) && isGood;
      ++replayed;
    }
  }
  std::cout << "replayed " << replayed << " files\n";
  return isGood && replayed > 0 ? 0 : 1;
}

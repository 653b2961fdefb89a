// Helpers shared by the test programs.
#include "support/test_support.h"

#include <filesystem>
#include <fstream>
#include <random>
#include <sstream>

namespace kest::test {

namespace fs = std::filesystem;

TempFolder::TempFolder() {
  std::random_device device;
  fs::path base = fs::temp_directory_path();
  for (int attempt = 0; attempt < 100; ++attempt) {
    fs::path candidate = base / ("kest-test-" + std::to_string(device()));
    std::error_code error;
    if (fs::create_directory(candidate, error)) {
      path_ = candidate.string();
      path_ += static_cast<char>(fs::path::preferred_separator);
      return;
    }
  }
}

TempFolder::~TempFolder() {
  std::error_code error;
  if (!path_.empty()) fs::remove_all(path_, error);
}

int TempFolder::CountFiles() const {
  int count = 0;
  std::error_code error;
  for (auto it = fs::directory_iterator(path_, error); !error && it != fs::directory_iterator();
       it.increment(error)) {
    ++count;
  }
  return count;
}

void WriteFileBytes(const std::string &path, const std::string &bytes) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
}

std::string ReadFileBytes(const std::string &path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream content;
  content << in.rdbuf();
  return content.str();
}

bool FileExists(const std::string &path) {
  std::error_code error;
  return fs::exists(path, error);
}

}  // namespace kest::test

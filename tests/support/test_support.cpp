// Helpers shared by the test programs.
#include "support/test_support.h"

#include "core/os/os.h"
#include "core/settings.h"

#if defined(_WIN32)
#  include <windows.h>
#  include <psapi.h>
#else
#  include <signal.h>
#  include <sys/wait.h>
#  include <unistd.h>
#endif

#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <random>
#include <sstream>

namespace kest::test {

namespace fs = std::filesystem;

#if !defined(_WIN32)
namespace {
size_t ReadStatusKib(const char *key) {
  FILE *status = std::fopen("/proc/self/status", "r");
  if (status == nullptr) return 0;
  char line[256];
  size_t kib = 0;
  const size_t length = std::strlen(key);
  while (std::fgets(line, sizeof line, status) != nullptr) {
    if (std::strncmp(line, key, length) == 0) kib = std::strtoull(line + length, nullptr, 10);
  }
  std::fclose(status);
  return kib;
}
}  // namespace
#endif

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

size_t ResidentBytes() {
#if defined(_WIN32)
  PROCESS_MEMORY_COUNTERS counters{};
  return GetProcessMemoryInfo(GetCurrentProcess(), &counters, sizeof counters)
             ? counters.WorkingSetSize : 0;
#else
  return ReadStatusKib("VmRSS:") * 1024;
#endif
}

size_t PeakResidentBytes() {
#if defined(_WIN32)
  PROCESS_MEMORY_COUNTERS counters{};
  return GetProcessMemoryInfo(GetCurrentProcess(), &counters, sizeof counters)
             ? counters.PeakWorkingSetSize : 0;
#else
  return ReadStatusKib("VmHWM:") * 1024;
#endif
}

uint64_t FreeBytesAt(const std::string &path) { return kest::os::FreeDiskSpace(path.c_str()); }

SettingsGuard::SettingsGuard() : saved_(kest::GetThreadSettings()) {}
SettingsGuard::~SettingsGuard() { kest::GetThreadSettings() = saved_; }

TempDirectorySetting::TempDirectorySetting(const std::string &path) {
  char *directory = kest::GetThreadSettings().TempDirectory;
  std::memcpy(saved_, directory, sizeof saved_);
  std::snprintf(directory, sizeof saved_, "%s", path.c_str());
}

TempDirectorySetting::~TempDirectorySetting() {
  std::memcpy(kest::GetThreadSettings().TempDirectory, saved_, sizeof saved_);
}

#if !defined(_WIN32)
char ReportFromKilledChild(char (*work)(const std::string &), const std::string &argument) {
  int ready[2];
  if (pipe(ready) != 0) return 0;
  const pid_t child = fork();
  if (child == 0) {
    const char result = work(argument);
    (void)!write(ready[1], &result, 1);
    for (;;) pause();
  }
  char result = 0;
  if (child > 0) {
    if (read(ready[0], &result, 1) != 1) result = 0;
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
  }
  close(ready[0]);
  close(ready[1]);
  return result;
}
#endif

}  // namespace kest::test

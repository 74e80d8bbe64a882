#include "tav/foundation/user_directories.hpp"

#include <pwd.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <map>
#include <mutex>
#include <string>

namespace tav {

namespace {

bool isShellSafe(std::string_view name) {
  for (char c : name) {
    if (!((c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_')) return false;
  }
  return !name.empty();
}

std::string askXdgUserDir(std::string_view xdgName) {
  if (!isShellSafe(xdgName)) return {};
  std::string command = "xdg-user-dir " + std::string(xdgName) + " 2>/dev/null";
  FILE* pipe = ::popen(command.c_str(), "r");
  if (pipe == nullptr) return {};
  std::string answer;
  char buffer[512];
  std::size_t read = 0;
  while ((read = std::fread(buffer, 1, sizeof buffer, pipe)) > 0) answer.append(buffer, read);
  int status = ::pclose(pipe);
  if (status != 0) return {};
  while (!answer.empty() && (answer.back() == '\n' || answer.back() == '\r')) answer.pop_back();
  return answer;
}

}  // namespace

std::filesystem::path homeDirectory() {
  if (const char* home = std::getenv("HOME"); home != nullptr && home[0] != '\0') return home;
  if (const passwd* entry = ::getpwuid(::getuid()); entry != nullptr && entry->pw_dir != nullptr) return entry->pw_dir;
  return "/";
}

std::filesystem::path userDirectory(std::string_view xdgName, std::string_view fallbackName) {
  static std::mutex mutex;
  static std::map<std::string, std::filesystem::path, std::less<>> answers;  // guarded by mutex
  std::lock_guard lock(mutex);
  if (auto found = answers.find(xdgName); found != answers.end()) return found->second;
  std::filesystem::path home = homeDirectory();
  std::filesystem::path answer(askXdgUserDir(xdgName));
  std::filesystem::path result;
  if (answer.is_absolute() && answer.lexically_normal() != home.lexically_normal()) {
    result = answer;
  } else {
    result = home / std::string(fallbackName);
  }
  answers.emplace(std::string(xdgName), result);
  return result;
}

}  // namespace tav

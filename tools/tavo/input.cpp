#include "input.hpp"

#include <cerrno>
#include <cstring>
#include <fstream>
#include <iostream>
#include <iterator>
#include <sstream>

namespace tav::tool {

std::optional<Input> readInput(const std::string& file) {
  if (file.empty() || file == "-") {
    std::ostringstream buffer;
    buffer << std::cin.rdbuf();
    return Input{"(standard input)", buffer.str()};
  }
  std::ifstream stream(file, std::ios::binary);
  if (!stream) {
    std::cerr << "tavo: " << file << ": " << std::strerror(errno) << '\n';
    return std::nullopt;
  }
  std::string text((std::istreambuf_iterator<char>(stream)), std::istreambuf_iterator<char>());
  if (stream.bad()) {
    std::cerr << "tavo: " << file << ": read failed\n";
    return std::nullopt;
  }
  return Input{file, std::move(text)};
}

}  // namespace tav::tool
